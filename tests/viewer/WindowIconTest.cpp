#include "viewer/ui/WindowIcon.h"

#include <gmock/gmock.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace QuorViewer;

std::uint32_t alphaOf(std::uint32_t pixel) {
  return pixel >> 24U;
}

class WindowIconTest : public testing::TestWithParam<int> {};

TEST_P(WindowIconTest, aSquareWithRoundCornersShowsColoursOfTheElevationRamp) {
  constexpr std::uint32_t kOpaque = 255;
  const int size = GetParam();
  const Icon icon = createIcon(size);
  EXPECT_EQ(icon.size, size);
  const auto side = static_cast<std::size_t>(size);
  ASSERT_EQ(icon.pixels.size(), side * side);
  for (const std::size_t corner : {std::size_t{0}, side - 1, side * (side - 1), side * side - 1}) {
    EXPECT_LT(alphaOf(icon.pixels[corner]), 128U) << corner;
  }
  const std::size_t middle = side / 2;
  EXPECT_EQ(alphaOf(icon.pixels[middle * side + middle]), kOpaque);
  EXPECT_EQ(alphaOf(icon.pixels[middle]), kOpaque) << "the middle of the upper edge";
  EXPECT_GT(std::set<std::uint32_t>(icon.pixels.begin(), icon.pixels.end()).size(), 20U);
}

struct Disc {
  double x = 0.0, y = 0.0, radius = 0.0;  // in pixels, from the top left
  std::uint32_t colour = 0;               // red, green, blue
};

std::uint32_t colourOf(const std::string& hexadecimal) {
  return static_cast<std::uint32_t>(std::stoul(hexadecimal, nullptr, 16));
}

// The discs of the picture that desktops show, and its background's colour.
std::vector<Disc> readDiscs(const std::string& svg, std::uint32_t& background) {
  const std::regex element(
      R"re(<rect[^>]*fill="#(\w+)"|<g fill="#(\w+)">|<circle cx="([\d.]+)" cy="([\d.]+)" r="([\d.]+)")re");
  std::vector<Disc> discs;
  std::uint32_t colour = 0;
  for (std::sregex_iterator found(svg.begin(), svg.end(), element), end; found != end; ++found) {
    const std::smatch& part = *found;
    if (part[1].matched) {
      background = colourOf(part[1]);
    } else if (part[2].matched) {
      colour = colourOf(part[2]);
    } else {
      discs.push_back({std::stod(part[3]), std::stod(part[4]), std::stod(part[5]), colour});
    }
  }
  return discs;
}

// The colour at a pixel, or `none` near the edge of a disc.
constexpr std::uint32_t kNearAnEdge = 0xFFFFFFFFU;
std::uint32_t colourAt(double x, double y, const std::vector<Disc>& discs, std::uint32_t background) {
  for (const Disc& disc : discs) {
    const double inside = disc.radius - std::hypot(x - disc.x, y - disc.y);
    if (inside > -1.0) {
      return inside > 1.0 ? disc.colour : kNearAnEdge;
    }
  }
  return background;
}

int channelDifference(std::uint32_t a, std::uint32_t b) {
  int most = 0;
  for (const std::uint32_t shift : {0U, 8U, 16U}) {
    most = std::max(most, std::abs(static_cast<int>(a >> shift & 0xFFU) - static_cast<int>(b >> shift & 0xFFU)));
  }
  return most;
}

TEST(WindowIconFileTest, theIconOfTheMenuEntryIsThatOfTheWindow) {
  std::ifstream file(QUOR_VIEWER_ICON);
  const std::string svg((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  std::uint32_t background = kNearAnEdge;
  const std::vector<Disc> discs = readDiscs(svg, background);
  ASSERT_FALSE(discs.empty());
  constexpr int kSize = 256;
  const Icon icon = createIcon(kSize);
  int compared = 0;
  for (int row = 0; row < kSize; ++row) {
    for (int column = 0; column < kSize; ++column) {
      const std::uint32_t pixel = icon.pixels.at(static_cast<std::size_t>(row * kSize + column));
      const std::uint32_t expected = colourAt(column + 0.5, row + 0.5, discs, background);
      if (alphaOf(pixel) == 255U && expected != kNearAnEdge) {
        ++compared;
        ASSERT_LE(channelDifference(pixel, expected), 1) << "row " << row << ", column " << column;
      }
    }
  }
  EXPECT_GT(compared, kSize * kSize / 2);
}

INSTANTIATE_TEST_SUITE_P(Sizes, WindowIconTest, testing::Values(16, 32, 48, 128));

}  // namespace
