#include "viewer/session/ScanFit.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using namespace QuorViewer;

CoordinateSystem epsg(unsigned code, double metresPerUnit = 1.0) {
  CoordinateSystem system;
  system.epsg = code;
  system.metresPerUnit = metresPerUnit;
  return system;
}

// A cube of ten units with this low corner.
ScanPlace cubeAt(double x, double y, double z, const CoordinateSystem& system = {}) {
  return {{x, y, z, x + 10.0, y + 10.0, z + 10.0}, system};
}

TEST(ScanFitTest, lengthsHaveSensibleDigitsAndUnits) {
  EXPECT_EQ(lengthText(412345.0, 1.0), "412 km");
  EXPECT_EQ(lengthText(1234.0, 1.0), "1.2 km");
  EXPECT_EQ(lengthText(349.6, 1.0), "350 m");
  EXPECT_EQ(lengthText(0.03125, 1.0), "0.03 m");
  EXPECT_EQ(lengthText(10000.0, 0.3048), "3.0 km");
  EXPECT_EQ(lengthText(412345.0, 0.0), "412,345 units");
  EXPECT_EQ(lengthText(0.0, 1.0), "0.0 m");
}

TEST(ScanFitTest, theGapIsTheFreeDistanceBetweenTheBoxes) {
  EXPECT_EQ(gapBetween(cubeAt(0, 0, 0).bounds, cubeAt(13, 14, 0).bounds), 5.0);  // 3 and 4
  EXPECT_EQ(gapBetween(cubeAt(13, 14, 0).bounds, cubeAt(0, 0, 0).bounds), 5.0);
  EXPECT_EQ(gapBetween(cubeAt(0, 0, 0).bounds, cubeAt(5, 5, 5).bounds), 0.0);
}

TEST(ScanFitTest, aScanIsFarBeyondAHundredTimesTheLargerExtent) {
  EXPECT_EQ(distanceMisfit(cubeAt(1009, 0, 0), {cubeAt(0, 0, 0)}), "");
  EXPECT_EQ(distanceMisfit(cubeAt(1011, 0, 0), {cubeAt(0, 0, 0)}),
            "is 1,001 units away from the open scans (to the east)");
}

TEST(ScanFitTest, aLargeScanIsFarBeyondAHundredKilometres) {
  const ScanPlace country = {{0, 0, 0, 4e5, 4e5, 1000}, epsg(2056)};
  EXPECT_EQ(distanceMisfit(cubeAt(4.99e5, 0, 0, epsg(2056)), {country}), "");
  EXPECT_EQ(distanceMisfit(cubeAt(5.02e5, 0, 0, epsg(2056)), {country}),
            "is 102 km away from the open scans (to the east)");
  const ScanPlace inFeet = {{0, 0, 0, 4e5, 4e5, 1000}, epsg(2994, 0.3048)};
  EXPECT_EQ(distanceMisfit(cubeAt(4e5 + 3.2e5, 0, 0, epsg(2994, 0.3048)), {inFeet}), "");  // 98 km
}

TEST(ScanFitTest, theNearestOfTheOthersCounts) {
  EXPECT_EQ(distanceMisfit(cubeAt(50000, 0, 0), {cubeAt(0, 0, 0), cubeAt(50020, 0, 0)}), "");
}

TEST(ScanFitTest, withoutBoundsNothingIsFar) {
  EXPECT_EQ(distanceMisfit({{}, epsg(2056)}, {cubeAt(0, 0, 0)}), "");
  EXPECT_EQ(distanceMisfit(cubeAt(1e6, 0, 0), {{{}, epsg(2056)}}), "");
  EXPECT_EQ(distanceMisfit(cubeAt(1e6, 0, 0), {}), "");
}

TEST(ScanFitTest, theDirectionIsACompassPointOrAboveOrBelow) {
  const auto direction = [](double x, double y, double z) {
    const std::string text = distanceMisfit(cubeAt(x, y, z), {cubeAt(0, 0, 0)});
    return text.substr(text.find('(') + 1, text.find(')') - text.find('(') - 1);
  };
  EXPECT_EQ(direction(0, 9e4, 0), "to the north");
  EXPECT_EQ(direction(9e4, 9e4, 0), "to the north-east");
  EXPECT_EQ(direction(9e4, -8e4, 0), "to the south-east");
  EXPECT_EQ(direction(0, -9e4, 0), "to the south");
  EXPECT_EQ(direction(-9e4, 1e3, 0), "to the west");
  EXPECT_EQ(direction(-9e4, 9e4, 0), "to the north-west");
  EXPECT_EQ(direction(100, 100, 9e4), "above");
  EXPECT_EQ(direction(100, 100, -9e4), "below");
}

TEST(ScanFitTest, differentSystemsAreNamed) {
  EXPECT_EQ(systemMisfit(cubeAt(0, 0, 0, epsg(28992)), {cubeAt(0, 0, 0, epsg(2056))}),
            "has coordinate system EPSG:28992, but the open scans have EPSG:2056: they may not fit together");
  EXPECT_EQ(
      systemMisfit(cubeAt(0, 0, 0, epsg(28992)),
                   {cubeAt(0, 0, 0, epsg(2056)), cubeAt(0, 0, 0, epsg(4326)), cubeAt(0, 0, 0, epsg(2056))}),
      "has coordinate system EPSG:28992, but the open scans have EPSG:2056, EPSG:4326: they may not fit together");
  EXPECT_EQ(systemMisfit(cubeAt(0, 0, 0, epsg(2056)), {cubeAt(0, 0, 0, epsg(28992)), cubeAt(0, 0, 0, epsg(2056))}), "");
  EXPECT_EQ(systemMisfit(cubeAt(0, 0, 0, epsg(2056)), {cubeAt(0, 0, 0)}), "");
  EXPECT_EQ(systemMisfit(cubeAt(0, 0, 0), {cubeAt(0, 0, 0, epsg(2056))}), "");
  EXPECT_EQ(systemMisfit(cubeAt(0, 0, 0, epsg(2056)), {}), "");
}

}  // namespace
