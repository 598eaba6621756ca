#include "viewer/clip/ClipPose.h"

#include "viewer/render/Precision.h"
#include "viewer/ui/Format.h"

#include <osg/Math>
#include <osg/Quat>

#include <algorithm>
#include <cmath>

namespace QuorViewer {
namespace {

constexpr double kHalfTurnDegrees = 180.0;

std::string nameOf(const osg::Vec3d& axis) {
  constexpr double kNearlyOne = 0.99999;
  constexpr int kDecimals = 2;
  const char* const names[] = {"X", "Y", "Z"};
  for (int i = 0; i < 3; ++i) {
    if (std::abs(axis[i]) > kNearlyOne) {
      return (axis[i] < 0.0 ? "−" : "") + std::string(names[i]);
    }
  }
  return "(" + coordinates(axis, kDecimals, ", ") + ")";
}

// The thinnest possible box still shows its thickness.
int lengthDecimalsOf(const ClipPose& pose) {
  constexpr double kThin = 0.5;
  constexpr int kDecimals = 2;
  constexpr int kDecimalsIfThin = 3;
  const double thinnest = std::min({pose.size.x(), pose.size.y(), pose.size.z()});
  return thinnest < kThin ? kDecimalsIfThin : kDecimals;
}

osg::Vec3d magnitudesIn(const osg::BoundingBox& box) {
  osg::Vec3d magnitudes;
  for (int axis = 0; axis < 3; ++axis) {
    magnitudes[axis] = std::max(std::abs(box._min[axis]), std::abs(box._max[axis]));
  }
  return magnitudes;
}

}  // namespace

ClipPose poseOf(const QuorOsgUtils::ClipBoxState& state, const osg::Vec3d& origin) {
  const osg::Vec3d half = (state.box._max - state.box._min) * 0.5;
  const osg::Vec3d centre = (state.box._min + state.box._max) * 0.5;
  return poseOf({-half, half}, osg::Matrixd::rotate(state.rotation) * osg::Matrixd::translate(centre), origin);
}

ClipPose poseOf(const osg::BoundingBoxd& box, const osg::Matrixd& matrix, const osg::Vec3d& origin) {
  ClipPose pose;
  const osg::Vec3d low = box._min;
  const osg::Vec3d high = box._max;
  pose.size = high - low;
  pose.centre = (low + high) * 0.5 * matrix + origin;
  double radians = 0.0;
  osg::Vec3d axis;
  matrix.getRotate().getRotate(radians, axis);
  const double degrees = osg::RadiansToDegrees(radians);
  constexpr double kLeastDegrees = 1e-7;
  if (axis.normalize() > 0.0 && degrees > kLeastDegrees) {
    const bool theOtherWay = degrees > kHalfTurnDegrees;
    pose.degrees = theOtherWay ? 2.0 * kHalfTurnDegrees - degrees : degrees;
    pose.axis = theOtherWay ? -axis : axis;
  }
  return pose;
}

std::string statusText(const ClipPose& pose) {
  constexpr int kAngleDecimals = 1;
  constexpr double kVisibleDegrees = 0.05;
  const int decimals = lengthDecimalsOf(pose);
  std::string text = "Box  " + coordinates(pose.size, decimals, " × ") + "      centre  " +
                     coordinates(pose.centre, decimals, "   ") + "      ";
  if (pose.degrees < kVisibleDegrees) {
    return text + "rotated 0°";
  }
  return text + "rotated " + fixed(pose.degrees, kAngleDecimals) + "° about " + nameOf(pose.axis);
}

std::string outputText(const ClipPose& pose) {
  constexpr int kDecimals = 6;
  constexpr int kRotationDecimals = 9;
  return "clip size " + coordinates(pose.size, kDecimals) + " centre " + coordinates(pose.centre, kDecimals) +
         " rotation " + fixed(pose.degrees, kRotationDecimals) + " " + coordinates(pose.axis, kRotationDecimals);
}

// Clip planes are evaluated in single precision too: a face within a few steps of a point might clip it.
osg::BoundingBoxd boxAround(const osg::BoundingBox& content) {
  constexpr double kMarginShare = 0.01;  // of half the content's diagonal
  constexpr double kLeastSteps = 16.0;
  const double margin = std::max({kMarginShare * content.radius(), kLeastSteps * drawnStepAt(magnitudesIn(content)),
                                  QuorOsgUtils::ClipBoxControl::kLeastExtent});
  const osg::Vec3d margins(margin, margin, margin);
  return {osg::Vec3d(content._min) - margins, osg::Vec3d(content._max) + margins};
}

}  // namespace QuorViewer
