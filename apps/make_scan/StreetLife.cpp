#include "make_scan/Ground.h"

#include <array>
#include <cmath>

namespace QuorViewer {

namespace {

const osg::Vec3d kIron(0.24, 0.26, 0.27);
const osg::Vec3d kTimber(0.42, 0.31, 0.20);
const osg::Vec3d kGranite(0.62, 0.60, 0.58);

const std::array<osg::Vec3d, 8> kPaints = {{{0.75, 0.10, 0.10},
                                            {0.12, 0.22, 0.52},
                                            {0.88, 0.88, 0.88},
                                            {0.14, 0.14, 0.15},
                                            {0.55, 0.57, 0.60},
                                            {0.90, 0.72, 0.10},
                                            {0.10, 0.38, 0.30},
                                            {0.60, 0.30, 0.12}}};
const std::array<osg::Vec3d, 4> kAwnings = {
    {{0.80, 0.16, 0.14}, {0.16, 0.36, 0.66}, {0.20, 0.52, 0.28}, {0.92, 0.62, 0.14}}};

// The car points along x: a body with sloping bonnet and boot, and a cabin of glass with a painted top.
void addCar(Ground& ground, const Site& site, const osg::Vec3d& paint) {
  const Make make{kCar, paint};
  Shape body = block(site, {-2.15, -0.88, 0.25}, {2.15, 0.88, 0.92}, Material::CarPaint, Material::CarPaint, make);
  bevel(body, site, {2.15, 0, 0.72}, {0.2, 0, 1}, Material::CarPaint);
  bevel(body, site, {-2.15, 0, 0.80}, {-0.2, 0, 1}, Material::CarPaint);
  ground.add(std::move(body));
  Shape cabin = block(site, {-1.9, -0.8, 0.8}, {1.1, 0.8, 1.46}, Material::CarGlass, Material::CarPaint, make);
  bevel(cabin, site, {1.1, 0, 0.9}, {1, 0, 1.0}, Material::CarGlass);
  bevel(cabin, site, {-1.9, 0, 0.9}, {-1, 0, 0.7}, Material::CarGlass);
  for (const double side : {-1.0, 1.0}) {
    bevel(cabin, site, {0, side * 0.8, 0.9}, {0, side, 0.3}, Material::CarGlass);
  }
  ground.add(std::move(cabin));
  for (const double along : {-1.35, 1.35}) {
    for (const double across : {-0.72, 0.72}) {
      const double side = across < 0.0 ? -1.0 : 1.0;
      ground.add(rod(site.point({along, across, 0.32}), site.point({along, across + side * 0.05, 0.32}), 0.15,
                     Material::Metal, {kCar, {0.10, 0.10, 0.10}}));
    }
  }
}

bool nearCrossing(const osg::Vec2d& place, const Street& own) {
  for (const Street& street : streets()) {
    if (&street != &own && street.clearance(place) < 9.0) {
      return true;
    }
  }
  return false;
}

void addCarsAlong(Ground& ground, Dice& dice, const Street& street, double side) {
  stepAlong(
      12.0, street.length() - 12.0, [&] { return dice.between(6.0, 26.0); },
      [&](double along) {
        const osg::Vec2d place = street.at(along, side * (street.halfWidth - 1.05));
        const osg::Vec3d paint = kPaints[dice.below(kPaints.size())];
        if (place.length() > kTownRadiusMetres || nearCrossing(place, street)) {
          return;
        }
        addCar(ground, ground.site(place, street.direction() * -side), paint);
      });
}

void addLamp(Ground& ground, const osg::Vec2d& place) {
  const osg::Vec3d foot = ground.onGround(place);
  const osg::Vec3d head = foot + osg::Vec3d(0, 0, 4.8);
  ground.add(rod(foot - osg::Vec3d(0, 0, 0.5), head, 0.07, Material::Metal, {kFurniture, kIron}));
  ground.add(ball(head, 0.26, Material::Plaster, {kFurniture, {0.95, 0.93, 0.85}}));
}

void addLampsAlong(Ground& ground, const Street& street) {
  double side = 1.0;
  stepAlong(
      15.0, street.length(), [] { return 22.0; },
      [&](double along) {
        const osg::Vec2d place = street.at(along, side * (street.halfWidth + 0.7));
        side = -side;
        if (place.length() < kTownRadiusMetres && !nearCrossing(place, street)) {
          addLamp(ground, place);
        }
      });
}

// A wire sags between two masts; short straight pieces follow a parabola.
void addWire(Ground& ground, const osg::Vec3d& from, const osg::Vec3d& to) {
  constexpr int kPieces = 6;
  constexpr double kSagMetres = 0.9;
  const auto at = [&](int piece) {
    const double share = static_cast<double>(piece) / kPieces;
    return from + (to - from) * share - osg::Vec3d(0, 0, 4.0 * kSagMetres * share * (1.0 - share));
  };
  for (int piece = 0; piece < kPieces; ++piece) {
    ground.add(rod(at(piece), at(piece + 1), 0.025, Material::Wire, {kWire, {0.15, 0.15, 0.16}}));
  }
}

struct Mast {
  osg::Vec3d left, right;
};

Mast addMast(Ground& ground, const osg::Vec2d& place, const osg::Vec2d& along) {
  const Site site = ground.site(place, along);
  const Make make{kMast, kTimber};
  ground.add(rod(site.point({0, 0, -0.5}), site.point({0, 0, 8.6}), 0.13, Material::Wood, make));
  ground.add(block(site, {-0.06, -1.1, 8.0}, {0.06, 1.1, 8.14}, Material::Wood, Material::Wood, make));
  return {site.point({0, 1.0, 8.2}), site.point({0, -1.0, 8.2})};
}

void addWiresAlong(Ground& ground, const Street& street) {
  std::optional<Mast> last;
  stepAlong(
      14.0, street.length(), [] { return 33.0; },
      [&](double along) {
        const osg::Vec2d place = street.at(along, -(street.halfWidth + 1.3));
        const Mast mast = addMast(ground, place, street.direction());
        ground.occupy(place, 1.5);
        if (last) {
          addWire(ground, last->left, mast.left);
          addWire(ground, last->right, mast.right);
        }
        last = mast;
      });
}

void addStall(Ground& ground, const Site& site, const osg::Vec3d& awning) {
  const Make timber{kFurniture, kTimber};
  for (const double x : {-1.6, 1.6}) {
    for (const double y : {-1.0, 1.0}) {
      ground.add(rod(site.point({x, y, -0.2}), site.point({x, y, 2.2}), 0.05, Material::Wood, timber));
    }
  }
  ground.add(block(site, {-1.5, -0.9, 0.7}, {1.5, 0.1, 0.85}, Material::Wood, Material::Wood, timber));
  Shape cover = block(site, {-1.9, -1.3, 2.2}, {1.9, 1.3, 2.9}, Material::Cloth, Material::Cloth, {kFurniture, awning});
  bevel(cover, site, {0, -1.3, 2.25}, {0, -0.5, 1}, Material::Cloth);
  bevel(cover, site, {0, 1.3, 2.25}, {0, 0.5, 1}, Material::Cloth);
  ground.add(std::move(cover));
}

void addBench(Ground& ground, const Site& site) {
  const Make make{kFurniture, kTimber};
  ground.add(block(site, {-0.9, -0.25, 0.38}, {0.9, 0.25, 0.46}, Material::Wood, Material::Wood, make));
  ground.add(block(site, {-0.9, 0.2, 0.5}, {0.9, 0.26, 0.95}, Material::Wood, Material::Wood, make));
  for (const double x : {-0.7, 0.7}) {
    ground.add(block(site, {x - 0.06, -0.2, -0.3}, {x + 0.06, 0.2, 0.38}, Material::Stone, Material::Stone, make));
  }
}

// An eight-sided basin with water in it: the rim is a ring of eight blocks.
void addFountain(Ground& ground, const osg::Vec2d& place) {
  const Make stone{kFurniture, kGranite};
  for (int side = 0; side < 8; ++side) {
    const osg::Vec2d axis(cosineOfTurns(side / 8.0), sineOfTurns(side / 8.0));
    const Site site = ground.site(place, axis);
    ground.add(
        block(site.moved({0, 0, 0}), {2.7, -1.25, -0.5}, {3.1, 1.25, 0.65}, Material::Stone, Material::Stone, stone));
  }
  const Site middle = ground.site(place, {1, 0});
  ground.add(block(middle, {-2.2, -2.2, -0.5}, {2.2, 2.2, 0.45}, Material::Water, Material::Water, {kWater, kGranite}));
  ground.add(rod(middle.point({0, 0, 0}), middle.point({0, 0, 2.0}), 0.25, Material::Stone, stone));
  ground.add(ball(middle.point({0, 0, 2.5}), 0.55, Material::Stone, stone));
  ground.occupy(place, 5.0);
}

void furnishSquare(Ground& ground, Dice& dice) {
  addFountain(ground, {38.0, 33.0});
  for (int number = 0; number < 8; ++number) {
    const int row = number / 4;
    const osg::Vec2d place(15.0 + 6.5 * (number % 4), 17.0 + 7.5 * row + 0.5 * (number % 2));
    addStall(ground, ground.site(place, {1, 0}), kAwnings[dice.below(kAwnings.size())]);
    ground.occupy(place, 3.0);
  }
  for (int number = 0; number < 6; ++number) {
    const osg::Vec2d axis(cosineOfTurns(number / 6.0), sineOfTurns(number / 6.0));
    const osg::Vec2d place = osg::Vec2d(38.0, 33.0) + osg::Vec2d(-axis.y(), axis.x()) * 7.0;
    addBench(ground, ground.site(place, axis));
  }
}

}  // namespace

void addStreetLife(Ground& ground, Dice& dice) {
  for (const Street& street : streets()) {
    addCarsAlong(ground, dice, street, 1.0);
    addCarsAlong(ground, dice, street, -1.0);
    if (street.marked) {
      addLampsAlong(ground, street);
    }
  }
  addWiresAlong(ground, streets()[5]);
  furnishSquare(ground, dice);
}

}  // namespace QuorViewer
