#include "make_scan/Site.h"

#include <algorithm>

namespace QuorViewer {

namespace {

void holdPoint(Shape& shape, const osg::Vec3d& point, double margin) {
  for (int axis = 0; axis < 3; ++axis) {
    shape.low[axis] = std::min(shape.low[axis], point[axis] - margin);
    shape.high[axis] = std::max(shape.high[axis], point[axis] + margin);
  }
}

Shape bare(const osg::Vec3d& anchor, Material material, const Make& make) {
  Shape shape;
  shape.anchor = shape.low = shape.high = anchor;
  shape.material = material;
  shape.classification = make.classification;
  shape.colour = make.colour;
  return shape;
}

}  // namespace

osg::Vec3d Site::direction(const osg::Vec3d& local) const {
  return {_xAxis.x() * local.x() - _xAxis.y() * local.y(), _xAxis.y() * local.x() + _xAxis.x() * local.y(), local.z()};
}

void bevel(Shape& shape, const Site& site, const osg::Vec3d& through, const osg::Vec3d& outwards, Material material) {
  osg::Vec3d normal = site.direction(outwards);
  normal.normalize();
  std::get<Solid>(shape.body).faces.push_back({normal, normal * site.point(through), material});
}

Shape block(const Site& site, const osg::Vec3d& low, const osg::Vec3d& high, Material sides, Material top,
            const Make& make) {
  Shape shape = bare(site.foot(), sides, make);
  shape.low = shape.high = site.point((low + high) * 0.5);
  shape.body = Solid{};
  // Fronts face -y; the other three sides of such a block are plain walls.
  const Material others = sides == Material::Front ? Material::Wall : sides;
  bevel(shape, site, low, {0, -1, 0}, sides);
  bevel(shape, site, high, {0, 1, 0}, others);
  bevel(shape, site, low, {-1, 0, 0}, others);
  bevel(shape, site, high, {1, 0, 0}, others);
  bevel(shape, site, high, {0, 0, 1}, top);
  bevel(shape, site, low, {0, 0, -1}, others);
  for (int corner = 0; corner < 8; ++corner) {
    holdPoint(shape,
              site.point({(corner & 1) != 0 ? high.x() : low.x(), (corner & 2) != 0 ? high.y() : low.y(),
                          (corner & 4) != 0 ? high.z() : low.z()}),
              0.0);
  }
  return shape;
}

Shape rod(const osg::Vec3d& from, const osg::Vec3d& to, double radius, Material material, const Make& make) {
  Shape shape = bare(from, material, make);
  shape.body = Rod{from, to, radius};
  holdPoint(shape, from, radius);
  holdPoint(shape, to, radius);
  return shape;
}

Shape ball(const osg::Vec3d& centre, double radius, Material material, const Make& make) {
  Shape shape = bare(centre, material, make);
  shape.body = Ball{centre, radius};
  holdPoint(shape, centre, radius);
  return shape;
}

Shape foliage(const osg::Vec3d& centre, double radius, Material material, const Make& make) {
  Shape shape = ball(centre, radius, material, make);
  shape.foliage = true;
  return shape;
}

}  // namespace QuorViewer
