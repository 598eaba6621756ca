#include "scan/index/EvenOrder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <set>
#include <utility>
#include <vector>

namespace {

using namespace QuorViewer;

NodePoints pointsAt(const std::vector<osg::Vec3f>& positions) {
  const auto count = static_cast<unsigned int>(positions.size());
  NodePoints points;
  points.positions = new osg::Vec3Array(positions.begin(), positions.end());
  points.colours = new osg::Vec4ubArray(count);
  points.intensities = new osg::UShortArray(count);
  points.classesReturns = new osg::Vec2ubArray(count);
  points.records = new osg::UIntArray(count);
  for (unsigned int i = 0; i < count; ++i) {
    const auto byte = static_cast<unsigned char>(i % 256);
    (*points.colours)[i].set(byte, 1, 2, 255);
    (*points.intensities)[i] = static_cast<unsigned short>(i % 65536);
    (*points.classesReturns)[i].set(byte, 3);
    (*points.records)[i] = 7 * i;
  }
  return points;
}

/// Row by row, as a scanner may write them.
std::vector<osg::Vec3f> gridOf(int side) {
  std::vector<osg::Vec3f> positions;
  for (int i = 0; i < side * side; ++i) {
    positions.emplace_back(1000.0f + 0.5f * static_cast<float>(i % side), -3.0f + 0.5f * static_cast<float>(i / side),
                           12.0f);
  }
  return positions;
}

TEST(EvenOrderTest, theFirstPointsOfAGridLieOneInEachOfAsManySquares) {
  constexpr int kSide = 64;
  NodePoints points = pointsAt(gridOf(kSide));
  orderEvenly(points);
  for (int squares = 1; squares <= kSide; squares *= 2) {
    std::set<std::pair<int, int>> met;
    for (int i = 0; i < squares * squares; ++i) {
      const osg::Vec3f& position = (*points.positions)[static_cast<std::size_t>(i)];
      const int pointsPerSquare = kSide / squares;
      met.emplace(static_cast<int>((position.x() - 1000.0f) * 2.0f) / pointsPerSquare,
                  static_cast<int>((position.y() + 3.0f) * 2.0f) / pointsPerSquare);
    }
    EXPECT_EQ(met.size(), static_cast<std::size_t>(squares * squares));
  }
}

// Any tenth of the points along an axis has its share of every beginning, apart from those at its edges.
TEST(EvenOrderTest, everyBeginningOfAnyNumberOfPointsIsSpreadOverAll) {
  std::mt19937 random(5);
  std::uniform_real_distribution<float> place(0.0f, 1.0f);
  std::vector<osg::Vec3f> positions;
  for (int i = 0; i < 30001; ++i) {
    positions.emplace_back(place(random), place(random), 0.1f * place(random));
  }
  std::sort(positions.begin(), positions.end());
  NodePoints points = pointsAt(positions);
  orderEvenly(points);
  for (const int first : {1000, 3000, 12345, 30001}) {
    std::vector<int> counts(10);
    for (int i = 0; i < first; ++i) {
      ++counts[static_cast<std::size_t>((*points.positions)[static_cast<std::size_t>(i)].x() * 10.0f)];
    }
    for (const int count : counts) {
      EXPECT_NEAR(count, first / 10, first / 40) << "of the first " << first;
    }
  }
}

TEST(EvenOrderTest, theAttributesOfAPointStayTogether) {
  const std::vector<osg::Vec3f> positions = gridOf(37);
  NodePoints points = pointsAt(positions);
  const NodePoints before = pointsAt(positions);
  orderEvenly(points);
  std::set<unsigned int> met;
  for (std::size_t place = 0; place < positions.size(); ++place) {
    const unsigned int i = (*points.records)[place] / 7;
    met.insert(i);
    ASSERT_LT(i, positions.size());
    EXPECT_EQ((*points.positions)[place], positions[i]);
    EXPECT_EQ((*points.colours)[place], (*before.colours)[i]);
    EXPECT_EQ((*points.intensities)[place], (*before.intensities)[i]);
    EXPECT_EQ((*points.classesReturns)[place], (*before.classesReturns)[i]);
  }
  EXPECT_EQ(met.size(), positions.size());
}

TEST(EvenOrderTest, noPointsAndPointsAtOnePlaceAreKept) {
  for (const std::size_t count : {0U, 1U, 5U}) {
    NodePoints points = pointsAt(std::vector<osg::Vec3f>(count, osg::Vec3f(1.0f, 2.0f, 3.0f)));
    orderEvenly(points);
    EXPECT_EQ(points.positions->size(), count);
    EXPECT_EQ(std::set<unsigned int>(points.records->begin(), points.records->end()).size(), count);
  }
}

}  // namespace
