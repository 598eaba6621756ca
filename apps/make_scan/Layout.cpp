#include "make_scan/Layout.h"

#include "make_scan/Random.h"
#include "make_scan/Shapes.h"

#include <algorithm>
#include <cmath>

namespace QuorViewer {

namespace {

constexpr double kPavementMetres = 1.9;
constexpr double kDashPeriodMetres = 6.0;
constexpr double kLineHalfWidthMetres = 0.09;

bool isZebra(const Street& street, const osg::Vec2d& place) {
  // The two main streets cross at the middle of each; the zebra crossings are around that place.
  const double fromMiddle = std::abs(street.along(place) - 0.5 * street.length());
  return street.marked && fromMiddle > 6.5 && fromMiddle < 9.7 && fraction(street.across(place) + 0.25) < 0.5;
}

bool isDash(const Street& street, const osg::Vec2d& place) {
  const double fromMiddle = std::abs(street.along(place) - 0.5 * street.length());
  return street.marked && fromMiddle > 12.0 && std::abs(street.across(place)) < kLineHalfWidthMetres &&
         fraction(street.along(place) / kDashPeriodMetres) < 0.5;
}

Cover roadCover(const osg::Vec2d& place) {
  int under = 0;
  bool painted = false;
  for (const Street& street : streets()) {
    if (street.clearance(place) > 0.0) {
      continue;
    }
    ++under;
    painted = painted || isZebra(street, place) || isDash(street, place);
  }
  return painted && under == 1 ? Cover::Marking : Cover::Asphalt;
}

Cover parkCover(const osg::Vec2d& place) {
  const double dx = (place.x() + 55.0) / 1.25;
  const double dy = place.y() + 50.0;
  const double fromPond = std::sqrt(dx * dx + dy * dy);
  if (fromPond < 24.5) {
    return Cover::Shore;
  }
  const bool ring = fromPond > 28.0 && fromPond < 30.2;
  const bool lane = std::abs(dx - dy * 0.9) < 1.1 && fromPond >= 28.0;
  return ring || lane ? Cover::Path : Cover::Grass;
}

Cover countryCover(const osg::Vec2d& place) {
  if (woodland(place) > 0.3) {
    return Cover::Litter;
  }
  if (place.length() < 150.0) {
    return Cover::Grass;
  }
  const double field = plainNoise(std::floor(place.x() / 46.0), std::floor(place.y() / 46.0), 1.0);
  if (field < 0.3) {
    return Cover::Crop;
  }
  return field > 0.8 ? Cover::Soil : Cover::Grass;
}

}  // namespace

osg::Vec2d Street::at(double along, double across) const {
  const osg::Vec2d way = direction();
  return from + way * along + osg::Vec2d(-way.y(), way.x()) * across;
}

double Street::across(const osg::Vec2d& place) const {
  const osg::Vec2d way = direction();
  const osg::Vec2d apart = place - from;
  return way.x() * apart.y() - way.y() * apart.x();
}

double Street::clearance(const osg::Vec2d& place) const {
  const double beyond = std::max(-along(place), along(place) - length());
  return std::max(std::abs(across(place)) - halfWidth, beyond);
}

bool Area::contains(const osg::Vec2d& place, double margin) const {
  return place.x() > low.x() - margin && place.x() < high.x() + margin && place.y() > low.y() - margin &&
         place.y() < high.y() + margin;
}

const std::vector<Street>& streets() {
  static const std::vector<Street> all = {
      {{-240.0, 0.0}, {240.0, 0.0}, 3.9, true},      {{0.0, -240.0}, {0.0, 240.0}, 3.6, true},
      {{-240.0, 88.0}, {240.0, 106.0}, 3.0, false},  {{-112.0, -240.0}, {-118.0, 240.0}, 3.0, false},
      {{108.0, -240.0}, {128.0, 240.0}, 3.0, false}, {{-240.0, -104.0}, {240.0, -98.0}, 3.0, false},
      {{-118.0, 152.0}, {122.0, 160.0}, 2.6, false}, {{-112.0, -158.0}, {112.0, -152.0}, 2.6, false},
      {{58.0, -98.0}, {52.0, -3.9}, 2.4, false},
  };
  return all;
}

Area square() {
  return {{5.5, 5.8}, {72.0, 62.0}};
}
Area park() {
  return {{-107.0, -97.0}, {-7.0, -7.0}};
}

double streetClearance(const osg::Vec2d& place) {
  double nearest = 1e9;
  for (const Street& street : streets()) {
    nearest = std::min(nearest, street.clearance(place));
  }
  return nearest;
}

double woodland(const osg::Vec2d& place) {
  const double outside = smoothStep(165.0, 215.0, place.length());
  return outside * smoothStep(0.42, 0.62, plainNoise(place.x() + 900.0, place.y(), 62.0));
}

Cover coverAt(const osg::Vec2d& place) {
  const double clearance = streetClearance(place);
  if (clearance <= 0.0) {
    return roadCover(place);
  }
  const bool inTown = place.length() < kTownRadiusMetres;
  if (inTown && clearance < kPavementMetres) {
    return Cover::Pavement;
  }
  if (square().contains(place)) {
    return Cover::Cobbles;
  }
  return park().contains(place) ? parkCover(place) : countryCover(place);
}

}  // namespace QuorViewer
