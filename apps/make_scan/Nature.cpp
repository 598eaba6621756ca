#include "make_scan/Ground.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace QuorViewer {

namespace {

constexpr double kWaterLevelBelowBankMetres = 0.9;
const osg::Vec2d kPond(-55.0, -50.0);

const std::array<osg::Vec3d, 5> kLeafColours = {
    {{0.26, 0.42, 0.14}, {0.34, 0.48, 0.16}, {0.22, 0.38, 0.16}, {0.42, 0.50, 0.18}, {0.52, 0.44, 0.14}}};
const std::array<osg::Vec3d, 4> kFlowerColours = {
    {{0.86, 0.20, 0.26}, {0.92, 0.78, 0.20}, {0.66, 0.36, 0.72}, {0.94, 0.90, 0.88}}};

osg::Vec3d up(double metres) {
  return {0.0, 0.0, metres};
}

// Lobes around the middle of the crown, and one at the middle.
void addBroadleaf(Ground& ground, Dice& dice, const osg::Vec2d& place, double height) {
  const osg::Vec3d foot = ground.onGround(place);
  const double spread = height * dice.between(0.22, 0.30);
  const osg::Vec3d middle = foot + up(height - 1.15 * spread);
  const Make leaves{kHighVegetation, kLeafColours[dice.below(kLeafColours.size())]};
  ground.add(rod(foot - up(0.5), middle, 0.02 * height + 0.05, Material::Wood, {kHighVegetation, {0.34, 0.27, 0.20}}));
  ground.add(foliage(middle + up(0.25 * spread), 0.8 * spread, Material::Leaves, leaves));
  const int lobes = 6 + static_cast<int>(dice.below(4));
  for (int lobe = 0; lobe < lobes; ++lobe) {
    const double turn = (lobe + dice.between(-0.3, 0.3)) / lobes;
    const osg::Vec3d outwards(cosineOfTurns(turn), sineOfTurns(turn), dice.between(-0.45, 0.75));
    const double radius = spread * dice.between(0.42, 0.62);
    ground.add(foliage(middle + outwards * (spread * dice.between(0.5, 0.72)), radius, Material::Leaves, leaves));
  }
}

// Tiers that grow narrower towards the tip.
void addConifer(Ground& ground, Dice& dice, const osg::Vec2d& place, double height) {
  const osg::Vec3d foot = ground.onGround(place);
  const Make needles{kHighVegetation, osg::Vec3d(0.14, 0.27, 0.15) * dice.between(0.85, 1.2)};
  ground.add(rod(foot - up(0.5), foot + up(0.8 * height), 0.16, Material::Wood, {kHighVegetation, {0.30, 0.22, 0.16}}));
  constexpr int kTiers = 6;
  for (int tier = 0; tier < kTiers; ++tier) {
    const double share = (tier + 0.5) / kTiers;
    const double radius = height * (0.19 - 0.15 * share);
    const osg::Vec3d aside{dice.between(-0.15, 0.15), dice.between(-0.15, 0.15), 0.0};
    ground.add(foliage(foot + aside + up(height * (0.16 + 0.8 * share)), radius, Material::Needles, needles));
  }
}

void addTree(Ground& ground, Dice& dice, const osg::Vec2d& place, bool conifer) {
  conifer ? addConifer(ground, dice, place, dice.between(8.0, 17.0))
          : addBroadleaf(ground, dice, place, dice.between(6.0, 13.0));
}

void addBushes(Ground& ground, Dice& dice, const osg::Vec2d& from, const osg::Vec2d& to) {
  constexpr double kApartMetres = 0.75;
  const Make leaves{kMediumVegetation, kLeafColours[dice.below(3)]};
  const double length = (to - from).length();
  stepAlong(
      0.0, length, [] { return kApartMetres; },
      [&](double along) {
        const osg::Vec2d place = from + (to - from) * (along / length);
        const double radius = dice.between(0.5, 0.7);
        ground.add(foliage(ground.onGround(place) + up(0.65 * radius), radius, Material::Bush, leaves));
      });
}

void addFlowerBed(Ground& ground, Dice& dice, const osg::Vec2d& middle) {
  const Make flowers{kLowVegetation, kFlowerColours[dice.below(kFlowerColours.size())]};
  for (int number = 0; number < 26; ++number) {
    const double turn = dice.unit();
    const double away = 1.7 * std::sqrt(dice.unit());
    const osg::Vec2d place = middle + osg::Vec2d(cosineOfTurns(turn), sineOfTurns(turn)) * away;
    ground.add(foliage(ground.onGround(place) + up(0.05), dice.between(0.16, 0.28), Material::Flowers, flowers));
  }
}

// The water surface is wider than the pond; where the ground is higher, it hides the water.
void addPond(Ground& ground) {
  const double bank = ground.height(kPond + osg::Vec2d(0.0, 31.0));
  const double level = bank - kWaterLevelBelowBankMetres;
  const Site site(osg::Vec3d(kPond.x(), kPond.y(), level), {1, 0});
  ground.add(
      block(site, {-29, -23, -4.0}, {29, 23, 0.0}, Material::Water, Material::Water, {kWater, {0.20, 0.30, 0.34}}));
  ground.occupy(kPond, 27.0);
}

void addStreetTrees(Ground& ground, Dice& dice, const Street& street) {
  stepAlong(
      9.0, street.length(), [] { return 13.5; },
      [&](double along) {
        for (const double side : {-1.0, 1.0}) {
          const osg::Vec2d place = street.at(along, side * (street.halfWidth + 1.6));
          if (place.length() > 120.0 || streetClearance(place) < 1.0 || !ground.isFree(place, 0.4)) {
            continue;
          }
          addBroadleaf(ground, dice, place, dice.between(5.5, 7.5));
          ground.occupy(place, 1.5);
        }
      });
}

double treeChance(const osg::Vec2d& place) {
  if (square().contains(place, 1.0)) {
    return 0.0;
  }
  if (park().contains(place, -3.0)) {
    return 0.55;
  }
  const double inTown = place.length() < kTownRadiusMetres ? 0.16 : 0.02;
  return std::max(inTown, 0.95 * woodland(place));
}

void addScatteredTrees(Ground& ground, Dice& dice) {
  constexpr int kCandidates = 6500;
  constexpr double kReach = Terrain::kHalfSizeMetres - 6.0;
  for (int candidate = 0; candidate < kCandidates; ++candidate) {
    const osg::Vec2d place{dice.between(-kReach, kReach), dice.between(-kReach, kReach)};
    const double wanted = dice.unit();
    if (wanted >= treeChance(place) || streetClearance(place) < 2.8 || !ground.isFree(place, 1.8)) {
      continue;
    }
    addTree(ground, dice, place, dice.chance(0.15 + 0.65 * woodland(place)));
    ground.occupy(place, 1.9);
  }
}

void addHedgesAlong(Ground& ground, Dice& dice, const Street& street, double side) {
  const double across = side * (street.halfWidth + 2.7);
  stepAlong(
      10.0, street.length() - 20.0, [&] { return dice.between(14.0, 30.0); },
      [&](double along) {
        const osg::Vec2d from = street.at(along, across);
        const osg::Vec2d to = street.at(along + dice.between(5.0, 10.0), across);
        const bool inTown = from.length() < kTownRadiusMetres && to.length() < kTownRadiusMetres;
        const bool apart = streetClearance(from) > 2.0 && streetClearance(to) > 2.0;
        if (inTown && apart && !square().contains(from, 8.0) && ground.isFree(from, 0.8) && ground.isFree(to, 0.8)) {
          addBushes(ground, dice, from, to);
        }
      });
}

}  // namespace

void addNature(Ground& ground, Dice& dice) {
  addPond(ground);
  for (const osg::Vec2d& bed : {osg::Vec2d(30, 42), osg::Vec2d(46, 42), osg::Vec2d(48, 24), osg::Vec2d(-22, -18)}) {
    addFlowerBed(ground, dice, bed);
    ground.occupy(bed, 2.2);
  }
  for (const Street& street : streets()) {
    if (street.marked) {
      addStreetTrees(ground, dice, street);
    }
  }
  for (const Street& street : streets()) {
    addHedgesAlong(ground, dice, street, 1.0);
    addHedgesAlong(ground, dice, street, -1.0);
  }
  addScatteredTrees(ground, dice);
}

}  // namespace QuorViewer
