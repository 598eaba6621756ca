#pragma once

#include "make_scan/Shapes.h"

#include <osg/Vec2d>

namespace QuorViewer {

/// A local coordinate frame: x and y are horizontal and rotated together, z is up. Shapes are described in it in
/// metres.
class Site {
 public:
  /// `xAxis` has length 1.
  Site(const osg::Vec3d& foot, const osg::Vec2d& xAxis) : _foot(foot), _xAxis(xAxis) {}

  osg::Vec3d direction(const osg::Vec3d& local) const;
  osg::Vec3d point(const osg::Vec3d& local) const { return _foot + direction(local); }
  const osg::Vec3d& foot() const { return _foot; }

  /// A site at `local`, with the same axes.
  Site moved(const osg::Vec3d& local) const { return {point(local), _xAxis}; }

 private:
  osg::Vec3d _foot;
  osg::Vec2d _xAxis;
};

/// The properties of a shape, apart from its geometry.
struct Make {
  Class classification;
  osg::Vec3d colour;
};

/// A block between two corners of the site.
Shape block(const Site& site, const osg::Vec3d& low, const osg::Vec3d& high, Material sides, Material top,
            const Make& make);

/// Cuts off everything beyond the plane through `through`, towards `outwards` (of any length).
void bevel(Shape& shape, const Site& site, const osg::Vec3d& through, const osg::Vec3d& outwards, Material material);

Shape rod(const osg::Vec3d& from, const osg::Vec3d& to, double radius, Material material, const Make& make);
Shape ball(const osg::Vec3d& centre, double radius, Material material, const Make& make);

/// A ball of leaves that pulses can pass through.
Shape foliage(const osg::Vec3d& centre, double radius, Material material, const Make& make);

}  // namespace QuorViewer
