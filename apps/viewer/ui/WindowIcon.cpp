#include "viewer/ui/WindowIcon.h"

#include "viewer/render/ColourMode.h"

#include <osg/Vec2d>
#include <osg/Vec3d>
#include <osg/Vec4d>

#include <algorithm>
#include <array>
#include <cmath>

namespace QuorViewer {
namespace {

// Lengths are fractions of the icon's side, from its bottom left.
constexpr double kCornerRadius = 0.2;
constexpr double kDotSpacing = 0.118;
constexpr double kDotRadius = 0.05;
constexpr std::array<int, 7> kColumnHeights = {1, 2, 4, 6, 5, 3, 2};  // in dots
constexpr int kHighest = 6;
const osg::Vec3d kBackground(0.09, 0.11, 0.15);

struct Dot {
  osg::Vec2d place;
  osg::Vec3d colour;
};

// A hill of stacked points, in the middle of the square.
std::vector<Dot> createDots() {
  std::vector<Dot> dots;
  const double left = 0.5 - 0.5 * kDotSpacing * (kColumnHeights.size() - 1);
  const double bottom = 0.5 - 0.5 * kDotSpacing * (kHighest - 1);
  for (std::size_t column = 0; column < kColumnHeights.size(); ++column) {
    for (int row = 0; row < kColumnHeights.at(column); ++row) {
      const osg::Vec2d place(left + kDotSpacing * static_cast<double>(column), bottom + kDotSpacing * row);
      dots.push_back({place, osg::Vec3d(rampColour((static_cast<float>(row) + 0.5f) / kHighest))});
    }
  }
  return dots;
}

// How much of a pixel a shape covers whose edge is this far away, in pixels; positive inside.
double coverage(double distance) {
  return std::clamp(distance + 0.5, 0.0, 1.0);
}

double distanceInsideSquare(const osg::Vec2d& place) {
  const double inner = 0.5 - kCornerRadius;
  const osg::Vec2d beyond(std::max(std::abs(place.x() - 0.5) - inner, 0.0),
                          std::max(std::abs(place.y() - 0.5) - inner, 0.0));
  return kCornerRadius - beyond.length();
}

std::uint32_t pixelOf(const osg::Vec3d& colour, double alpha) {
  const auto byte = [](double share) { return static_cast<std::uint32_t>(std::lround(255.0 * share)); };
  return byte(alpha) << 24U | byte(colour.x()) << 16U | byte(colour.y()) << 8U | byte(colour.z());
}

}  // namespace

Icon createIcon(int sizePixels) {
  static const std::vector<Dot> kDots = createDots();
  Icon icon{sizePixels, {}};
  for (int row = sizePixels - 1; row >= 0; --row) {
    for (int column = 0; column < sizePixels; ++column) {
      const osg::Vec2d place((column + 0.5) / sizePixels, (row + 0.5) / sizePixels);
      osg::Vec3d colour = kBackground;
      for (const Dot& dot : kDots) {
        const double share = coverage((kDotRadius - (place - dot.place).length()) * sizePixels);
        colour = colour * (1.0 - share) + dot.colour * share;
      }
      icon.pixels.push_back(pixelOf(colour, coverage(distanceInsideSquare(place) * sizePixels)));
    }
  }
  return icon;
}

}  // namespace QuorViewer
