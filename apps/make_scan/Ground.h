#pragma once

#include "make_scan/Layout.h"
#include "make_scan/Random.h"
#include "make_scan/Site.h"
#include "make_scan/Terrain.h"

#include <vector>

namespace QuorViewer {

/// The construction site: the shapes built so far, and the areas that they occupy.
class Ground {
 public:
  explicit Ground(const Terrain& terrain) : _terrain(terrain) {}

  /// Height of the terrain above the plane's origin.
  double height(const osg::Vec2d& place) const { return _terrain.height(place.x(), place.y()); }
  osg::Vec3d onGround(const osg::Vec2d& place) const { return {place.x(), place.y(), height(place)}; }
  Site site(const osg::Vec2d& place, const osg::Vec2d& xAxis) const { return {onGround(place), xAxis}; }

  bool isFree(const osg::Vec2d& place, double radius) const;
  void occupy(const osg::Vec2d& place, double radius) { _taken.push_back({place, radius}); }

  void add(Shape shape) { _shapes.push_back(std::move(shape)); }
  std::vector<Shape> takeShapes() { return std::move(_shapes); }

 private:
  struct Disc {
    osg::Vec2d centre;
    double radius;
  };

  const Terrain& _terrain;
  std::vector<Disc> _taken;
  std::vector<Shape> _shapes;
};

/// Calls `visit(along)` from `first` up to, but not including, `end`, in steps of `apart()` metres.
template <typename Apart, typename Visitor>
void stepAlong(double first, double end, const Apart& apart, const Visitor& visit) {
  double along = first;
  while (along < end) {
    visit(along);
    along += apart();
  }
}

/// A street runs along the x axis of a house's site; its front faces -y.
void addHouses(Ground& ground, Dice& dice);
void addChurch(Ground& ground);

/// Cars, lamps, wires on poles, and what stands on the square.
void addStreetLife(Ground& ground, Dice& dice);

/// The pond's water, trees, hedges and flower beds.
void addNature(Ground& ground, Dice& dice);

}  // namespace QuorViewer
