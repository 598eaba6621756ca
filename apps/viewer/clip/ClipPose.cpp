#include "viewer/clip/ClipPose.h"

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

}  // namespace

ClipPose poseOf(const osg::BoundingBoxf& box, const osg::Matrixd& matrix, const osg::Vec3d& origin) {
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
  constexpr int kDecimals = 2;
  constexpr int kAngleDecimals = 1;
  constexpr double kVisibleDegrees = 0.05;
  std::string text = "Box  " + coordinates(pose.size, kDecimals, " × ") + "      centre  " +
                     coordinates(pose.centre, kDecimals, "   ") + "      ";
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

osg::BoundingBoxf boxAround(const osg::BoundingBox& content) {
  constexpr float kMarginShare = 0.01f;  // of half the content's diagonal
  constexpr auto kLeastHalf = static_cast<float>(kLeastClipExtent);
  const float margin = content.radius() * kMarginShare;
  osg::BoundingBoxf box;
  for (int axis = 0; axis < 3; ++axis) {
    const float middle = 0.5f * (content._min[axis] + content._max[axis]);
    const float half = std::max(0.5f * (content._max[axis] - content._min[axis]) + margin, kLeastHalf);
    box._min[axis] = middle - half;
    box._max[axis] = middle + half;
  }
  return box;
}

}  // namespace QuorViewer
