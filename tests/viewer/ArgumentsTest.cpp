#include "viewer/Arguments.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>

namespace {

using QuorViewer::Arguments;
using QuorViewer::ColourMode;
using QuorViewer::parseArguments;

TEST(ArgumentsTest, anEmptyCommandLineGivesTheDefaults) {
  const Arguments parsed = parseArguments({});
  EXPECT_TRUE(parsed.files.empty());
  EXPECT_FALSE(parsed.colourMode.has_value());
  EXPECT_EQ(parsed.width, 1280);
  EXPECT_EQ(parsed.height, 720);
  EXPECT_FALSE(parsed.orthographic || parsed.verbose || parsed.gpu);
  EXPECT_EQ(parsed.answer, "");
}

TEST(ArgumentsTest, theMemoryIsANumberOfGibibytes) {
  EXPECT_FALSE(parseArguments({}).memoryBytes.has_value());
  EXPECT_EQ(parseArguments({"--memory", "2"}).memoryBytes, 2147483648U);
  EXPECT_EQ(parseArguments({"--memory", "0.5"}).memoryBytes, 536870912U);
  for (const char* wrong : {"0", "-1", "+-1", "+", "", " 2", "much", "2GiB", "nan", "inf", "1e9"}) {
    EXPECT_THROW(parseArguments({"--memory", wrong}), std::invalid_argument) << wrong;
  }
}

TEST(ArgumentsTest, theLimitOfTheIndexesIsANumberOfGibibytes) {
  EXPECT_FALSE(parseArguments({}).indexLimitBytes.has_value());
  EXPECT_EQ(parseArguments({"--index-limit", "1.5"}).indexLimitBytes, 1610612736U);
  EXPECT_THROW(parseArguments({"--index-limit", "0"}), std::invalid_argument);
}

TEST(ArgumentsTest, filesAndOptionsMayStandInAnyOrder) {
  const Arguments parsed =
      parseArguments({"a.las", "--size", "800x600", "b.laz", "--ortho", "--colour-by", "intensity", "--point-size", "7",
                      "--tour", "there", "--screenshot", "p.png", "--verbose"});
  EXPECT_THAT(parsed.files, testing::ElementsAre("a.las", "b.laz"));
  EXPECT_EQ(parsed.width, 800);
  EXPECT_EQ(parsed.height, 600);
  EXPECT_TRUE(parsed.orthographic);
  EXPECT_TRUE(parsed.verbose);
  EXPECT_EQ(parsed.colourMode, ColourMode::Intensity);
  EXPECT_EQ(parsed.pointSizePixels, 7.0f);
  EXPECT_EQ(parsed.tourFolder, "there");
  EXPECT_EQ(parsed.screenshotFile, "p.png");
}

TEST(ArgumentsTest, aClipBoxIsSixNumbersInTheScansCoordinates) {
  EXPECT_FALSE(parseArguments({}).clip.has_value());
  const Arguments parsed = parseArguments({"--clip", " 2230738.84 -7.5 1e2  2230739.34 0 100.5 "});
  ASSERT_TRUE(parsed.clip.has_value());
  EXPECT_EQ(parsed.clip->_min, osg::Vec3d(2230738.84, -7.5, 100.0));
  EXPECT_EQ(parsed.clip->_max, osg::Vec3d(2230739.34, 0.0, 100.5));
}

TEST(ArgumentsTest, aClipBoxMayBeAThinSection) {
  EXPECT_EQ(parseArguments({"--clip", "0 0 7 5000 3000 7.05"}).clip->_max.z(), 7.05);
  EXPECT_EQ(parseArguments({"--clip", "0 0 0 1 1 0.001"}).clip->_max.z(), 0.001);
}

TEST(ArgumentsTest, aStationIsThreeNumbersInTheScansCoordinates) {
  EXPECT_FALSE(parseArguments({}).station.has_value());
  const Arguments parsed = parseArguments({"--station", "2230738.84  -7.5 1e2"});
  ASSERT_TRUE(parsed.station.has_value());
  EXPECT_EQ(*parsed.station, osg::Vec3d(2230738.84, -7.5, 100.0));
}

struct BadLine {
  std::vector<std::string> arguments;
  std::string complaint;
};

class BadArgumentsTest : public testing::TestWithParam<BadLine> {};

TEST_P(BadArgumentsTest, areRefusedWithAMessageThatNamesThem) {
  try {
    parseArguments(GetParam().arguments);
    FAIL() << "accepted";
  } catch (const std::invalid_argument& error) {
    EXPECT_THAT(error.what(), testing::HasSubstr(GetParam().complaint));
    EXPECT_THAT(error.what(), testing::EndsWith("; see --help"));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Table, BadArgumentsTest,
    testing::Values(BadLine{{"--fast"}, "unknown option '--fast'"}, BadLine{{"-5"}, "unknown option '-5'"},
                    BadLine{{"-odd.las"}, "unknown option '-odd.las'"},
                    BadLine{{"--ortho=no way"}, "--ortho takes no value, not 'no way'"},
                    BadLine{{"--ortho="}, "--ortho takes no value, not ''"},
                    BadLine{{"--gpu=true"}, "--gpu takes no value, not 'true'"},
                    BadLine{{"--help=me"}, "--help takes no value, not 'me'"},
                    BadLine{{"--size"},
                            "--size expects WIDTHxHEIGHT in pixels, from 64x64 to 16384x16384, but none is "
                            "given"},
                    BadLine{{"--size", "--ortho"}, "but none is given"}, BadLine{{"--size="}, "--size expects WIDTH"},
                    BadLine{{"--size", "800"}, "'800'"}, BadLine{{"--size", "800x"}, "'800x'"},
                    BadLine{{"--size", "800x600x2"}, "'800x600x2'"}, BadLine{{"--size", "0x600"}, "'0x600'"},
                    BadLine{{"--size", "99999999999x600"}, "--size"}, BadLine{{"--size", "-800x600"}, "--size"},
                    BadLine{{"--colour-by", "smell"},
                            "--colour-by expects rgb, intensity, elevation or classification, not 'smell'"},
                    BadLine{{"--point-size", "0"}, "'0'"}, BadLine{{"--point-size", "33"}, "'33'"},
                    BadLine{{"--point-size", "3px"}, "'3px'"}, BadLine{{"--clip"}, "--clip expects"},
                    BadLine{{"--clip", "0 0 0 1 1"}, "'0 0 0 1 1'"}, BadLine{{"--clip", "0 0 0 1 1 1 1"}, "--clip"},
                    BadLine{{"--clip", "0 0 0 1 1 z"}, "'0 0 0 1 1 z'"}, BadLine{{"--clip", "0,0,0,1,1,1"}, "--clip"},
                    BadLine{{"--clip", "0 0 0 1 1m 1"}, "--clip"}, BadLine{{"--clip", "0 0 0 1 0 1"}, "above"},
                    BadLine{{"--clip", "1 0 0 0 1 1"}, "--clip"}, BadLine{{"--clip", "0 0 0 1 1 nan"}, "--clip"},
                    BadLine{{"--clip", "0 0 0 1 1 inf"}, "--clip"}, BadLine{{"--clip", "0 0 0 1 1 1e300"}, "--clip"},
                    BadLine{{"--clip", "0 0 0 1 1 0.0009"}, "0.001"},
                    BadLine{{"--clip", "0 0 0 5000 1 0.0049"}, "a millionth of the longest side"},
                    BadLine{{"--station"}, "--station expects"}, BadLine{{"--station", "1 2"}, "'1 2'"},
                    BadLine{{"--station", "1 2 3 4"}, "--station"}, BadLine{{"--station", "1 2 nan"}, "--station"},
                    BadLine{{"--threading"}, "--threading expects"}, BadLine{{"--threading", "many"}, "'many'"},
                    BadLine{{"--tour"}, "--tour expects"},
                    BadLine{{"--screenshot", ""}, "--screenshot expects a file name, not ''"},
                    BadLine{{"--screenshot=", "photo.png"}, "--screenshot expects a file name, not ''"},
                    BadLine{{"--screenshot"}, "--screenshot expects a file name, but none is given"},
                    BadLine{{"--screenshot", "--verbose", "x"}, "--screenshot expects a file name, but none is given"},
                    BadLine{{"--screenshot", "--size=800x600"}, "a file name, but none is given"},
                    BadLine{{"--screenshot", "--", "a.las"}, "a file name, but none is given"},
                    BadLine{{"--colour-by="},
                            "--colour-by expects rgb, intensity, elevation or classification, not ''"}));

TEST(ArgumentsTest, everyThreadingModelHasAName) {
  using osgViewer::ViewerBase;
  const auto modelOf = [](const std::string& name) { return parseArguments({"--threading", name}).threading; };
  EXPECT_EQ(parseArguments({}).threading, ViewerBase::SingleThreaded);
  EXPECT_EQ(modelOf("single"), ViewerBase::SingleThreaded);
  EXPECT_EQ(modelOf("cull-draw"), ViewerBase::CullDrawThreadPerContext);
  EXPECT_EQ(modelOf("draw"), ViewerBase::DrawThreadPerContext);
  EXPECT_EQ(modelOf("camera"), ViewerBase::CullThreadPerCameraDrawThreadPerContext);
}

TEST(ArgumentsTest, anUnusualFileNameIsAFile) {
  const std::vector<std::string> names = {"[a,b]", "{}", "%%", "-", "/scan.las", "", "++", "a=b", "7"};
  EXPECT_EQ(parseArguments(names).files, names);
}

TEST(ArgumentsTest, argumentsAfterTwoDashesAreFiles) {
  const Arguments parsed = parseArguments({"a.las", "--ortho", "--", "-b.las", "--gpu", "--"});
  EXPECT_THAT(parsed.files, testing::ElementsAre("a.las", "-b.las", "--gpu", "--"));
  EXPECT_TRUE(parsed.orthographic);
  EXPECT_FALSE(parsed.gpu);
}

TEST(ArgumentsTest, aValueMayBeginWithADashOrABracket) {
  EXPECT_EQ(parseArguments({"--screenshot", "-p.png"}).screenshotFile, "-p.png");
  EXPECT_EQ(parseArguments({"--tour", "[a,b]"}).tourFolder, "[a,b]");
  EXPECT_EQ(parseArguments({"--station", "-1 -2 -3"}).station, osg::Vec3d(-1.0, -2.0, -3.0));
}

TEST(ArgumentsTest, aValueMayFollowAnEqualsSign) {
  const Arguments parsed = parseArguments({"--size=800x600", "--station=-1 2 3", "--screenshot=a=b.png"});
  EXPECT_EQ(parsed.width, 800);
  EXPECT_EQ(parsed.station, osg::Vec3d(-1.0, 2.0, 3.0));
  EXPECT_EQ(parsed.screenshotFile, "a=b.png");
  EXPECT_EQ(parseArguments({"--screenshot=--verbose"}).screenshotFile, "--verbose");
  EXPECT_EQ(parseArguments({"--tour=--"}).tourFolder, "--");
}

TEST(ArgumentsTest, everyOptionTakesItsValueAfterAnEqualsSign) {
  using osgViewer::ViewerBase;
  const Arguments parsed =
      parseArguments({"--colour-by=elevation", "--point-size=7", "--size=800x600", "--clip=0 1 2 3 4 5",
                      "--station=1 2 3", "--memory=2", "--screenshot=p.png", "--tour=there", "--threading=draw"});
  EXPECT_EQ(parsed.colourMode, ColourMode::Elevation);
  EXPECT_EQ(parsed.pointSizePixels, 7.0f);
  EXPECT_EQ(parsed.width, 800);
  EXPECT_EQ(parsed.height, 600);
  ASSERT_TRUE(parsed.clip && parsed.station);
  EXPECT_EQ(parsed.clip->_max, osg::Vec3d(3.0, 4.0, 5.0));
  EXPECT_EQ(*parsed.station, osg::Vec3d(1.0, 2.0, 3.0));
  EXPECT_EQ(parsed.memoryBytes, 2147483648U);
  EXPECT_EQ(parsed.screenshotFile, "p.png");
  EXPECT_EQ(parsed.tourFolder, "there");
  EXPECT_EQ(parsed.threading, ViewerBase::DrawThreadPerContext);
  EXPECT_TRUE(parsed.files.empty());
}

TEST(ArgumentsTest, theLastOfSeveralValuesCounts) {
  const Arguments parsed = parseArguments({"--point-size", "3", "--ortho", "--point-size", "5", "--ortho"});
  EXPECT_EQ(parsed.pointSizePixels, 5.0f);
  EXPECT_TRUE(parsed.orthographic);
}

TEST(ArgumentsTest, theHelpNamesEveryOption) {
  const std::string help = parseArguments({"--help"}).answer;
  for (const char* option :
       {"--colour-by", "--point-size", "--clip", "--station", "--ortho", "--size", "--screenshot", "--tour",
        "--threading", "--gpu", "--memory", "--index-limit", "--verbose", "-h,--help", "--version"}) {
    EXPECT_THAT(help, testing::HasSubstr(std::string("\n  ") + option));
  }
}

TEST(ArgumentsTest, theHelpFitsAHundredColumns) {
  std::istringstream help(parseArguments({"--help"}).answer);
  for (std::string line; std::getline(help, line);) {
    EXPECT_LE(line.size(), 100U) << line;
  }
}

TEST(ArgumentsTest, theHelpHasAShortOptionToo) {
  EXPECT_EQ(parseArguments({"-h"}).answer, parseArguments({"--help"}).answer);
  EXPECT_THROW(parseArguments({"-h=2"}), std::invalid_argument);
  EXPECT_THROW(parseArguments({"-hv"}), std::invalid_argument);
  EXPECT_EQ(parseArguments({"--screenshot=-h"}).screenshotFile, "-h");
  EXPECT_THAT(parseArguments({"--", "-h"}).files, testing::ElementsAre("-h"));
}

TEST(ArgumentsTest, helpIsPrintedDespiteAnUnknownOption) {
  EXPECT_THAT(parseArguments({"--help", "--fast"}).answer, testing::StartsWith("quor_viewer [OPTION...] [FILE...]\n"));
}

}  // namespace
