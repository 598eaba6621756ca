#include "tests/viewer/ViewerFixture.h"

#include <osg/Math>

#include <gmock/gmock.h>

#include <cmath>

namespace {

using namespace QuorTests;
using testing::HasSubstr;
using testing::Not;

// The colours of the rings: amber at the latest pick, a bluish light grey at the one before.
const osg::Vec4 kLatest(1.0f, 0.72f, 0.16f, 1.0f);
const osg::Vec4 kBefore(0.80f, 0.84f, 0.90f, 1.0f);

// A ring has a radius of 9 pixels and a width of 2.4; about half of its pixels are away from its smoothed edges.
const auto kLeastRingPixels = static_cast<int>(osg::PI * 9.0 * 2.4);
constexpr int kReachPixels = 12;

class PickMarkerViewerTest : public ViewerFixture {
 protected:
  /// How many pixels around a point of the grid have a ring's colour.
  int pixelsAround(const osg::Image& image, int point, const osg::Vec4& colour) const {
    constexpr float kTolerance = 0.03f;
    const Pixel middle = pixelOf(_points.at(static_cast<std::size_t>(point)));
    int found = 0;
    for (int y = -kReachPixels; y <= kReachPixels; ++y) {
      for (int x = -kReachPixels; x <= kReachPixels; ++x) {
        const osg::Vec4 seen = image.getColor(static_cast<unsigned int>(middle.x + x),
                                              static_cast<unsigned int>(_height - 1 - middle.yFromTop + y));
        found += (seen - colour).length() < kTolerance ? 1 : 0;
      }
    }
    return found;
  }
  void expectRing(const osg::Image& image, int point, const osg::Vec4& colour) {
    EXPECT_GE(pixelsAround(image, point, colour), kLeastRingPixels) << "point " << point;
  }
};

TEST_F(PickMarkerViewerTest, theFirstPickIsMarkedAtOnce) {
  showGrid();
  const osg::ref_ptr<osg::Image> before = picture();
  EXPECT_EQ(pixelsAround(*before, 24, kLatest), 0);
  expectClickReports(24);
  const osg::ref_ptr<osg::Image> after = picture();
  expectRing(*after, 24, kLatest);
}

TEST_F(PickMarkerViewerTest, theSamePointPickedTwiceHasDistanceZeroAndKeepsItsRing) {
  showGrid();
  expectClickReports(24);
  EXPECT_THAT(clickAt(pixelOf(_points[24])), HasSubstr(" distance 0.00"));
  const osg::ref_ptr<osg::Image> image = picture();
  expectRing(*image, 24, kLatest);
  EXPECT_EQ(pixelsAround(*image, 24, kBefore), 0);
}

TEST_F(PickMarkerViewerTest, twoPicksHaveARingEachInTheOrderOfTheClicks) {
  showGrid();
  expectClickReports(24);
  expectClickReports(32);
  const osg::ref_ptr<osg::Image> image = picture();
  expectRing(*image, 32, kLatest);
  expectRing(*image, 24, kBefore);
  EXPECT_EQ(pixelsAround(*image, 24, kLatest), 0);
}

TEST_F(PickMarkerViewerTest, aPointPickedAgainAfterAnotherHasBothRings) {
  showGrid();
  expectClickReports(24);
  expectClickReports(32);
  expectClickReports(24);
  const osg::ref_ptr<osg::Image> image = picture();
  expectRing(*image, 24, kLatest);
  expectRing(*image, 32, kBefore);
}

}  // namespace
