#include "viewer/session/ScanFit.h"

#include "viewer/ui/Format.h"

#include <osg/Math>

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <limits>
#include <numeric>
#include <set>

namespace QuorViewer {
namespace {

constexpr double kMetresPerKilometre = 1000.0;

// Whole numbers from 10 on, otherwise one or two significant digits.
std::string roundedText(double value) {
  constexpr double kWholeFrom = 10.0;
  if (value >= kWholeFrom) {
    return grouped(static_cast<std::uint64_t>(std::llround(value)));
  }
  const int decimals = value >= 1.0 || !(value > 0.0) ? 1 : static_cast<int>(std::ceil(-std::log10(value)));
  return fixed(value, decimals);
}

osg::Vec3d gapsBetween(const osg::BoundingBoxd& a, const osg::BoundingBoxd& b) {
  osg::Vec3d gaps;
  for (int axis = 0; axis < 3; ++axis) {
    gaps[axis] = std::max({0.0, b._min[axis] - a._max[axis], a._min[axis] - b._max[axis]});
  }
  return gaps;
}

double extentOf(const osg::BoundingBoxd& box) {
  const osg::Vec3d size = box._max - box._min;
  return std::max({size.x(), size.y(), size.z()});
}

const ScanPlace* nearestOf(const ScanPlace& scan, const std::vector<ScanPlace>& others) {
  const ScanPlace* nearest = nullptr;
  double least = std::numeric_limits<double>::max();
  for (const ScanPlace& other : others) {
    const double gap = other.bounds.valid() ? gapBetween(scan.bounds, other.bounds) : least;
    if (gap < least) {
      nearest = &other;
      least = gap;
    }
  }
  return nearest;
}

/// "EPSG:2056, EPSG:4326": each once.
std::string systemsOf(const std::vector<ScanPlace>& scans) {
  std::set<std::string> systems;
  for (const ScanPlace& scan : scans) {
    systems.insert(scan.system.shortText());
  }
  return std::accumulate(std::next(systems.begin()), systems.end(), *systems.begin(),
                         [](const std::string& text, const std::string& system) { return text + ", " + system; });
}

double metresPerUnitOf(const ScanPlace& scan, const ScanPlace& other) {
  return scan.system.metresPerUnit > 0.0 ? scan.system.metresPerUnit : other.system.metresPerUnit;
}

std::string directionFrom(const osg::BoundingBoxd& from, const osg::BoundingBoxd& to) {
  static constexpr std::array<const char*, 8> kDirections = {"north", "north-east", "east", "south-east",
                                                             "south", "south-west", "west", "north-west"};
  constexpr double kSectorDegrees = 45.0;
  const osg::Vec3d gaps = gapsBetween(from, to);
  const osg::Vec3d way = to.center() - from.center();
  if (gaps.z() > std::hypot(gaps.x(), gaps.y())) {
    return way.z() > 0.0 ? "above" : "below";
  }
  const double east = std::copysign(gaps.x(), way.x());
  const double north = std::copysign(gaps.y(), way.y());
  const double sector = osg::RadiansToDegrees(std::atan2(east, north)) / kSectorDegrees;
  const int count = static_cast<int>(kDirections.size());
  const int index = (static_cast<int>(std::lround(sector)) + count) % count;
  return std::string("to the ") + kDirections[static_cast<std::size_t>(index)];
}

}  // namespace

std::string lengthText(double units, double metresPerUnit) {
  if (!(metresPerUnit > 0.0)) {
    return roundedText(units) + " units";
  }
  const double metres = units * metresPerUnit;
  return metres < kMetresPerKilometre ? roundedText(metres) + " m" : roundedText(metres / kMetresPerKilometre) + " km";
}

double gapBetween(const osg::BoundingBoxd& a, const osg::BoundingBoxd& b) {
  return gapsBetween(a, b).length();
}

std::string systemMisfit(const ScanPlace& scan, const std::vector<ScanPlace>& others) {
  const bool anyFits = std::any_of(others.begin(), others.end(),
                                   [&](const ScanPlace& other) { return scan.system.mayEqual(other.system); });
  return anyFits || others.empty() ? std::string()
                                   : "has coordinate system " + scan.system.shortText() + ", but the open scans have " +
                                         systemsOf(others) + ": they may not fit together";
}

std::string distanceMisfit(const ScanPlace& scan, const std::vector<ScanPlace>& others) {
  constexpr double kFarMetres = 100.0 * kMetresPerKilometre;
  constexpr double kFarExtents = 100.0;
  constexpr double kLeastExtent = 1.0;
  const ScanPlace* nearest = scan.bounds.valid() ? nearestOf(scan, others) : nullptr;
  if (nearest == nullptr) {
    return {};
  }
  const double gap = gapBetween(scan.bounds, nearest->bounds);
  const double extent = std::max({extentOf(scan.bounds), extentOf(nearest->bounds), kLeastExtent});
  const double metresPerUnit = metresPerUnitOf(scan, *nearest);
  const double metres = gap * (metresPerUnit > 0.0 ? metresPerUnit : 1.0);
  if (gap <= kFarExtents * extent && metres <= kFarMetres) {
    return {};
  }
  return "is " + lengthText(gap, metresPerUnit) + " away from the open scans (" +
         directionFrom(nearest->bounds, scan.bounds) + ")";
}

}  // namespace QuorViewer
