#pragma once

#include <osg/Vec2d>

#include <cstdint>
#include <vector>

namespace QuorViewer {

/// A straight street. Positions along it are in metres from `from`; positions across it are in metres to the left.
struct Street {
  osg::Vec2d from, to;
  double halfWidth;
  bool marked;  ///< has a dashed centre line

  double length() const { return (to - from).length(); }
  osg::Vec2d direction() const { return (to - from) / length(); }
  osg::Vec2d at(double along, double across) const;
  double along(const osg::Vec2d& place) const { return (place - from) * direction(); }
  double across(const osg::Vec2d& place) const;
  /// Distance from the street's edge, negative on it.
  double clearance(const osg::Vec2d& place) const;
};

/// An axis-aligned rectangle.
struct Area {
  osg::Vec2d low, high;

  bool contains(const osg::Vec2d& place, double margin = 0.0) const;
};

/// What covers the ground.
enum class Cover : std::uint8_t { Grass, Crop, Soil, Litter, Asphalt, Marking, Pavement, Cobbles, Path, Shore };

/// All streets of the town.
const std::vector<Street>& streets();

constexpr double kTownRadiusMetres = 185.0;

/// The square before the church, and the park with the pond.
Area square();
Area park();

/// Distance from the nearest street's edge, negative on a street.
double streetClearance(const osg::Vec2d& place);

/// Density of woodland at a place: 0 none, 1 dense.
double woodland(const osg::Vec2d& place);

Cover coverAt(const osg::Vec2d& place);

}  // namespace QuorViewer
