#pragma once

#include <osg/Vec2d>

#include <cstdint>
#include <vector>

namespace QuorViewer {

/// A straight street. Places along it are measured in metres from `from`, places across it leftwards of that way.
struct Street {
  osg::Vec2d from, to;
  double halfWidth;
  bool marked;  ///< has a dashed middle line

  double length() const { return (to - from).length(); }
  osg::Vec2d direction() const { return (to - from) / length(); }
  osg::Vec2d at(double along, double across) const;
  double along(const osg::Vec2d& place) const { return (place - from) * direction(); }
  double across(const osg::Vec2d& place) const;
  /// Distance from the street's edge, negative on it.
  double clearance(const osg::Vec2d& place) const;
};

/// A rectangle along the axes.
struct Area {
  osg::Vec2d low, high;

  bool contains(const osg::Vec2d& place, double margin = 0.0) const;
};

/// What the ground is covered with.
enum class Cover : std::uint8_t { Grass, Crop, Soil, Litter, Asphalt, Marking, Pavement, Cobbles, Path, Shore };

/// All streets of the town.
const std::vector<Street>& streets();

constexpr double kTownRadiusMetres = 185.0;

/// The square before the church, and the park with the pond.
Area square();
Area park();

/// Distance from the nearest street's edge, negative on a street.
double streetClearance(const osg::Vec2d& place);

/// How much of a wood stands here: 0 none, 1 dense.
double woodland(const osg::Vec2d& place);

Cover coverAt(const osg::Vec2d& place);

}  // namespace QuorViewer
