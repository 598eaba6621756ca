#include "viewer/render/CubeProjection.h"

#include <osg/Vec2d>

#include <algorithm>

namespace QuorViewer {
namespace {

// With row vectors, clip coordinate j of a point is its product with this column.
osg::Vec4d columnOf(const osg::Matrixd& matrix, int column) {
  return {matrix(0, column), matrix(1, column), matrix(2, column), matrix(3, column)};
}

double distanceTo(const osg::BoundingBoxd& box, const osg::Vec3d& point) {
  osg::Vec3d way;
  for (int axis = 0; axis < 3; ++axis) {
    way[axis] = std::max({box._min[axis] - point[axis], point[axis] - box._max[axis], 0.0});
  }
  return way.length();
}

}  // namespace

CubeCamera enlarged(const CubeCamera& camera, double factor) {
  CubeCamera larger = camera;
  larger.projection.postMultScale(osg::Vec3d(1.0 / factor, 1.0 / factor, 1.0));
  larger.viewportHeightPixels *= factor;
  return larger;
}

// The corner that is furthest along the normal decides.
bool CubeProjection::HalfSpace::meets(const osg::BoundingBoxd& box, const osg::Vec3d& origin) const {
  const osg::Vec3d furthest(normal.x() < 0.0 ? box.xMin() : box.xMax(), normal.y() < 0.0 ? box.yMin() : box.yMax(),
                            normal.z() < 0.0 ? box.zMin() : box.zMax());
  return contains(furthest - origin);
}

// A point is between the side planes if -w <= x <= w and -w <= y <= w in clip coordinates. The camera looks along -Z.
void CubeProjection::set(const CubeCamera& camera, const std::vector<osg::Plane>& clipPlanes) {
  const osg::Matrixd clip = camera.view * camera.projection;
  const osg::Vec4d x = columnOf(clip, 0);
  const osg::Vec4d y = columnOf(clip, 1);
  const osg::Vec4d w = columnOf(clip, 3);
  _visible.clear();
  for (const osg::Vec4d& plane : {w + x, w - x, w + y, w - y, -columnOf(camera.view, 2)}) {
    _visible.emplace_back(plane);
  }
  for (const osg::Plane& plane : clipPlanes) {
    _visible.emplace_back(plane.asVec4());
  }
  _view = camera.view;
  _origin = camera.origin;
  _eye = camera.origin + osg::Matrixd::inverse(camera.view).getTrans();
  _perspective = camera.projection(2, 3) != 0.0;
  _cotangent = camera.projection(1, 1);
  _pixelsPerUnit = 0.5 * camera.viewportHeightPixels * _cotangent;
}

bool CubeProjection::isVisible(const osg::BoundingBoxd& cube) const {
  return std::all_of(_visible.begin(), _visible.end(),
                     [&](const HalfSpace& half) { return half.meets(cube, _origin); });
}

double CubeProjection::pixelsOf(double spacing, const osg::BoundingBoxd& cube) const {
  const double pixels = spacing * _pixelsPerUnit;
  return _perspective ? pixels / std::max(distanceTo(cube, _eye), spacing) : pixels;
}

// In perspective the distance from the axis is compared with the height of the view at the cube's distance.
double CubeProjection::centrality(const osg::BoundingBoxd& cube) const {
  const osg::Vec3d centre = osg::Matrixd::transform3x3(cube.center() - _origin, _view) + _view.getTrans();
  const double fromAxis = osg::Vec2d(centre.x(), centre.y()).length() - cube.radius();
  if (fromAxis <= 0.0) {
    return 1.0;
  }
  const double share = fromAxis * _cotangent / (_perspective ? centre.length() : 1.0);
  return std::max(1.0 - share, 0.0);
}

}  // namespace QuorViewer
