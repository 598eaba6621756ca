#include "make_scan/MakeScan.h"
#include "make_scan/RecordEncoder.h"
#include "scan/Scan.h"
#include "scan/formats/LasFormat.h"
#include "tests/make_scan/TownOracle.h"
#include "tests/scan/ScanBytes.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace QuorViewer {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using Arguments = std::vector<std::string>;

const Town& town() {
  static const Town one;
  return one;
}

struct Scan {
  LasHeader header;
  std::vector<unsigned char> bytes;  // the whole file
  std::vector<LasPoint> points;

  const unsigned char* record(std::size_t index) const {
    return bytes.data() + header.pointDataOffsetBytes + index * header.recordLengthBytes;
  }
  osg::Vec3d place(const LasPoint& point) const {
    return {point.x * header.scale[0] + header.offset[0], point.y * header.scale[1] + header.offset[1],
            point.z * header.scale[2] + header.offset[2]};
  }
  std::vector<unsigned char> pointBytes() const { return {bytes.begin() + header.pointDataOffsetBytes, bytes.end()}; }
};

class MakeScanTest : public testing::Test {
 protected:
  static void noProgress(std::uint64_t, std::uint64_t) {}

  int run(const Arguments& arguments) {
    std::ostringstream out;
    std::ostringstream err;
    const int status = runMakeScan(arguments, out, err, noProgress);
    _printed = out.str();
    _complaint = err.str();
    return status;
  }

  std::vector<unsigned char> make(Arguments arguments) {
    arguments.insert(arguments.begin(), _path);
    EXPECT_EQ(run(arguments), 0) << _complaint;
    std::ifstream file(_path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

  Scan scan(const Arguments& arguments) {
    Scan result;
    result.bytes = make(arguments);
    result.header = LasHeader::parse(result.bytes.data(), result.bytes.size());
    const RecordLayout& layout = *RecordLayout::of(result.header.pointFormat);
    for (std::uint64_t index = 0; index < result.header.pointCount(); ++index) {
      result.points.push_back(layout.decode(result.record(index)));
    }
    return result;
  }

  const ScanBytes::Folder _folder;
  const std::string _path = _folder.path("town.las");
  std::string _printed;
  std::string _complaint;
};

// Half a coordinate step on each axis, plus rounding error.
constexpr double kTolerance = 0.0005 * 1.7320508 + 1e-6;

// The town.

TEST_F(MakeScanTest, aTracedRayEndsOnASurfaceWithNothingOpaqueBefore) {
  const TownOracle oracle(town());
  Dice dice(3);
  int hits = 0;
  for (int number = 0; number < 300; ++number) {
    const osg::Vec3d eye(dice.between(-200, 200), dice.between(-200, 200), 75.0);
    const osg::Vec3d target(dice.between(-200, 200), dice.between(-200, 200), dice.between(-5.0, 30.0));
    Ray ray{eye, target - eye};
    ray.direction.normalize();
    const std::optional<Hit> hit = town().trace(ray);
    if (!hit) {
      continue;
    }
    ++hits;
    EXPECT_NEAR((hit->position - ray.at(hit->t)).length(), 0.0, 1e-9);
    EXPECT_LT(town().distanceToSurface(hit->position), 1e-9);
    EXPECT_TRUE(oracle.onGround(hit->position, 1e-9) || !oracle.shapesAt(hit->position, 1e-9).empty());
    EXPECT_FALSE(oracle.isBlocked(eye, hit->position)) << "ray " << number;
    EXPECT_NEAR(hit->normal.length(), 1.0, 1e-6);
    EXPECT_LT(hit->normal * ray.direction, 0.0);
  }
  EXPECT_GT(hits, 250);
}

TEST_F(MakeScanTest, aPositionBehindAWallIsHidden) {
  const TownOracle oracle(town());
  const Scanner scanner(town(), {});
  int walls = 0;
  int hidden = 0;
  for (unsigned sector = 0; sector < scanner.sectorCount(); sector += 7) {
    const Echo echo = scanner.echo(sector, 5);
    if (echo.count != 1 || echo.returns[0].hit.classification != kBuilding) {
      continue;
    }
    ++walls;
    const osg::Vec3d& eye = scanner.position(Scanner::stationOf(sector));
    const osg::Vec3d& place = echo.returns[0].hit.position;
    // Behind a corner, a position on the far side of the body may be visible again.
    hidden += oracle.isBlocked(eye, place + (place - eye) * (0.3 / echo.returns[0].hit.t)) ? 1 : 0;
  }
  EXPECT_GE(hidden, walls * 9 / 10);
  EXPECT_GT(walls, 10);
}

TEST_F(MakeScanTest, aRayIntoTheSkyMeetsNothing) {
  EXPECT_FALSE(town().trace({{0, 0, 50}, {0, 0, 1}}));
  EXPECT_FALSE(town().trace({{0, 0, 200}, {1, 0, 0}}));
}

TEST_F(MakeScanTest, aRayBesideTheTownMeetsNothing) {
  EXPECT_FALSE(town().trace({{300, 0, 100}, {0, 0, -1}}));
  EXPECT_FALSE(town().trace({{300, 0, 10}, {0, 1, 0}}));
}

TEST_F(MakeScanTest, aVerticalRayMeetsTheGroundAtItsHeight) {
  const TownOracle oracle(town());
  const osg::Vec2d middleOfCrossing(0.7, -0.9);
  const std::optional<Hit> hit = town().trace({{middleOfCrossing.x(), middleOfCrossing.y(), 90}, {0, 0, -1}});
  ASSERT_TRUE(hit);
  EXPECT_NEAR(hit->position.z(), oracle.ground(middleOfCrossing.x(), middleOfCrossing.y()), 1e-9);
  EXPECT_EQ(hit->classification, kRoad);
}

TEST_F(MakeScanTest, sinesAreThoseOfTheMathematicalLibrary) {
  for (double turns = -2.3; turns < 2.3; turns += 0.0137) {
    EXPECT_NEAR(sineOfTurns(turns), std::sin(2.0 * 3.14159265358979323846 * turns), 1e-11);
    EXPECT_NEAR(cosineOfTurns(turns), std::cos(2.0 * 3.14159265358979323846 * turns), 1e-11);
  }
}

// The scanned points.

TEST_F(MakeScanTest, everyPointLiesOnASurfaceOfItsClass) {
  const TownOracle oracle(town());
  const Scan made = scan({"--points", "4000", "--stations", "6"});
  std::set<int> classes;
  for (const LasPoint& point : made.points) {
    const osg::Vec3d place = made.place(point);
    std::set<int> allowed;
    for (const Shape* shape : oracle.shapesAt(place, kTolerance)) {
      allowed.insert(shape->classification);
    }
    if (oracle.onGround(place, kTolerance)) {
      allowed.insert({kGround, kRoad});
    }
    ASSERT_THAT(allowed, testing::Contains(point.classification)) << place.x() << " " << place.y() << " " << place.z();
    EXPECT_LE(town().distanceToSurface(place), 2.0 * kTolerance);
    classes.insert(point.classification);
  }
  EXPECT_THAT(classes, testing::IsSupersetOf({2, 4, 5, 6, 11, 64}));
}

TEST_F(MakeScanTest, groundIsRoadWithinAStreetAndNoneBeside) {
  const Scan made = scan({"--points", "6000"});
  std::map<int, int> seen;
  for (const LasPoint& point : made.points) {
    if (point.classification != kGround && point.classification != kRoad) {
      continue;
    }
    double beyond = 1e9;  // the nearest street's edge
    for (const Street& street : streets()) {
      const osg::Vec2d way = street.to - street.from;
      const osg::Vec2d apart = osg::Vec2d(made.place(point).x(), made.place(point).y()) - street.from;
      const double across = std::abs(way.x() * apart.y() - way.y() * apart.x()) / way.length();
      const double along = way * apart / way.length();
      beyond = std::min(beyond, std::max({across - street.halfWidth, -along, along - way.length()}));
    }
    if (std::abs(beyond) < 0.002) {
      continue;
    }
    EXPECT_EQ(point.classification, beyond < 0.0 ? 11 : 2);
    ++seen[point.classification];
  }
  EXPECT_GT(seen[kRoad], 500);
  EXPECT_GT(seen[kGround], 500);
}

TEST_F(MakeScanTest, nothingIsSeenBehindAnOpaqueSurfaceFromItsStation) {
  const TownOracle oracle(town());
  const Scan made = scan({"--points", "1500", "--stations", "3"});
  Survey survey;
  survey.stations = 3;
  const Scanner scanner(town(), survey);
  for (const LasPoint& point : made.points) {
    const osg::Vec3d& eye = scanner.position(point.pointSource - 1U);
    ASSERT_FALSE(oracle.isBlocked(eye, made.place(point))) << "return " << int{point.returnNumber};
  }
}

TEST_F(MakeScanTest, fromTheAirNothingIsSeenUnderARoof) {
  const TownOracle oracle(town());
  const Scan made = scan({"--points", "800", "--airborne", "--stations", "3"});
  Survey survey;
  survey.stations = 3;
  survey.airborne = true;
  const Scanner scanner(town(), survey);
  std::set<int> classes;
  for (const LasPoint& point : made.points) {
    classes.insert(point.classification);
    if (point.returnNumber > 1) {
      continue;  // at an edge, the rest of the spot comes from slightly farther along
    }
    const osg::Vec3d place = made.place(point);
    const osg::Vec3d& line = scanner.position(point.pointSource - 1U);
    ASSERT_FALSE(oracle.isBlocked({line.x(), place.y(), line.z()}, place));
  }
  EXPECT_THAT(classes, testing::IsSupersetOf({2, 5, 6, 11}));
}

TEST_F(MakeScanTest, everyStationSeesTheTown) {
  const Scan made = scan({"--points", "3000", "--stations", "5"});
  std::map<int, int> bySource;
  for (const LasPoint& point : made.points) {
    ++bySource[point.pointSource];
  }
  ASSERT_EQ(bySource.size(), 5U);
  for (const auto& [source, count] : bySource) {
    EXPECT_GT(count, 300) << "station " << source;
  }
}

TEST_F(MakeScanTest, theGroundIsSeenMoreDenselyNearTheStation) {
  const Scan made = scan({"--points", "20000", "--stations", "1"});
  const osg::Vec3d eye = Scanner(town(), {1, 1, false}).position(0);
  std::array<int, 2> count{};
  for (const LasPoint& point : made.points) {
    const osg::Vec3d apart = made.place(point) - eye;
    const double away = std::hypot(apart.x(), apart.y());
    if (point.classification != kGround) {
      continue;
    }
    if (away > 4.0 && away < 8.0) {
      ++count[0];
    }
    if (away > 16.0 && away < 20.0) {
      ++count[1];
    }
  }
  // Areas of the two rings: 64 - 16 and 400 - 256, times pi.
  EXPECT_GT(count[0] / 48.0, 4.0 * count[1] / 144.0);
  EXPECT_GT(count[1], 100);
}

TEST_F(MakeScanTest, returnsOfAPulseStandTogetherInTheOrderOfTheirDistance) {
  const Scan made = scan({"--points", "20000"});
  const Scanner scanner(town(), {});
  std::map<int, int> byCount;
  double lastTime = 0.0;
  for (std::size_t index = 0; index < made.points.size();) {
    const LasPoint first = made.points[index];
    ++byCount[first.returnCount];
    EXPECT_GT(first.gpsTime, lastTime);
    double lastDistance = 0.0;
    for (unsigned number = 1; number <= first.returnCount; ++number, ++index) {
      ASSERT_LT(index, made.points.size());
      const LasPoint& point = made.points[index];
      ASSERT_EQ(point.returnNumber, number);
      ASSERT_EQ(point.returnCount, first.returnCount);
      EXPECT_EQ(point.gpsTime, first.gpsTime);
      EXPECT_EQ(point.scanAngle, first.scanAngle);
      const double distance = (made.place(point) - scanner.position(point.pointSource - 1U)).length();
      EXPECT_GT(distance, lastDistance + 0.3);
      lastDistance = distance;
    }
    lastTime = first.gpsTime;
  }
  EXPECT_GT(byCount[1], byCount[2]);
  EXPECT_GT(byCount[2], 100);
  EXPECT_GT(byCount[3], 10);
}

TEST_F(MakeScanTest, severalReturnsComeFromLeavesAndFromEdges) {
  const Scan made = scan({"--points", "60000"});
  int leavesFirst = 0;
  int edgesFirst = 0;
  for (const LasPoint& point : made.points) {
    if (point.returnNumber != 1 || point.returnCount < 2) {
      continue;
    }
    const bool leaves = point.classification >= kLowVegetation && point.classification <= kHighVegetation;
    ++(leaves ? leavesFirst : edgesFirst);
  }
  EXPECT_GT(leavesFirst, 1000);
  EXPECT_GT(edgesFirst, 50);
}

TEST_F(MakeScanTest, theScanAngleIsThatOfTheRay) {
  const Scan made = scan({"--points", "2000"});
  const Scanner scanner(town(), {});
  for (const LasPoint& point : made.points) {
    if (point.returnNumber > 1) {
      continue;
    }
    const osg::Vec3d apart = made.place(point) - scanner.position(point.pointSource - 1U);
    const double degrees = std::atan2(apart.z(), std::hypot(apart.x(), apart.y())) * 180.0 / 3.14159265358979323846;
    EXPECT_NEAR(point.scanAngle * 0.006, degrees, 0.003 + 0.1 / apart.length());
  }
}

TEST_F(MakeScanTest, coloursAndIntensitiesVary) {
  const Scan made = scan({"--points", "5000"});
  std::set<std::array<std::uint16_t, 3>> colours;
  std::set<int> intensities;
  for (const LasPoint& point : made.points) {
    colours.insert(point.colour);
    intensities.insert(point.intensity);
  }
  EXPECT_GT(colours.size(), 1000U);
  EXPECT_GT(intensities.size(), 1000U);
  EXPECT_GT(*intensities.rbegin(), 20000);
}

// The file.

class MakeScanCountTest : public MakeScanTest, public testing::WithParamInterface<std::size_t> {};

TEST_P(MakeScanCountTest, theFileHoldsExactlyAsManyPointsAsWanted) {
  const Scan made = scan({"--points", std::to_string(GetParam()), "--stations", "2"});
  EXPECT_EQ(made.header.extendedPointCount, GetParam());
  EXPECT_EQ(made.bytes.size(), made.header.pointDataOffsetBytes + GetParam() * 36);
}

INSTANTIATE_TEST_SUITE_P(Counts, MakeScanCountTest, testing::Values(0, 1, 2, 7, 511, 512, 10007, 150001));

TEST_F(MakeScanTest, theHeaderTellsCountsByReturnAndTheBoundsOfThePoints) {
  const Scan made = scan({"--points", "30000", "--origin", "1000 2000 300"});
  std::array<std::uint64_t, 15> byReturn{};
  std::array<std::array<double, 2>, 3> box{{{-1e30, 1e30}, {-1e30, 1e30}, {-1e30, 1e30}}};
  for (const LasPoint& point : made.points) {
    ++byReturn[point.returnNumber - 1U];
    for (std::size_t axis = 0; axis < 3; ++axis) {
      box[axis][0] = std::max(box[axis][0], made.place(point)[static_cast<int>(axis)]);
      box[axis][1] = std::min(box[axis][1], made.place(point)[static_cast<int>(axis)]);
    }
  }
  EXPECT_EQ(made.header.extendedPointsByReturn, byReturn);
  EXPECT_EQ(made.header.maximumMinimum, box);
  EXPECT_EQ(made.header.legacyPointCount, 0U);
  EXPECT_EQ(made.header.versionMinor, 4);
  EXPECT_EQ(made.header.pointFormat, 7);
}

TEST_F(MakeScanTest, theCoordinateSystemIsStatedWhereItsBitIsSet) {
  const Scan made = scan({"--points", "1"});
  const std::string text(made.bytes.begin(), made.bytes.begin() + made.header.pointDataOffsetBytes);
  EXPECT_EQ(made.header.globalEncoding & 16U, 16U);
  EXPECT_EQ(made.header.variableRecordCount, 1U);
  EXPECT_THAT(text, HasSubstr("LASF_Projection"));
  EXPECT_THAT(text, HasSubstr("LOCAL_CS[\"Simulated town\",UNIT[\"metre\",1]]"));
  const Scan older = scan({"--points", "1", "--format", "3"});
  EXPECT_EQ(older.header.globalEncoding & 16U, 0U);
  EXPECT_EQ(older.header.variableRecordCount, 0U);
}

TEST_F(MakeScanTest, theSameSeedMakesTheSameBytesAndAnotherSeedDoesNot) {
  const std::vector<unsigned char> first = make({"--points", "5000", "--seed", "12"});
  EXPECT_EQ(make({"--points", "5000", "--seed", "12"}), first);
  EXPECT_NE(make({"--points", "5000", "--seed", "13"}), first);
}

TEST_F(MakeScanTest, blocksComputedOneByOneMakeTheSameFileAsAllProcessors) {
  Options options;
  options.points = 9000;
  const Preamble before = preamble(options);
  const Scanner scanner(town(), options.survey);
  std::vector<unsigned char> alone;
  for (const Block& block : planBlocks(scanner, *options.points)) {
    const std::vector<unsigned char> records = encodeBlock(scanner, block, options, before.header);
    alone.insert(alone.end(), records.begin(), records.end());
  }
  EXPECT_EQ(scan({"--points", "9000"}).pointBytes(), alone);
}

TEST_F(MakeScanTest, theOriginShiftsCoordinatesAndNothingElse) {
  const Scan nearby = scan({"--points", "3000"});
  const Scan distant = scan({"--points", "3000", "--origin", "431234.5 5412345.25 -312"});
  EXPECT_EQ(nearby.pointBytes(), distant.pointBytes());
  EXPECT_THAT(distant.header.offset, ElementsAre(431234.5, 5412345.25, -312.0));
  for (std::size_t axis = 0; axis < 3; ++axis) {
    for (std::size_t end = 0; end < 2; ++end) {
      EXPECT_NEAR(distant.header.maximumMinimum[axis][end] - distant.header.offset[axis],
                  nearby.header.maximumMinimum[axis][end], 1e-8);
    }
  }
}

TEST_F(MakeScanTest, aCoarserScaleRoundsTheSamePlaces) {
  const Scan fine = scan({"--points", "2000", "--scale", "0.0001"});
  const Scan coarse = scan({"--points", "2000", "--scale", "0.25"});
  EXPECT_THAT(coarse.header.scale, testing::Each(0.25));
  for (std::size_t index = 0; index < fine.points.size(); ++index) {
    const osg::Vec3d apart = fine.place(fine.points[index]) - coarse.place(coarse.points[index]);
    for (int axis = 0; axis < 3; ++axis) {
      ASSERT_LE(std::abs(apart[axis]), 0.125 + 0.0001);
    }
  }
}

struct FormatFacts {
  unsigned format, recordBytes, version;
  bool time, colour, infrared;
};

class MakeScanFormatTest : public MakeScanTest, public testing::WithParamInterface<FormatFacts> {};

TEST_P(MakeScanFormatTest, everyFormatHoldsTheSamePositionsAndItsOwnFields) {
  const FormatFacts& facts = GetParam();
  const Scan made = scan({"--points", "3000", "--format", std::to_string(facts.format)});
  const Scan model = scan({"--points", "3000", "--format", "8"});
  EXPECT_EQ(made.header.pointFormat, facts.format);
  EXPECT_EQ(made.header.versionMinor, facts.version);
  EXPECT_EQ(made.header.recordLengthBytes, facts.recordBytes);
  EXPECT_EQ(made.bytes.size(), made.header.pointDataOffsetBytes + 3000U * facts.recordBytes);
  EXPECT_EQ(made.header.legacyPointCount, facts.format < 6 ? 3000U : 0U);
  EXPECT_EQ(made.header.extendedPointCount, facts.version == 4 ? 3000U : 0U);
  for (std::size_t index = 0; index < made.points.size(); ++index) {
    const LasPoint& point = made.points[index];
    const LasPoint& same = model.points[index];
    ASSERT_THAT((std::array{point.x, point.y, point.z}), ElementsAre(same.x, same.y, same.z));
    ASSERT_EQ(point.intensity, same.intensity);
    ASSERT_EQ(point.returnNumber, same.returnNumber);
    ASSERT_EQ(point.returnCount, same.returnCount);
    ASSERT_EQ(point.pointSource, same.pointSource);
    // Five bits do not hold the classes of cars and furniture.
    const bool unclassified = facts.format < 6 && same.classification > 31;
    ASSERT_EQ(point.classification, unclassified ? 1 : same.classification);
    ASSERT_NEAR(point.scanAngle, facts.format < 6 ? same.scanAngle * 0.006 : same.scanAngle, 0.51);
    ASSERT_EQ(point.gpsTime, facts.time ? same.gpsTime : 0.0);
    ASSERT_EQ(point.colour, facts.colour ? same.colour : (std::array<std::uint16_t, 3>{}));
    ASSERT_EQ(point.nearInfrared, facts.infrared ? same.nearInfrared : 0);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Formats, MakeScanFormatTest,
    testing::Values(FormatFacts{0, 20, 2, false, false, false},  //
                    FormatFacts{1, 28, 2, true, false, false}, FormatFacts{2, 26, 2, false, true, false},
                    FormatFacts{3, 34, 2, true, true, false}, FormatFacts{4, 57, 3, true, false, false},
                    FormatFacts{5, 63, 3, true, true, false}, FormatFacts{6, 30, 4, true, false, false},
                    FormatFacts{7, 36, 4, true, true, false}, FormatFacts{8, 38, 4, true, true, true},
                    FormatFacts{9, 59, 4, true, false, false}, FormatFacts{10, 67, 4, true, true, true}),
    [](const auto& one) { return "format" + std::to_string(one.param.format); });

TEST_F(MakeScanTest, theFirstVersionMarksTheStartOfItsPointsWithTwoBytes) {
  const Scan made = scan({"--points", "10", "--format", "1", "--las-version", "1.0"});
  EXPECT_EQ(made.header.versionMinor, 0);
  ASSERT_EQ(made.header.pointDataOffsetBytes, 229U);
  EXPECT_EQ(made.bytes[227], 0xCC);
  EXPECT_EQ(made.bytes[228], 0xDD);
}

TEST_F(MakeScanTest, anOlderFormatInTheNewestVersionHasBothCounts) {
  const Scan made = scan({"--points", "100", "--format", "0", "--las-version", "1.4"});
  EXPECT_EQ(made.header.legacyPointCount, 100U);
  EXPECT_EQ(made.header.extendedPointCount, 100U);
}

TEST_F(MakeScanTest, extraBytesAreDescribedAndStandBehindEachRecord) {
  const Scan plain = scan({"--points", "500"});
  const Scan made = scan({"--points", "500", "--extra-bytes", "300"});
  EXPECT_EQ(made.header.recordLengthBytes, 36 + 300);
  EXPECT_EQ(made.header.variableRecordCount, 2U);
  const unsigned char* record = made.bytes.data() + 375;
  EXPECT_STREQ(reinterpret_cast<const char*>(record + 2), "LASF_Spec");
  EXPECT_EQ(record[18] + 256 * record[19], 4);
  EXPECT_EQ(record[20] + 256 * record[21], 2 * 192);  // 300 is more than one description can hold
  EXPECT_EQ(record[54 + 2], 0);
  EXPECT_EQ(record[54 + 3] + record[54 + 192 + 3], 300);
  for (std::size_t index = 0; index < 500; ++index) {
    ASSERT_TRUE(std::equal(plain.record(index), plain.record(index) + 36, made.record(index)));
    ASSERT_EQ(made.record(index)[36], index % 256);
    ASSERT_EQ(made.record(index)[36 + 299], (index + 299) % 256);
  }
}

TEST_F(MakeScanTest, coloursOfEightBitsAreTheSameColoursInASmallerRange) {
  const Scan wide = scan({"--points", "1000"});
  const Scan narrow = scan({"--points", "1000", "--colour-bits", "8"});
  for (std::size_t index = 0; index < wide.points.size(); ++index) {
    for (std::size_t channel = 0; channel < 3; ++channel) {
      ASSERT_LE(narrow.points[index].colour[channel], 255);
      ASSERT_NEAR(narrow.points[index].colour[channel] / 255.0, wide.points[index].colour[channel] / 65535.0, 0.0021);
    }
  }
}

TEST_F(MakeScanTest, theHeaderBoxCanBeWrongInThreeWays) {
  const auto box = [&](const std::string& kind) {
    return scan({"--points", "100", "--header-box", kind}).header.maximumMinimum;
  };
  const auto right = box("true");
  const auto wide = box("wide");
  const auto empty = box("empty");
  const auto nan = box("nan");
  for (std::size_t axis = 0; axis < 3; ++axis) {
    EXPECT_LT(right[axis][0] - right[axis][1], 480.0);
    EXPECT_DOUBLE_EQ(wide[axis][0], right[axis][0] + 1000.0);
    EXPECT_DOUBLE_EQ(wide[axis][1], right[axis][1] - 1000.0);
    EXPECT_THAT(empty[axis], ElementsAre(0.0, 0.0));
    EXPECT_TRUE(std::isnan(nan[axis][0]) && std::isnan(nan[axis][1]));
  }
}

TEST_F(MakeScanTest, aCutFileIsTheBeginningOfTheWholeOne) {
  const std::vector<unsigned char> whole = make({"--points", "200"});
  for (const std::size_t length :
       {std::size_t{0}, std::size_t{100}, std::size_t{375}, whole.size() - 1, whole.size()}) {
    const std::vector<unsigned char> cut = make({"--points", "200", "--cut-at", std::to_string(length)});
    ASSERT_EQ(cut.size(), length);
    EXPECT_TRUE(std::equal(cut.begin(), cut.end(), whole.begin()));
  }
}

TEST_F(MakeScanTest, recordsThatAreLeftOutAreStillCounted) {
  const std::vector<unsigned char> whole = make({"--points", "200"});
  const std::vector<unsigned char> cut = make({"--points", "200", "--cut-records", "3"});
  EXPECT_EQ(cut.size(), whole.size() - 3 * 36);
  EXPECT_EQ(LasHeader::parse(cut.data(), cut.size()).extendedPointCount, 200U);
}

TEST_F(MakeScanTest, pointsBeyondFourGigabytesTakeLittleDiskSpaceAndAreComplete) {
  const Scan model = scan({"--points", "400"});
  ASSERT_EQ(run({_path, "--points", "400", "--sparse-offset", "4294967000"}), 0) << _complaint;
  ASSERT_EQ(fs::file_size(_path), 4294967000ULL + 400ULL * 36ULL);
  std::ifstream file(_path, std::ios::binary);
  file.seekg(4294967000);
  const std::vector<unsigned char> points{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  EXPECT_EQ(points, model.pointBytes());
  const std::unique_ptr<ScanReader> reader = ScanReader::open(_path);
  ASSERT_EQ(reader->info().pointCount, 400U);
  const osg::Vec3d last = reader->coordinates(399);
  EXPECT_EQ(last, model.place(model.points[399]));
}

// Arguments.

struct Refusal {
  const char* name;
  Arguments arguments;
  std::vector<std::string> told;
};

class MakeScanRefusalTest : public MakeScanTest, public testing::WithParamInterface<Refusal> {};

TEST_P(MakeScanRefusalTest, theMessageNamesTheOptionAndTheAllowedValues) {
  Arguments arguments = GetParam().arguments;
  for (std::string& argument : arguments) {
    if (argument == "OUT") {
      argument = _path;
    }
  }
  EXPECT_EQ(run(arguments), 1);
  for (const std::string& part : GetParam().told) {
    EXPECT_THAT(_complaint, HasSubstr(part));
  }
  EXPECT_THAT(_complaint, testing::StartsWith("quor_make_scan: "));
  EXPECT_THAT(_complaint, testing::EndsWith("; see --help\n"));
  EXPECT_FALSE(fs::exists(_path));
  EXPECT_FALSE(fs::exists(_path + ".part"));
}

INSTANTIATE_TEST_SUITE_P(
    Refusals, MakeScanRefusalTest,
    testing::Values(
        Refusal{"noFile", {"--points", "5"}, {"the output file is missing"}},  //
        Refusal{"noPoints", {"OUT"}, {"--points is required"}},
        Refusal{"twoFiles", {"OUT", "other.las", "--points", "5"}, {"'other.las'", "only one output file"}},
        Refusal{"unknownOption", {"OUT", "--pints", "5"}, {"unknown option '--pints'", "--help"}},
        Refusal{"missingValue", {"OUT", "--points"}, {"--points expects a whole number", "but none is given"}},
        Refusal{"pointsNoNumber", {"OUT", "--points", "many"}, {"--points expects a whole number", "'many'"}},
        Refusal{"pointsNegative", {"OUT", "--points", "-5"}, {"--points expects", "from 0 to 100000000000", "'-5'"}},
        Refusal{"pointsEmpty", {"OUT", "--points", ""}, {"--points expects", "not ''"}},
        Refusal{"optionForValue", {"OUT", "--points", "--airborne"}, {"--points expects", "but none is given"}},
        Refusal{"pointsEmptyAfterEquals", {"--points=", "5", "OUT"}, {"--points expects", "not ''"}},
        Refusal{"flagWithValue", {"OUT", "--points", "5", "--airborne=no"}, {"--airborne takes no value, not 'no'"}},
        Refusal{"pointsBeyondAll", {"OUT", "--points", "99999999999999999999999"}, {"--points"}},
        Refusal{"pointsWithRest", {"OUT", "--points", "5k"}, {"--points expects", "'5k'"}},
        Refusal{
            "noStations", {"OUT", "--points", "5", "--stations", "0"}, {"--stations expects", "from 1 to 200", "'0'"}},
        Refusal{
            "formatEleven", {"OUT", "--points", "5", "--format", "11"}, {"--format expects", "from 0 to 10", "'11'"}},
        Refusal{
            "versionTwo", {"OUT", "--points", "5", "--las-version", "2.0"}, {"--las-version expects", "1.4", "'2.0'"}},
        Refusal{"versionTooOld",
                {"OUT", "--points", "5", "--las-version", "1.2"},
                {"--las-version expects at least 1.4 for point format 7", "'1.2'"}},
        Refusal{"tooManyForVersion",
                {"OUT", "--points", "4294967296", "--format", "1"},
                {"--points expects at most 4294967295 before version 1.4", "'4294967296'"}},
        Refusal{
            "originOfTwo", {"OUT", "--points", "5", "--origin", "1 2"}, {"--origin expects three numbers", "'1 2'"}},
        Refusal{"originOfFour", {"OUT", "--points", "5", "--origin", "1 2 3 4"}, {"--origin", "three numbers"}},
        Refusal{"originNoNumber", {"OUT", "--points", "5", "--origin", "1 2 c"}, {"--origin", "three numbers"}},
        Refusal{"scaleZero", {"OUT", "--points", "5", "--scale", "0"}, {"--scale expects", "32 bits", "'0'"}},
        Refusal{"scaleTooFine", {"OUT", "--points", "5", "--scale", "1e-8"}, {"--scale expects", "32 bits", "'1e-8'"}},
        Refusal{"scaleNan", {"OUT", "--points", "5", "--scale", "nan"}, {"--scale expects", "'nan'"}},
        Refusal{
            "colourBits", {"OUT", "--points", "5", "--colour-bits", "12"}, {"--colour-bits expects 8 or 16", "'12'"}},
        Refusal{
            "headerBox", {"OUT", "--points", "5", "--header-box", "odd"}, {"--header-box expects true, wide", "'odd'"}},
        Refusal{"extraBytes",
                {"OUT", "--points", "5", "--extra-bytes", "1001"},
                {"--extra-bytes expects", "1000", "'1001'"}},
        Refusal{"cutBeyond", {"OUT", "--points", "5", "--cut-at", "9999"}, {"--cut-at expects at most 652", "'9999'"}},
        Refusal{"cutTooMany",
                {"OUT", "--points", "5", "--cut-records", "6"},
                {"--cut-records expects no more than --points", "'6'"}},
        Refusal{"cutTwice", {"OUT", "--points", "5", "--cut-records", "1", "--cut-at", "9"}, {"cannot be combined"}},
        Refusal{"sparseInHeader",
                {"OUT", "--points", "5", "--sparse-offset", "12"},
                {"--sparse-offset expects at least 472", "'12'"}},
        Refusal{"sparseBeyondField",
                {"OUT", "--points", "5", "--sparse-offset", "4294967296"},
                {"--sparse-offset expects", "4294967295", "'4294967296'"}}),
    [](const auto& one) { return std::string(one.param.name); });

TEST_F(MakeScanTest, anUnwritablePlaceIsNamedWithTheReason) {
  const std::string nowhere = _folder.path("missing/town.las");
  EXPECT_EQ(run({nowhere, "--points", "5"}), 1);
  EXPECT_THAT(_complaint, HasSubstr("cannot write " + nowhere + ": No such file or directory"));
}

TEST_F(MakeScanTest, helpNamesEveryOption) {
  EXPECT_EQ(run({"--help"}), 0);
  for (const char* option : {"--points", "--stations", "--airborne", "--origin", "--seed", "--format", "--las-version",
                             "--scale", "--colour-bits", "--extra-bytes", "--header-box", "--cut-at", "--cut-records",
                             "--sparse-offset", "-h,--help"}) {
    EXPECT_THAT(_printed, HasSubstr(std::string("\n  ") + option));
  }
  EXPECT_EQ(_complaint, "");
}

TEST_F(MakeScanTest, theHelpHasAShortOptionToo) {
  EXPECT_EQ(run({"--help"}), 0);
  const std::string help = _printed;
  EXPECT_EQ(run({"-h"}), 0);
  EXPECT_EQ(_printed, help);
}

TEST_F(MakeScanTest, everyOptionTakesItsValueAfterAnEqualsSign) {
  const Options options =
      Options::parse({_path, "--points=9", "--stations=3", "--origin=1 2 3", "--seed=8", "--format=6",
                      "--las-version=1.4", "--scale=0.01", "--colour-bits=8", "--extra-bytes=5", "--header-box=nan",
                      "--cut-records=2", "--sparse-offset=1000"});
  EXPECT_EQ(options.path, _path);
  EXPECT_EQ(options.points, 9U);
  EXPECT_EQ(options.survey.stations, 3U);
  EXPECT_EQ(options.survey.seed, 8U);
  EXPECT_EQ(options.origin, (std::array<double, 3>{1.0, 2.0, 3.0}));
  EXPECT_EQ(options.format, 6U);
  EXPECT_EQ(options.versionMinor, 4U);
  EXPECT_EQ(options.scale, 0.01);
  EXPECT_EQ(options.colourBits, 8U);
  EXPECT_EQ(options.extraBytes, 5U);
  EXPECT_EQ(options.headerBox, HeaderBox::NotANumber);
  EXPECT_EQ(options.cutRecords, 2U);
  EXPECT_EQ(options.sparseOffset, 1000U);
  EXPECT_EQ(Options::parse({_path, "--points=9", "--cut-at=700"}).cutAtByte, 700U);
}

TEST_F(MakeScanTest, theHelpFitsAHundredColumns) {
  EXPECT_EQ(run({"--help"}), 0);
  std::istringstream help(_printed);
  for (std::string line; std::getline(help, line);) {
    EXPECT_LE(line.size(), 100U) << line;
  }
}

TEST_F(MakeScanTest, aFileAfterTwoDashesMayBeginWithADash) {
  EXPECT_EQ(Options::parse({"--points", "5", "--", "-town.las"}).path, "-town.las");
  EXPECT_EQ(Options::parse({"--points", "5", "[a,b]"}).path, "[a,b]");
}

TEST_F(MakeScanTest, theLastOfSeveralValuesCounts) {
  EXPECT_EQ(Options::parse({_path, "--points", "5", "--points=7"}).points, 7U);
}

TEST_F(MakeScanTest, commasMaySeparateTheOrigin) {
  EXPECT_THAT(scan({"--points", "1", "--origin", "1.5,-2e3, 7"}).header.offset, ElementsAre(1.5, -2000.0, 7.0));
}

TEST_F(MakeScanTest, progressEndsWithAllPoints) {
  std::uint64_t last = 0;
  Options options = Options::parse({_path, "--points", "20000"});
  makeScan(options, [&](std::uint64_t done, std::uint64_t all) {
    EXPECT_GT(done, last);
    EXPECT_EQ(all, 20000U);
    last = done;
  });
  EXPECT_EQ(last, 20000U);
}

}  // namespace
}  // namespace QuorViewer
