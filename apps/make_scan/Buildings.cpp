#include "make_scan/Ground.h"

#include <array>
#include <cmath>

namespace QuorViewer {

namespace {

constexpr double kStoreyMetres = 2.9;
constexpr double kCellarMetres = 3.0;  // walls extend down into sloping ground
const osg::Vec3d kStone(0.68, 0.64, 0.57);

const std::array<osg::Vec3d, 10> kWallColours = {{{0.86, 0.80, 0.66},
                                                  {0.83, 0.70, 0.48},
                                                  {0.90, 0.88, 0.82},
                                                  {0.76, 0.55, 0.42},
                                                  {0.64, 0.36, 0.28},
                                                  {0.70, 0.74, 0.72},
                                                  {0.88, 0.73, 0.62},
                                                  {0.60, 0.68, 0.60},
                                                  {0.78, 0.48, 0.38},
                                                  {0.58, 0.66, 0.76}}};
const std::array<osg::Vec3d, 5> kRoofColours = {
    {{0.62, 0.29, 0.20}, {0.55, 0.24, 0.17}, {0.68, 0.36, 0.24}, {0.36, 0.35, 0.37}, {0.46, 0.30, 0.22}}};

struct House {
  double halfLength, halfDepth;
  int storeys;
  double pitch;  // rise of the roof per metre across
  bool hipped;
  osg::Vec3d wallColour, roofColour;
};

// Slopes towards both long sides from a ridge along x; hipped roofs slope towards the short sides as well.
void addRoof(Ground& ground, const Site& site, const House& house, double eaves, Material material) {
  const osg::Vec3d half(house.halfLength + (house.hipped ? 0.45 : 0.2), house.halfDepth + 0.45, 0.0);
  const double rise = house.pitch * half.y();
  const Material gable = house.hipped ? material : Material::Plaster;
  Shape roof = block(site, {-half.x(), -half.y(), eaves}, {half.x(), half.y(), eaves + rise + 0.15}, gable, material,
                     {kBuilding, house.roofColour});
  for (const double side : {-1.0, 1.0}) {
    bevel(roof, site, {0, side * half.y(), eaves + 0.15}, {0, side * house.pitch, 1}, material);
    if (house.hipped) {
      bevel(roof, site, {side * half.x(), 0, eaves + 0.15}, {side * house.pitch, 0, 1}, material);
    }
  }
  roof.anchor.z() += eaves;
  ground.add(std::move(roof));
}

void addChimney(Ground& ground, const Site& site, const House& house, double eaves) {
  const double top = eaves + house.pitch * house.halfDepth + 0.9;
  const Site stack = site.moved({0.45 * house.halfLength, 0.25 * house.halfDepth, 0.0});
  ground.add(block(stack, {-0.4, -0.3, eaves}, {0.4, 0.3, top}, Material::Stone, Material::Metal,
                   {kBuilding, {0.52, 0.30, 0.24}}));
}

void addHouse(Ground& ground, const Site& site, const House& house) {
  const double eaves = house.storeys * kStoreyMetres + 0.3;
  ground.add(block(site, {-house.halfLength, -house.halfDepth, -kCellarMetres},
                   {house.halfLength, house.halfDepth, eaves}, Material::Front, Material::Stone,
                   {kBuilding, house.wallColour}));
  addRoof(ground, site, house, eaves, Material::Roof);
  addChimney(ground, site, house, eaves);
}

// Sizes that leave whole windows at the corners: see the window spacing in the wall pattern.
House drawHouse(Dice& dice) {
  House house{};
  house.halfLength = dice.chance(0.2) ? dice.between(7.3, 8.3) : dice.between(4.7, 5.8);
  house.halfDepth = dice.chance(0.5) ? 3.25 : 4.75;
  house.storeys = dice.chance(0.3) ? 1 : (dice.chance(0.8) ? 2 : 3);
  house.pitch = dice.between(0.55, 1.05);
  house.hipped = dice.chance(0.3);
  house.wallColour = kWallColours[dice.below(kWallColours.size())];
  house.roofColour = kRoofColours[dice.below(kRoofColours.size())];
  return house;
}

bool isBuildingLand(const Ground& ground, const osg::Vec2d& place, double radius) {
  return place.length() < kTownRadiusMetres && !square().contains(place, radius) && !park().contains(place, radius) &&
         streetClearance(place) > radius - 2.0 && ground.isFree(place, radius);
}

// Narrow houses wall to wall, each with its own height and colour.
void addTerrace(Ground& ground, Dice& dice, const osg::Vec2d& from, const osg::Vec2d& xAxis, int count) {
  constexpr double kHalfFrontage = 3.15;
  for (int number = 0; number < count; ++number) {
    House house = drawHouse(dice);
    house.halfLength = kHalfFrontage;
    house.halfDepth = 4.75;
    house.storeys = dice.chance(0.5) ? 2 : 3;
    house.hipped = false;
    const osg::Vec2d place = from + xAxis * (2.0 * kHalfFrontage * number);
    addHouse(ground, ground.site(place, xAxis), house);
    ground.occupy(place, 6.0);
  }
}

void addHousesAlong(Ground& ground, Dice& dice, const Street& street, double side) {
  double along = 8.0;
  while (along < street.length() - 8.0) {
    const House house = drawHouse(dice);
    const double setback = street.halfWidth + dice.between(4.0, 7.5) + house.halfDepth;
    const osg::Vec2d place = street.at(along, side * setback);
    const double radius = std::sqrt(house.halfLength * house.halfLength + house.halfDepth * house.halfDepth);
    if (isBuildingLand(ground, place, radius)) {
      addHouse(ground, ground.site(place, street.direction() * side), house);
      ground.occupy(place, radius + 1.0);
      along += house.halfLength + dice.between(2.0, 9.0);
    }
    along += 4.0;
  }
}

void addSpire(Ground& ground, const Site& site, double half, double from, double height) {
  Shape spire = block(site, {-half, -half, from}, {half, half, from + height}, Material::Slate, Material::Slate,
                      {kBuilding, {0.30, 0.40, 0.38}});
  const double slope = height / half;
  for (const double side : {-1.0, 1.0}) {
    bevel(spire, site, {side * half, 0, from}, {side * slope, 0, 1}, Material::Slate);
    bevel(spire, site, {0, side * half, from}, {0, side * slope, 1}, Material::Slate);
  }
  ground.add(std::move(spire));
}

}  // namespace

void addHouses(Ground& ground, Dice& dice) {
  addTerrace(ground, dice, {80.5, 56.0}, {0, -1}, 8);   // east of the square, facing it
  addTerrace(ground, dice, {50.0, -13.0}, {-1, 0}, 7);  // south of the main street
  addTerrace(ground, dice, {100.0, -13.0}, {-1, 0}, 6);
  for (const Street& street : streets()) {
    addHousesAlong(ground, dice, street, 1.0);
    addHousesAlong(ground, dice, street, -1.0);
  }
}

void addChurch(Ground& ground) {
  const osg::Vec2d middle(40.0, 73.0);
  const Site nave = ground.site(middle, {1, 0});
  const House form{14.0, 6.0, 3, 1.25, false, kStone, {0.33, 0.34, 0.37}};
  ground.add(
      block(nave, {-14, -6, -kCellarMetres}, {14, 6, 8.5}, Material::Nave, Material::Stone, {kBuilding, kStone}));
  addRoof(ground, nave, form, 8.5, Material::Slate);
  const Site tower = nave.moved({-17.0, 0.0, 0.0});
  ground.add(block(tower, {-3.4, -3.4, -kCellarMetres}, {3.4, 3.4, 23.0}, Material::Tower, Material::Stone,
                   {kBuilding, kStone}));
  addSpire(ground, tower, 3.8, 23.0, 15.0);
  const osg::Vec3d tip = tower.point({0, 0, 38.4});
  ground.add(rod(tower.point({0, 0, 37.5}), tip, 0.07, Material::Metal, {kBuilding, {0.85, 0.70, 0.30}}));
  ground.add(ball(tip, 0.3, Material::Metal, {kBuilding, {0.85, 0.70, 0.30}}));
  for (const double along : {-17.0, -9.0, 0.0, 9.0}) {
    ground.occupy(middle + osg::Vec2d(along, 0.0), 8.5);
  }
}

}  // namespace QuorViewer
