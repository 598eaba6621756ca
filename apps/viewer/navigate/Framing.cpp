#include "viewer/navigate/Framing.h"

#include <osg/Math>

#include <algorithm>
#include <cmath>
#include <limits>

namespace QuorViewer {
namespace {

double halfAngleTangent(const FieldOfView& field) {
  return std::tan(osg::DegreesToRadians(field.verticalDegrees * 0.5));
}

struct Interval {
  double low = std::numeric_limits<double>::max();
  double high = std::numeric_limits<double>::lowest();

  void include(double least, double greatest) {
    low = std::min(low, least);
    high = std::max(high, greatest);
  }
  double middle() const { return 0.5 * (low + high); }
  double length() const { return high - low; }
};

// Extents of the points along the camera's axes: right, up, and towards the viewer.
struct Spans {
  Interval right, up, depth;
};

// With t the tangent of half the angle of view, an eye at (e, h) sees a point (x, z) if |x - e| <= (h - z) t. Over all
// points: max(x + t z) - t h <= e <= min(x - t z) + t h. So the eye is midway between the two extremes, and half their
// difference is t h. An orthographic view is the case t = 0.
Spans spansOf(const std::vector<osg::Vec3f>& points, const osg::Quat& rotation, double rightTangent, double upTangent) {
  const osg::Quat toCamera = rotation.inverse();
  Spans spans;
  for (const osg::Vec3f& point : points) {
    const osg::Vec3d seen = toCamera * osg::Vec3d(point);
    spans.right.include(seen.x() - rightTangent * seen.z(), seen.x() + rightTangent * seen.z());
    spans.up.include(seen.y() - upTangent * seen.z(), seen.y() + upTangent * seen.z());
    spans.depth.include(seen.z(), seen.z());
  }
  return spans;
}

osg::Vec3d centreOf(const Spans& spans, const osg::Quat& rotation) {
  return rotation * osg::Vec3d(spans.right.middle(), spans.up.middle(), spans.depth.middle());
}

}  // namespace

osg::Quat Direction::pitch() const {
  return {osg::DegreesToRadians(90.0 - elevationDegrees), osg::Vec3d(1.0, 0.0, 0.0)};
}

osg::Quat Direction::yaw() const {
  return {osg::DegreesToRadians(azimuthDegrees), osg::Vec3d(0.0, 0.0, 1.0)};
}

Framing framePerspective(const std::vector<osg::Vec3f>& points, const osg::Quat& rotation, const FieldOfView& field) {
  const double tangent = halfAngleTangent(field);
  const double rightTangent = tangent * field.aspectRatio;
  const Spans spans = spansOf(points, rotation, rightTangent, tangent);
  const double eyeDepth = std::max(0.5 * spans.up.length() / tangent, 0.5 * spans.right.length() / rightTangent);
  return {centreOf(spans, rotation), heightAtDistance(eyeDepth - spans.depth.middle(), field)};
}

Framing frameOrthographic(const std::vector<osg::Vec3f>& points, const osg::Quat& rotation, const FieldOfView& field) {
  const Spans spans = spansOf(points, rotation, 0.0, 0.0);
  return {centreOf(spans, rotation), std::max(spans.up.length(), spans.right.length() / field.aspectRatio)};
}

double heightAtDistance(double distance, const FieldOfView& field) {
  return 2.0 * distance * halfAngleTangent(field);
}

double distanceForHeight(double height, const FieldOfView& field) {
  return 0.5 * height / halfAngleTangent(field);
}

}  // namespace QuorViewer
