#include "viewer/render/ColourMode.h"
#include "viewer/render/PointClasses.h"

#include <gtest/gtest.h>

#include <set>
#include <tuple>

namespace {

using namespace QuorViewer;

TEST(ColourModeTest, everyModeIsFoundByItsOptionName) {
  for (int mode = 0; mode < kColourModeCount; ++mode) {
    EXPECT_EQ(colourModeOf(optionOf(static_cast<ColourMode>(mode))), static_cast<ColourMode>(mode));
  }
  EXPECT_FALSE(colourModeOf("RGB"));
  EXPECT_FALSE(colourModeOf(""));
}

TEST(ColourModeTest, cyclingReachesEveryModeAndReturnsToTheFirst) {
  std::set<ColourMode> seen;
  ColourMode mode = ColourMode::Rgb;
  for (int step = 0; step < kColourModeCount; ++step, mode = nextOf(mode)) {
    seen.insert(mode);
  }
  EXPECT_EQ(seen.size(), 4U);
  EXPECT_EQ(mode, ColourMode::Rgb);
}

TEST(ColourModeTest, theRampGrowsBrighterAllTheWay) {
  const auto luminance = [](float fraction) {
    const osg::Vec3f c = rampColour(fraction);
    return 0.2126f * c.x() + 0.7152f * c.y() + 0.0722f * c.z();
  };
  for (float fraction = 0.0f; fraction < 0.995f; fraction += 0.01f) {
    EXPECT_LT(luminance(fraction), luminance(fraction + 0.01f)) << fraction;
  }
}

TEST(ColourModeTest, valuesOutsideTheRampAreClampedToItsEnds) {
  EXPECT_EQ(rampColour(-3.0f), rampColour(0.0f));
  EXPECT_EQ(rampColour(7.0f), rampColour(1.0f));
}

TEST(ColourModeTest, classesHaveTheirStandardNames) {
  EXPECT_EQ(classificationName(2), "ground");
  EXPECT_EQ(classificationName(6), "building");
  EXPECT_EQ(classificationName(9), "water");
  EXPECT_EQ(classificationName(40), "reserved");
  EXPECT_EQ(classificationName(255), "user defined");
}

TEST(ColourModeTest, neighbouringClassesDifferInColour) {
  const auto channels = [](unsigned int code) {
    const osg::Vec4ub c = classificationColour(code);
    return std::make_tuple(c.r(), c.g(), c.b());
  };
  for (unsigned int code = 0; code < 255; ++code) {
    EXPECT_NE(channels(code), channels(code + 1)) << code;
  }
}

}  // namespace
