#include "make_scan/Appearance.h"

#include "make_scan/Random.h"
#include "make_scan/Shapes.h"

#include <algorithm>
#include <cmath>

namespace QuorViewer {

namespace {

const osg::Vec3d kSun(0.48, -0.56, 0.675);
const osg::Vec3d kWindow(0.20, 0.25, 0.31);
const osg::Vec3d kDoor(0.33, 0.20, 0.13);
const osg::Vec3d kFrame(0.93, 0.92, 0.88);

osg::Vec3d blend(const osg::Vec3d& from, const osg::Vec3d& to, double share) {
  return from + (to - from) * share;
}

// A factor around 1, constant within a small cube: grains, leaves, single tiles.
double speckle(const osg::Vec3d& place, double size, double strength) {
  const auto key = [size](double coordinate) {
    return static_cast<std::uint64_t>(static_cast<std::int64_t>(std::floor(coordinate / size)));
  };
  const std::uint64_t cube =
      key(place.x()) * 0x8DA6B343ULL + key(place.y()) * 0xD8163841ULL + key(place.z()) * 0xCB1AB31FULL;
  return 1.0 + strength * (2.0 * toUnit(scrambled(cube)) - 1.0);
}

/// A position in the pattern on a shape: to the right as seen from outside, and up.
struct PatternPlace {
  double right, up;
};

PatternPlace patternPlace(const Shape& shape, const Hit& hit) {
  const osg::Vec3d apart = hit.position - shape.anchor;
  const osg::Vec3d& normal = hit.normal;
  const double level = std::sqrt(normal.x() * normal.x() + normal.y() * normal.y());
  if (level < 0.05) {
    return {apart.x(), apart.y()};
  }
  // Converts heights to lengths along the slope.
  return {(apart.y() * normal.x() - apart.x() * normal.y()) / level, apart.z() / level};
}

// Windows on each storey, symmetric about the wall's middle; a door in the middle of a front.
osg::Vec3d wallColour(const osg::Vec3d& plaster, const PatternPlace& place, bool front) {
  constexpr double kSpacing = 2.6;
  constexpr double kStorey = 2.9;
  const double side = std::abs(place.right);
  if (front && side < 0.62 && place.up < 2.25) {
    return side < 0.5 && place.up < 2.12 ? kDoor : kFrame;
  }
  const double across = std::abs(fraction(side / kSpacing) - 0.5) * kSpacing;
  const double height = kStorey * fraction(place.up / kStorey);
  if (place.up > 0.0 && across < 0.62 && height > 0.83 && height < 2.37) {
    const bool glass = across > 0.03 && across < 0.5 && height > 0.95 && height < 2.25;
    return glass ? kWindow : kFrame;
  }
  return plaster * (place.up < 0.45 ? 0.72 : 1.0);
}

osg::Vec3d tileColour(const osg::Vec3d& tile, const Hit& hit, const PatternPlace& place) {
  const double row = fraction(place.up / 0.34) < 0.18 ? 0.80 : 1.0;
  return tile * (row * speckle(hit.position, 0.33, 0.13));
}

osg::Vec3d stoneColour(const osg::Vec3d& stone, const PatternPlace& place) {
  const double course = std::floor(place.up / 0.45);
  const double along = place.right / 0.9 + 0.5 * fraction(0.5 * course) * 2.0;
  const bool joint = fraction(place.up / 0.45) < 0.10 || fraction(along) < 0.05;
  return stone * (joint ? 0.80 : speckle({std::floor(along), course, 0.0}, 1.0, 0.08));
}

// An opening with a round arch on top, around the line right = 0.
bool inArch(double right, double up, double halfWidth, double sill, double spring) {
  const double above = std::max(0.0, up - spring);
  return up > sill && right * right + above * above < halfWidth * halfWidth;
}

// Tall windows along the nave.
osg::Vec3d naveColour(const osg::Vec3d& stone, const PatternPlace& place) {
  constexpr double kSpacing = 4.0;
  const double right = (fraction(place.right / kSpacing) - 0.5) * kSpacing;
  if (inArch(right, place.up, 0.7, 2.4, 5.8)) {
    return std::abs(right) < 0.06 ? kFrame * 0.7 : kWindow;
  }
  return inArch(right, place.up, 0.95, 2.2, 5.8) ? stone * 1.2 : stoneColour(stone, place);
}

// A door, a clock that shows five past four, and a belfry.
osg::Vec3d towerColour(const osg::Vec3d& stone, const PatternPlace& place) {
  const double up = place.up - 16.2;
  const double fromClock = std::sqrt(place.right * place.right + up * up);
  const bool minuteHand = std::abs(place.right - 0.577 * up) < 0.12 && up > 0.0 && fromClock < 1.3;
  const bool hourHand = std::abs(up + 0.577 * place.right) < 0.14 && place.right > 0.0 && fromClock < 0.85;
  if (fromClock < 1.6) {
    return minuteHand || hourHand || fromClock > 1.4 ? osg::Vec3d(0.75, 0.6, 0.2) : kFrame;
  }
  if (inArch(place.right, place.up, 1.1, -1.0, 2.2)) {
    return kDoor;
  }
  return inArch(std::abs(place.right) - 0.9, place.up, 0.6, 18.8, 20.8) ? kWindow : stoneColour(stone, place);
}

osg::Vec3d stripes(const osg::Vec3d& cloth, const PatternPlace& place) {
  return fraction(place.right / 0.7) < 0.5 ? cloth : osg::Vec3d(0.93, 0.92, 0.88);
}

osg::Vec3d bodyColour(const Shape& shape, const Hit& hit) {
  const PatternPlace place = patternPlace(shape, hit);
  switch (hit.material) {
    case Material::Wall:
    case Material::Front:
      return wallColour(shape.colour, place, hit.material == Material::Front);
    case Material::Plaster:
      return blend(shape.colour, {0.88, 0.84, 0.76}, 0.75);
    case Material::Roof:
    case Material::Slate:
      return tileColour(shape.colour, hit, place);
    case Material::Stone:
      return stoneColour(shape.colour, place);
    case Material::Nave:
      return naveColour(shape.colour, place);
    case Material::Tower:
      return towerColour(shape.colour, place);
    case Material::Cloth:
      return stripes(shape.colour, place);
    case Material::CarGlass:
      return {0.12, 0.15, 0.18};
    case Material::Water:
      return osg::Vec3d(0.22, 0.34, 0.38) * (0.9 + 0.2 * plainNoise(hit.position.x(), hit.position.y(), 3.0));
    case Material::Leaves:
    case Material::Needles:
    case Material::Bush:
      return shape.colour * (speckle(hit.position, 0.45, 0.22) * speckle(hit.position, 0.13, 0.20));
    case Material::Flowers:
      return speckle(hit.position, 0.09, 1.0) > 0.9 ? shape.colour : osg::Vec3d(0.28, 0.44, 0.18);
    case Material::CarPaint:
    case Material::Wood:
    case Material::Metal:
    case Material::Wire:
    case Material::Ground:
      break;
  }
  return shape.colour;
}

osg::Vec3d grassColour(const osg::Vec3d& place) {
  const double patch = plainNoise(place.x(), place.y(), 9.0);
  return blend({0.33, 0.46, 0.18}, {0.48, 0.53, 0.24}, patch) * speckle(place, 0.17, 0.12);
}

// Rows of crops along one axis.
osg::Vec3d cropColour(const osg::Vec3d& place) {
  return blend({0.66, 0.60, 0.18}, {0.50, 0.52, 0.18}, fraction(place.x() / 1.3) < 0.4 ? 0.7 : 0.1);
}

osg::Vec3d cobbleColour(const osg::Vec3d& place) {
  const double shift = 0.5 * fraction(0.5 * std::floor(place.y() / 0.5)) * 2.0;
  const bool joint = fraction(place.y() / 0.5) < 0.12 || fraction(place.x() / 0.5 + shift) < 0.12;
  const bool band = fraction(place.x() / 8.0) < 0.06 || fraction(place.y() / 8.0) < 0.06;
  const osg::Vec3d stone = band ? osg::Vec3d(0.76, 0.72, 0.66) : osg::Vec3d(0.60, 0.56, 0.52);
  return stone * (joint ? 0.84 : 1.0);
}

osg::Vec3d coverColour(Cover cover, const osg::Vec3d& place) {
  const double grain = speckle(place, 0.10, 0.06);
  switch (cover) {
    case Cover::Grass:
      return grassColour(place);
    case Cover::Crop:
      return cropColour(place) * grain;
    case Cover::Soil:
      return osg::Vec3d(0.44, 0.34, 0.25) * (grain * (fraction(place.y() / 0.8) < 0.5 ? 1.0 : 0.88));
    case Cover::Litter:
      return osg::Vec3d(0.32, 0.30, 0.18) * speckle(place, 0.25, 0.18);
    case Cover::Asphalt:
      return osg::Vec3d(0.33, 0.33, 0.35) * (grain * (0.92 + 0.16 * plainNoise(place.x(), place.y(), 5.0)));
    case Cover::Marking:
      return osg::Vec3d(0.92, 0.92, 0.90) * grain;
    case Cover::Pavement:
      return osg::Vec3d(0.64, 0.62, 0.59) * (fraction(place.x()) < 0.05 || fraction(place.y()) < 0.05 ? 0.85 : grain);
    case Cover::Cobbles:
      return cobbleColour(place) * grain;
    case Cover::Path:
      return osg::Vec3d(0.72, 0.64, 0.48) * grain;
    case Cover::Shore:
      return osg::Vec3d(0.60, 0.55, 0.38) * grain;
  }
  return {};
}

struct LaserResponse {
  double reflectance, nearInfrared;
};

LaserResponse response(const Hit& hit, double brightness) {
  switch (hit.material) {
    case Material::Leaves:
    case Material::Needles:
    case Material::Bush:
    case Material::Flowers:
      return {0.45 + 0.2 * brightness, 0.75};
    case Material::Water:
      return {0.06, 0.03};
    case Material::CarGlass:
      return {0.10, 0.10};
    case Material::Metal:
    case Material::Wire:
      return {0.30, 0.25};
    case Material::Ground:
      if (hit.cover == Cover::Marking) {
        return {0.95, 0.80};
      }
      return hit.cover == Cover::Grass ? LaserResponse{0.50, 0.70} : LaserResponse{0.12 + 0.5 * brightness, brightness};
    default:
      return {0.15 + 0.7 * brightness, 0.8 * brightness};
  }
}

}  // namespace

Appearance appearance(const Town& town, const Hit& hit) {
  const bool ground = hit.shape == Hit::kTerrain;
  const osg::Vec3d surface = ground ? coverColour(hit.cover, hit.position) : bodyColour(town.shapes()[hit.shape], hit);
  const LaserResponse laser = response(hit, (surface.x() + surface.y() + surface.z()) / 3.0);
  const double light = 0.62 + 0.42 * std::max(0.0, hit.normal * kSun) + 0.06 * hit.normal.z();
  osg::Vec3d lit = surface * light;
  for (int channel = 0; channel < 3; ++channel) {
    lit[channel] = std::clamp(lit[channel], 0.0, 1.0);
  }
  return {lit, laser.reflectance, laser.nearInfrared};
}

}  // namespace QuorViewer
