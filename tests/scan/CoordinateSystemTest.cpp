#include "scan/Scan.h"
#include "tests/scan/ScanBytes.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace QuorViewer;
using ScanBytes::Bytes;

constexpr std::uint16_t kGeoKeys = 34735;
constexpr std::uint16_t kGeoTexts = 34737;
constexpr std::uint16_t kWkt = 2112;

using Record = std::pair<std::uint16_t, Bytes>;

Record wkt(const std::string& text) {
  Bytes bytes;
  bytes.addText(text);
  bytes.push_back(0);
  return {kWkt, bytes};
}

Record texts(const std::string& text) {
  Bytes bytes;
  bytes.addText(text);
  return {kGeoTexts, bytes};
}

struct Key {
  unsigned number, location, count, value;
};

Record geoKeys(const std::vector<Key>& keys) {
  Bytes bytes;
  for (const std::size_t number : {std::size_t{1}, std::size_t{1}, std::size_t{0}, keys.size()}) {
    bytes.add(static_cast<std::uint16_t>(number));
  }
  for (const Key& key : keys) {
    for (const unsigned number : {key.number, key.location, key.count, key.value}) {
      bytes.add(static_cast<std::uint16_t>(number));
    }
  }
  return {kGeoKeys, bytes};
}

void addRecord(Bytes& file, const Record& record, bool extended) {
  file.add(std::uint16_t{0});
  std::string user = "LASF_Projection";
  user.resize(16);
  file.addText(user);
  file.add(record.first);
  extended ? file.add(static_cast<std::uint64_t>(record.second.size()))
           : file.add(static_cast<std::uint16_t>(record.second.size()));
  file.resize(file.size() + 32);
  file.insert(file.end(), record.second.begin(), record.second.end());
}

class CoordinateSystemTest : public testing::Test {
 protected:
  CoordinateSystem read(const std::vector<Record>& records, unsigned globalEncoding = 0) {
    Bytes file = ScanBytes::header({}, 1);
    file.set(6, static_cast<std::uint16_t>(globalEncoding));
    for (const Record& record : records) {
      addRecord(file, record, false);
    }
    file.set(96, static_cast<std::uint32_t>(file.size()));
    file.set(100, static_cast<std::uint32_t>(records.size()));
    ScanBytes::addRecord(file, 0, ScanBytes::variedPoint(0, 0));
    return open(file).coordinateSystem;
  }
  ScanInfo open(const Bytes& file) { return ScanReader::open(_folder.write("scan.las", file))->info(); }

  ScanBytes::Folder _folder;
};

const char* const kLambert =
    "PROJCS[\"RGF93 / Lambert-93\",GEOGCS[\"RGF93\",AUTHORITY[\"EPSG\",\"4171\"]],"
    "UNIT[\"metre\",1,AUTHORITY[\"EPSG\",\"9001\"]],AUTHORITY[\"EPSG\",\"2154\"]]";

TEST_F(CoordinateSystemTest, aFileWithoutRecordsHasNone) {
  EXPECT_FALSE(read({}).isKnown());
  EXPECT_EQ(read({}).text(), "");
}

TEST_F(CoordinateSystemTest, theGeoKeysHoldTheCodeTheNameAndTheUnit) {
  const CoordinateSystem system =
      read({geoKeys({{1024, 0, 1, 1}, {3072, 0, 1, 2056}, {3073, kGeoTexts, 15, 3}, {3076, 0, 1, 9001}}),
            texts("ab|CH1903+ / LV95|more")});
  EXPECT_EQ(system.text(), "EPSG:2056 (CH1903+ / LV95)");
  EXPECT_EQ(system.metresPerUnit, 1.0);
}

TEST_F(CoordinateSystemTest, feetAreFeet) {
  EXPECT_DOUBLE_EQ(read({geoKeys({{3072, 0, 1, 2994}, {3076, 0, 1, 9002}})}).metresPerUnit, 0.3048);
  EXPECT_DOUBLE_EQ(read({geoKeys({{3072, 0, 1, 2227}, {3076, 0, 1, 9003}})}).metresPerUnit, 1200.0 / 3937.0);
  EXPECT_EQ(read({geoKeys({{3072, 0, 1, 2227}})}).metresPerUnit, 0.0);
}

TEST_F(CoordinateSystemTest, aGeographicSystemHasItsOwnKeyAndNoUnitOfLength) {
  const CoordinateSystem system = read({geoKeys({{1024, 0, 1, 2}, {2048, 0, 1, 4326}})});
  EXPECT_EQ(system.text(), "EPSG:4326");
  EXPECT_EQ(system.metresPerUnit, 0.0);
}

TEST_F(CoordinateSystemTest, aUserDefinedSystemHasOnlyItsName) {
  const CoordinateSystem system =
      read({geoKeys({{1024, 0, 1, 1}, {1026, kGeoTexts, 9, 0}, {2048, 0, 1, 4258}, {3072, 0, 1, 32767}}),
            texts("Site grid|")});
  EXPECT_EQ(system.epsg, 0U);
  EXPECT_EQ(system.text(), "Site grid");
}

TEST_F(CoordinateSystemTest, keysThatRunBeyondTheirRecordsAreIgnored) {
  Record cut = geoKeys({{3072, 0, 1, 2056}, {3076, 0, 1, 9001}});
  cut.second.resize(8 + 8 + 5);
  EXPECT_EQ(read({cut}).text(), "EPSG:2056");
  cut.second.resize(5);
  EXPECT_FALSE(read({cut}).isKnown());
  EXPECT_EQ(read({geoKeys({{3072, 0, 1, 2056}, {3073, kGeoTexts, 500, 60000}}), texts("x|")}).text(), "EPSG:2056");
}

TEST_F(CoordinateSystemTest, wktHoldsTheNameTheOutermostCodeAndTheUnit) {
  const CoordinateSystem system = read({wkt(kLambert)}, 16);
  EXPECT_EQ(system.text(), "EPSG:2154 (RGF93 / Lambert-93)");
  EXPECT_EQ(system.metresPerUnit, 1.0);
}

TEST_F(CoordinateSystemTest, versionTwoOfWktIsReadAsWell) {
  const CoordinateSystem system =
      read({wkt("PROJCRS[\"LV95 \"\"new\"\"\", BASEGEOGCRS[\"CH1903+\", ID[\"EPSG\",4150]],\n"
                " CS[Cartesian,2], AXIS[\"east\",east,LENGTHUNIT[\"metre\",1]],\n"
                " ID[\"EPSG\",2056]]")},
           16);
  EXPECT_EQ(system.text(), "EPSG:2056 (LV95 \"new\")");
  EXPECT_EQ(system.metresPerUnit, 1.0);
}

TEST_F(CoordinateSystemTest, theHorizontalPartOfACompoundSystemCounts) {
  const std::string compound = std::string("COMPD_CS[\"both\",") + kLambert +
                               ",VERT_CS[\"height\",AUTHORITY[\"EPSG\",\"5720\"]],AUTHORITY[\"EPSG\",\"5698\"]]";
  EXPECT_EQ(read({wkt(compound)}, 16).text(), "EPSG:2154 (RGF93 / Lambert-93)");
}

TEST_F(CoordinateSystemTest, anglesAreNoLengthsAndUnnamedIsNoName) {
  EXPECT_EQ(
      read({wkt("GEOGCS[\"WGS 84\",UNIT[\"degree\",0.0174532925199433],AUTHORITY[\"EPSG\",\"4326\"]]")}).metresPerUnit,
      0.0);
  EXPECT_FALSE(read({wkt("GEOCCS[\"unnamed\",UNIT[\"metre\",1]]")}).isKnown());
}

TEST_F(CoordinateSystemTest, theHeaderDecidesBetweenKeysAndWkt) {
  const std::vector<Record> both = {geoKeys({{3072, 0, 1, 2056}}), wkt(kLambert)};
  EXPECT_EQ(read(both, 0).epsg, 2056U);
  EXPECT_EQ(read(both, 16).epsg, 2154U);
  EXPECT_EQ(read({geoKeys({{3072, 0, 1, 2056}})}, 16).epsg, 2056U);
  EXPECT_EQ(read({wkt(kLambert)}, 0).epsg, 2154U);
}

TEST_F(CoordinateSystemTest, damagedWktIsIgnored) {
  const std::string text = kLambert;
  for (std::size_t length = 0; length < text.size(); ++length) {
    EXPECT_FALSE(read({wkt(text.substr(0, length))}, 16).isKnown()) << length;
  }
  EXPECT_FALSE(read({wkt(std::string(10000, '['))}, 16).isKnown());
  std::string deep;
  for (int level = 0; level < 3000; ++level) {
    deep += "A[";
  }
  EXPECT_FALSE(read({wkt(deep)}, 16).isKnown());
}

TEST_F(CoordinateSystemTest, aWktRecordAfterThePointsIsFound) {
  Bytes file = ScanBytes::file({}, {ScanBytes::variedPoint(0, 0)});
  file.set(235, static_cast<std::uint64_t>(file.size()));
  file.set(243, std::uint32_t{1});
  addRecord(file, wkt(kLambert), true);
  EXPECT_EQ(open(file).coordinateSystem.epsg, 2154U);
}

TEST_F(CoordinateSystemTest, recordsThatRunIntoThePointsDoNotPreventOpening) {
  Bytes file = ScanBytes::file({}, {ScanBytes::variedPoint(0, 0)});
  file.set(100, std::uint32_t{0xFFFFFFFF});
  file.set(243, std::uint32_t{0xFFFFFFFF});
  file.set(235, std::uint64_t{0xFFFFFFFFFFFFFFF0});
  EXPECT_FALSE(open(file).coordinateSystem.isKnown());
}

TEST_F(CoordinateSystemTest, statedBoundsAreKnownUnlessTheyAreWrong) {
  const ScanBytes::Point point = ScanBytes::variedPoint(0, 0);
  Bytes file = ScanBytes::file({}, {point});
  EXPECT_FALSE(open(file).bounds.valid()) << "zero";
  const double place[] = {1000 + 0.01 * point.x, 2000 + 0.01 * point.y, 30 + 0.001 * point.z};
  for (std::size_t axis = 0; axis < 3; ++axis) {
    file.set(179 + 16 * axis, place[axis] + 5.0);
    file.set(187 + 16 * axis, place[axis] - 7.0);
  }
  const osg::BoundingBoxd bounds = open(file).bounds;
  EXPECT_EQ(bounds._max, osg::Vec3d(place[0] + 5.0, place[1] + 5.0, place[2] + 5.0));
  EXPECT_EQ(bounds._min, osg::Vec3d(place[0] - 7.0, place[1] - 7.0, place[2] - 7.0));
  file.set(187, std::numeric_limits<double>::quiet_NaN());
  EXPECT_FALSE(open(file).bounds.valid()) << "not a number";
}

TEST(CoordinateSystemsTest, areEqualByCodeOrElseByName) {
  const auto system = [](unsigned code, const std::string& name) {
    CoordinateSystem made;
    made.epsg = code;
    made.name = name;
    return made;
  };
  EXPECT_TRUE(system(2056, "a").mayEqual(system(2056, "b")));
  EXPECT_FALSE(system(2056, "a").mayEqual(system(28992, "a")));
  EXPECT_TRUE(system(0, "NAD83 / UTM zone 10N").mayEqual(system(0, "nad83_utm_ZONE_10N")));
  EXPECT_FALSE(system(0, "NAD83 / UTM zone 10N").mayEqual(system(0, "NAD83 / UTM zone 11N")));
  EXPECT_TRUE(system(26910, "").mayEqual(system(0, "NAD83 / UTM zone 11N")));
  EXPECT_TRUE(system(0, "").mayEqual(system(2056, "a")));
}

}  // namespace
