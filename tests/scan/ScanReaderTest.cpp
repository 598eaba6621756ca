#include "scan/ChunkBuilder.h"
#include "scan/Scan.h"
#include "tests/scan/ReaderSupport.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <random>
#include <thread>

namespace {

using namespace ReaderSupport;
using QuorViewer::PointChunk;
using QuorViewer::ScanInfo;
using ScanBytes::Bytes;
using ScanBytes::FileSettings;
using ScanBytes::Folder;
using ScanBytes::Point;
using testing::HasSubstr;
using testing::StartsWith;

osg::Vec3d truth(const FileSettings& settings, const Point& point) {
  return {point.x * settings.scale[0] + settings.offset[0], point.y * settings.scale[1] + settings.offset[1],
          point.z * settings.scale[2] + settings.offset[2]};
}

double distance(const osg::Vec3d& a, const osg::Vec3d& b) {
  return (a - b).length();
}

void expectPoint(const PointChunk& chunk, std::size_t index, const Point& written, unsigned format) {
  EXPECT_EQ((*chunk.intensities)[index], written.intensity);
  EXPECT_EQ((*chunk.classesReturns)[index].x(), written.classification);
  EXPECT_EQ((*chunk.classesReturns)[index].y(), written.returnNumber + 16 * written.returnCount);
  for (unsigned channel = 0; channel < 3; ++channel) {
    const unsigned expected = ScanBytes::hasColour(format) ? written.colour[channel] / 256 : 255;
    EXPECT_EQ((*chunk.colours)[index][channel], expected);
  }
  EXPECT_EQ((*chunk.colours)[index].a(), 255);
}

class ScanReaderOfEachPointFormat : public testing::TestWithParam<std::tuple<unsigned, unsigned>> {
 protected:
  unsigned _format = std::get<0>(GetParam());
  FileSettings _settings{4, _format, std::get<1>(GetParam())};
  std::vector<Point> _points = ScanBytes::variedPoints(700, _format);
  Folder _folder;
};
INSTANTIATE_TEST_SUITE_P(FormatsAndExtraBytes, ScanReaderOfEachPointFormat,
                         testing::Combine(testing::Range(0U, 11U), testing::Values(0U, 7U)));

TEST_P(ScanReaderOfEachPointFormat, everyPointReadsAsItWasWritten) {
  const auto reader = ScanReader::open(_folder.write("scan.las", ScanBytes::file(_settings, _points)));
  const osg::Vec3d origin(900, 2100, 20);
  const PointChunk chunk = reader->read(0, 700, origin);
  ASSERT_EQ(chunk.positions->size(), 700U);
  for (std::size_t index = 0; index < _points.size(); ++index) {
    SCOPED_TRACE(index);
    const osg::Vec3d exact = truth(_settings, _points[index]);
    EXPECT_LT(distance((*chunk.positions)[index], exact - origin), 1e-4);
    EXPECT_EQ(reader->coordinates(index), exact);
    expectPoint(chunk, index, _points[index], _format);
  }
}

TEST_P(ScanReaderOfEachPointFormat, theScanInformationDescribesTheFile) {
  const auto reader = ScanReader::open(_folder.write("scan.las", ScanBytes::file(_settings, _points)));
  const ScanInfo& info = reader->info();
  EXPECT_EQ(info.path, _folder.path("scan.las"));
  EXPECT_EQ(info.format, "LAS 1.4, point format " + std::to_string(_format));
  EXPECT_EQ(info.pointCount, 700U);
  EXPECT_EQ(info.scale, osg::Vec3d(0.01, 0.01, 0.001));
  EXPECT_EQ(info.offset, osg::Vec3d(1000, 2000, 30));
  EXPECT_EQ(info.hasColour, ScanBytes::hasColour(_format));
  EXPECT_TRUE(info.hasIntensity);
  EXPECT_TRUE(info.hasClassification);
  EXPECT_FALSE(info.localOnly);
}

class ScanReaderTest : public testing::Test {
 protected:
  std::unique_ptr<ScanReader> _open(const FileSettings& settings, const std::vector<Point>& points) const {
    return ScanReader::open(_folder.write("scan.las", ScanBytes::file(settings, points)));
  }

  Folder _folder;
};

TEST_F(ScanReaderTest, aRangeInTheMiddleReadsJustItsPoints) {
  const std::vector<Point> points = ScanBytes::variedPoints(100000, 1);
  const auto reader = _open({2, 1}, points);
  const PointChunk chunk = reader->read(99000, 990, osg::Vec3d());
  EXPECT_EQ(chunk.points.first, 99000U);
  ASSERT_EQ(chunk.positions->size(), 990U);
  for (const std::size_t index : {0U, 1U, 500U, 989U}) {
    expectPoint(chunk, index, points[99000 + index], 1);
  }
}

TEST_F(ScanReaderTest, everyNthPointIsReadEquallyByACloneThatOutlivesItsSource) {
  const std::vector<Point> points = ScanBytes::variedPoints(100000, 3);
  for (const std::uint64_t step : {1U, 7U, 9999U}) {
    auto first = _open({2, 3}, points);
    const auto reader = first->clone();
    first.reset();
    const QuorViewer::PointRun run = {9, step, 10};
    QuorViewer::ChunkBuilder builder = reader->startChunk({run.first, run.count, run.step}, osg::Vec3d());
    reader->decode(run, builder);
    const PointChunk chunk = builder.finish();
    ASSERT_EQ(chunk.positions->size(), 10U);
    for (std::size_t place = 0; place < 10; ++place) {
      expectPoint(chunk, place, points[9 + place * step], 3);
    }
  }
}

TEST_F(ScanReaderTest, aCloneReadsTheOpenFileEvenIfItsNameIsGone) {
  const std::vector<Point> points = ScanBytes::variedPoints(1000, 1);
  const auto reader = _open({2, 1}, points);
  std::error_code inUse;
  std::filesystem::rename(_folder.path("scan.las"), _folder.path("other.las"), inUse);
  if (inUse) {
    GTEST_SKIP() << "this system does not rename an open file: " << inUse.message();
  }
  EXPECT_EQ(reader->clone()->coordinates(999), truth({2, 1}, points[999]));
}

TEST_F(ScanReaderTest, clonesReadTheSameFileOnSeveralThreads) {
  constexpr std::uint32_t count = 60000;
  const auto reader = _open({2, 3}, ScanBytes::variedPoints(count, 3));
  const PointChunk expected = readAll(*reader);
  std::vector<std::unique_ptr<ScanReader>> clones;
  std::vector<PointChunk> chunks(3);
  std::vector<std::thread> threads;
  for (PointChunk& chunk : chunks) {
    clones.push_back(reader->clone());
    threads.emplace_back([&chunk, clone = clones.back().get()] {
      for (int time = 0; time < 5; ++time) {
        chunk = readAll(*clone);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  for (const PointChunk& chunk : chunks) {
    EXPECT_EQ(chunk.positions->asVector(), expected.positions->asVector());
    EXPECT_EQ(chunk.intensities->asVector(), expected.intensities->asVector());
  }
}

TEST_F(ScanReaderTest, aChunkThatIsNotFilledEndsWithItsLastPoint) {
  const std::vector<Point> points = ScanBytes::variedPoints(100, 0);
  const auto reader = _open({2, 0}, points);
  QuorViewer::ChunkBuilder builder = reader->startChunk({0, 100}, osg::Vec3d());
  reader->decode({0, 1, 30}, builder);
  EXPECT_EQ(builder.filledPoints(), 30U);
  const PointChunk chunk = builder.finish();
  EXPECT_EQ(chunk.points.count, 30U);
  EXPECT_EQ(chunk.positions->size(), 30U);
  EXPECT_EQ(chunk.colours->size(), 30U);
  EXPECT_EQ(chunk.intensities->size(), 30U);
  EXPECT_EQ(chunk.classesReturns->size(), 30U);
}

TEST_F(ScanReaderTest, theBoundsAreThoseOfTheChunksOwnPoints) {
  const FileSettings settings{2, 0};
  const std::vector<Point> points = ScanBytes::variedPoints(50000, 0);
  const auto reader = _open(settings, points);
  const osg::Vec3d origin(1200, 1700, 0);
  const PointChunk chunk = reader->read(20000, 25000, origin);
  osg::BoundingBox expected;
  for (const osg::Vec3f& position : *chunk.positions) {
    expected.expandBy(position);
  }
  EXPECT_EQ(chunk.bounds._min, expected._min);
  EXPECT_EQ(chunk.bounds._max, expected._max);
  EXPECT_NEAR(chunk.bounds.xMin(), truth(settings, points[20000]).x() - 1200, 1e-3);
}

TEST_F(ScanReaderTest, aWrongBoxInTheHeaderChangesNothing) {
  const std::vector<Point> points = ScanBytes::variedPoints(40, 0);
  Bytes bytes = ScanBytes::file({2, 0}, points);
  for (std::size_t value = 0; value < 6; ++value) {
    bytes.set(179 + 8 * value, value % 2 == 0 ? 1e300 : std::numeric_limits<double>::quiet_NaN());
  }
  const auto reader = ScanReader::open(_folder.write("lies.las", bytes));
  const PointChunk chunk = readAll(*reader);
  EXPECT_LT(chunk.bounds.radius(), 1000);
  EXPECT_EQ(reader->coordinates(39), truth({2, 0}, points[39]));
}

TEST_F(ScanReaderTest, coloursOfEightBitsInSixteenBitFieldsKeepTheirBrightness) {
  std::vector<Point> points(300);
  for (unsigned index = 0; index < points.size(); ++index) {
    points[index].colour = {index % 256, 255 - index % 256, 7};
  }
  const auto reader = _open({2, 2}, points);
  const PointChunk chunk = readAll(*reader);
  EXPECT_TRUE(reader->info().hasColour);
  EXPECT_EQ((*chunk.colours)[200], osg::Vec4ub(200, 55, 7, 255));
}

TEST_F(ScanReaderTest, coloursOfSixteenBitsKeepTheirUpperByte) {
  std::vector<Point> points(300);
  points[5].colour = {65535, 256, 255};
  const auto reader = _open({2, 3}, points);
  EXPECT_EQ((*readAll(*reader).colours)[5], osg::Vec4ub(255, 1, 0, 255));
}

TEST_F(ScanReaderTest, colourThatIsBlackThroughoutCountsAsNone) {
  const auto reader = _open({2, 3}, std::vector<Point>(300));
  EXPECT_FALSE(reader->info().hasColour);
  EXPECT_EQ((*readAll(*reader).colours)[5], osg::Vec4ub(255, 255, 255, 255));
}

// The first of the sample's 64 runs of 256 points ends at point 255; with 20,000 points the next begins at 312.
TEST_F(ScanReaderTest, aBrighterColourThanAnySampledIsClampedAndDoesNotWrapRound) {
  std::vector<Point> points(20000);
  for (Point& point : points) {
    point.colour = {100, 100, 100};
  }
  points[300].colour = {65535, 256, 100};
  const auto reader = _open({2, 2}, points);
  EXPECT_EQ((*readAll(*reader).colours)[300], osg::Vec4ub(255, 255, 100, 255));
}

TEST_F(ScanReaderTest, intensityAndClassThatAreZeroThroughoutCountAsNone) {
  const auto reader = _open({2, 0}, std::vector<Point>(300));
  EXPECT_FALSE(reader->info().hasIntensity);
  EXPECT_FALSE(reader->info().hasClassification);
}

TEST_F(ScanReaderTest, intensitiesOfAnySensorAreReadAsStored) {
  std::vector<Point> points(3);
  points[0].intensity = 254;
  points[1].intensity = 2744;
  points[2].intensity = 65535;
  const auto reader = _open({2, 0}, points);
  EXPECT_TRUE(reader->info().hasIntensity);
  EXPECT_THAT(*readAll(*reader).intensities, testing::ElementsAre(254, 2744, 65535));
}

TEST_F(ScanReaderTest, classesAboveThirtyOneReadInTheFormatsThatHoldThem) {
  std::vector<Point> points(2);
  points[0].classification = 67;
  points[1].classification = 255;
  const auto reader = _open({4, 6}, points);
  const PointChunk chunk = readAll(*reader);
  EXPECT_EQ((*chunk.classesReturns)[0].x(), 67);
  EXPECT_EQ((*chunk.classesReturns)[1].x(), 255);
}

TEST_F(ScanReaderTest, atNorthingsOfTenMillionNoStepOfTheGridIsLost) {
  FileSettings settings{2, 0};
  settings.scale = {0.001, 0.001, 0.001};
  settings.offset = {500000, 9999000, 0};
  std::vector<Point> points(1000);
  for (int index = 0; index < 1000; ++index) {
    points[static_cast<std::size_t>(index)].y = 999000 + index;
  }
  const auto reader = _open(settings, points);
  const PointChunk chunk = readAll(*reader);
  for (std::size_t index = 1; index < points.size(); ++index) {
    EXPECT_NEAR((*chunk.positions)[index].y() - (*chunk.positions)[index - 1].y(), 0.001, 1e-6);
  }
  EXPECT_EQ(reader->coordinates(999).y(), 999999 * 0.001 + 9999000);
}

TEST_F(ScanReaderTest, tinyScalesUseAllThirtyTwoBits) {
  FileSettings settings{2, 0};
  settings.scale = {1.4e-8, 1.4e-8, 1.4e-8};
  settings.offset = {5, 6, 7};
  std::vector<Point> points(2);
  points[0].x = std::numeric_limits<std::int32_t>::max();
  points[1].x = std::numeric_limits<std::int32_t>::min();
  const auto reader = _open(settings, points);
  EXPECT_EQ(reader->coordinates(0).x(), 2147483647 * 1.4e-8 + 5);
  EXPECT_EQ(reader->coordinates(1).x(), -2147483648.0 * 1.4e-8 + 5);
  const PointChunk chunk = reader->read(0, 2, osg::Vec3d(5, 6, 7));
  EXPECT_NEAR((*chunk.positions)[0].x(), 30.0647710, 1e-5);
  EXPECT_NEAR((*chunk.positions)[1].x(), -30.0647710, 1e-5);
}

TEST_F(ScanReaderTest, theOriginIsIntegralAndAmongThePointsDespiteOutliers) {
  FileSettings settings{2, 0};
  settings.offset = {600000.4, 5000000.4, 100.4};
  std::vector<Point> points(1000);
  for (int index = 0; index < 1000; ++index) {
    points[static_cast<std::size_t>(index)].x = index;
  }
  points[3].x = 2000000000;
  points[4].y = -2000000000;
  const auto reader = _open(settings, points);
  EXPECT_EQ(reader->info().origin.x(), 600005);  // the median, 500 steps of 0.01, and 0.4, rounded
  EXPECT_EQ(reader->info().origin.y(), 5000000);
  EXPECT_EQ(reader->info().origin.z(), 100);
}

TEST_F(ScanReaderTest, aScanWithoutPointsOpensEmpty) {
  for (const unsigned format : {0U, 7U}) {
    const auto reader = _open({4, format}, {});
    EXPECT_EQ(reader->info().pointCount, 0U);
    const PointChunk chunk = reader->read(0, 0, reader->info().origin);
    EXPECT_TRUE(chunk.positions->empty());
    EXPECT_FALSE(chunk.bounds.valid());
    EXPECT_THAT(messageOf([&] { reader->coordinates(0); }), HasSubstr("the scan has only 0"));
  }
}

TEST_F(ScanReaderTest, theOlderCountIsUsedIfTheSixtyFourBitOneIsZero) {
  Bytes bytes = ScanBytes::file({4, 1}, ScanBytes::variedPoints(9, 1));
  bytes.set(247, std::uint64_t{0});
  EXPECT_EQ(ScanReader::open(_folder.write("older.las", bytes))->info().pointCount, 9U);
}

TEST_F(ScanReaderTest, theSixtyFourBitCountHoldsWhereTheOlderOneIsZero) {
  Bytes bytes = ScanBytes::file({4, 1}, ScanBytes::variedPoints(9, 1));
  bytes.set(107, std::uint32_t{0});
  EXPECT_EQ(ScanReader::open(_folder.write("newer.las", bytes))->info().pointCount, 9U);
}

TEST_F(ScanReaderTest, aCountBelowWhatTheFileHoldsReadsOnlyThatMany) {
  Bytes bytes = ScanBytes::file({2, 1}, ScanBytes::variedPoints(9, 1));
  bytes.set(107, std::uint32_t{5});
  const auto reader = ScanReader::open(_folder.write("fewer.las", bytes));
  EXPECT_EQ(reader->info().pointCount, 5U);
  EXPECT_THAT(messageOf([&] { reader->read(0, 6, osg::Vec3d()); }), HasSubstr("the scan has only 5"));
}

TEST_F(ScanReaderTest, everyVersionOpensUnderItsName) {
  for (const unsigned minor : {0U, 1U, 2U, 3U, 4U}) {
    const std::vector<Point> points = ScanBytes::variedPoints(20, 1);
    const auto reader = _open({minor, 1}, points);
    EXPECT_EQ(reader->info().format, "LAS 1." + std::to_string(minor) + ", point format 1");
    EXPECT_EQ(reader->coordinates(19), truth({minor, 1}, points[19]));
  }
}

TEST_F(ScanReaderTest, pointsBehindAGapAreFoundByTheirOffset) {
  const std::vector<Point> points = ScanBytes::variedPoints(20, 0);
  Bytes bytes = ScanBytes::file({2, 0}, points);
  bytes.insert(bytes.begin() + 227, 1000, 0x77);
  bytes.set(96, std::uint32_t{1227});
  const auto reader = ScanReader::open(_folder.write("gap.las", bytes));
  EXPECT_EQ(reader->coordinates(19), truth({2, 0}, points[19]));
}

TEST_F(ScanReaderTest, theStartSignatureOfLas10IsPassedOverWhereTheOffsetPointsAtIt) {
  const std::vector<Point> points = ScanBytes::variedPoints(20, 0);
  Bytes bytes = ScanBytes::file({0, 0}, points);
  bytes.insert(bytes.begin() + 227, {0xDD, 0xCC});
  const auto reader = ScanReader::open(_folder.write("signature.las", bytes));
  EXPECT_EQ(reader->coordinates(0), truth({0, 0}, points[0]));
  EXPECT_EQ(reader->coordinates(19), truth({0, 0}, points[19]));
}

TEST_F(ScanReaderTest, aFirstPointThatLooksLikeTheStartSignatureIsStillAPoint) {
  std::vector<Point> points(20);
  points[0].x = 0xCCDD;
  const auto reader = _open({0, 0}, points);
  EXPECT_EQ(reader->coordinates(0).x(), 0xCCDD * 0.01 + 1000);
}

// The file is sparse and takes almost no disk space.
TEST_F(ScanReaderTest, aScanBeyondFourGibibytesReadsItsLastPoint) {
  constexpr std::uint64_t count = 250000000;
  const FileSettings settings{4, 0};
  const std::string path = _folder.write("large.las", ScanBytes::header(settings, count));
  Point last;
  last.x = 123456;
  last.intensity = 77;
  Bytes record;
  ScanBytes::addRecord(record, 0, last);
  std::error_code code;
  std::filesystem::resize_file(path, 375 + (count - 1) * 20, code);
  if (code) {
    GTEST_SKIP() << "the file system of the temporary folder does not support sparse files: " << code.message();
  }
  std::ofstream(path, std::ios::binary | std::ios::app)
      .write(reinterpret_cast<const char*>(record.data()), static_cast<std::streamsize>(record.size()));
  const auto reader = ScanReader::open(path);
  EXPECT_EQ(reader->info().pointCount, count);
  EXPECT_EQ(reader->coordinates(count - 1).x(), 123456 * 0.01 + 1000);
  EXPECT_EQ((*reader->read(count - 2, 2, osg::Vec3d()).intensities)[1], 77);
}

TEST_F(ScanReaderTest, aFileThatShrinksWhileItIsOpenIsAnError) {
  const auto reader = _open({2, 0}, ScanBytes::variedPoints(1000, 0));
  std::filesystem::resize_file(_folder.path("scan.las"), 227 + 20 * 500);
  EXPECT_NO_THROW(reader->read(0, 400, osg::Vec3d()));
  EXPECT_EQ(
      messageOf([&] { reader->read(0, 1000, osg::Vec3d()); }),
      _folder.path("scan.las") +
          ": the file was truncated while it was being read, at byte 10227: it had 20227 bytes when it was opened");
}

TEST_F(ScanReaderTest, pointsBeyondTheScanAreRefusedWithoutOverflow) {
  const auto reader = _open({2, 0}, ScanBytes::variedPoints(10, 0));
  EXPECT_THROW(reader->read(10, 1, osg::Vec3d()), ScanError);
  EXPECT_THROW(reader->read(std::numeric_limits<std::uint64_t>::max(), 2, osg::Vec3d()), ScanError);
  EXPECT_THROW(reader->coordinates(10), ScanError);
  EXPECT_TRUE(reader->read(10, 0, osg::Vec3d()).positions->empty());
}

TEST_F(ScanReaderTest, lasIsRecognisedByItsContentNotItsName) {
  const std::string path = _folder.write("scan.dat", ScanBytes::file({2, 0}, ScanBytes::variedPoints(3, 0)));
  EXPECT_EQ(ScanReader::open(path)->info().pointCount, 3U);
}

TEST_F(ScanReaderTest, theBundledSampleReadsToItsLastPointWithinItsBox) {
  const auto sample = std::filesystem::path(__FILE__).parent_path() / "../../data/haystack_rock.las";
  const auto reader = ScanReader::open(sample.string());
  EXPECT_EQ(reader->info().pointCount, 21932U);
  EXPECT_EQ(reader->info().format, "LAS 1.2, point format 0");
  EXPECT_FALSE(reader->info().hasColour);
  osg::BoundingBoxd box;
  for (std::uint64_t point = 0; point < 21932; ++point) {
    box.expandBy(reader->coordinates(point));
  }
  EXPECT_LT(distance(box._min, osg::Vec3d(2230738.84, 252070.78, -1.32)), 0.01);
  EXPECT_LT(distance(box._max, osg::Vec3d(2231104.52, 252410.10, 80.82)), 0.01);
  const PointChunk chunk = readAll(*reader);
  EXPECT_LT(distance(osg::Vec3d(chunk.bounds._min) + reader->info().origin, box._min), 1e-3);
  EXPECT_LT(distance(osg::Vec3d(chunk.bounds._max) + reader->info().origin, box._max), 1e-3);
}

struct Damage {
  const char* name;
  std::function<void(Bytes&)> inflict;
  const char* message;
};

void PrintTo(const Damage& damage, std::ostream* to) {
  *to << damage.name;
}

template <typename T>
std::function<void(Bytes&)> set(std::size_t at, T value) {
  return [=](Bytes& bytes) { bytes.set(at, value); };
}

std::function<void(Bytes&)> cutAt(std::size_t length) {
  return [=](Bytes& bytes) { bytes.resize(length); };
}

std::string nameOf(const testing::TestParamInfo<Damage>& info) {
  return info.param.name;
}

class DamagedLas : public testing::TestWithParam<Damage> {
 protected:
  Folder _folder;
};

// LAS 1.2 with 10 points of format 1, 28 bytes each from byte 227 to byte 507.
TEST_P(DamagedLas, isRefusedWithAMessageThatSaysWhatAndWhere) {
  Bytes bytes = ScanBytes::file({2, 1}, ScanBytes::variedPoints(10, 1));
  GetParam().inflict(bytes);
  const std::string path = _folder.write("damaged.las", bytes);
  EXPECT_EQ(refusalOf(path), path + ": " + GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    Headers, DamagedLas,
    testing::Values(
        Damage{"emptyFile", cutAt(0), "the file is empty: 0 bytes"},
        Damage{"onlyTheSignature", cutAt(4), "the file ends inside its header, at byte 4: 227 bytes needed"},
        Damage{"cutInTheHeader", cutAt(226), "the file ends inside its header, at byte 226: 227 bytes needed"},
        Damage{"cutInTheHeaderOfLas14",
               [](Bytes& bytes) {
                 bytes[25] = 4;
                 bytes.resize(300);
               },
               "the file ends inside its header, at byte 300: 375 bytes needed"},
        Damage{"version15", set(25, std::uint8_t{5}),
               "unsupported LAS version, at byte 25 (field \"version minor\"): 1.5 found, 1.0 to 1.4 supported"},
        Damage{"version20", set(24, std::uint8_t{2}),
               "unsupported LAS version, at byte 24 (field \"version major\"): 2.2 found, 1.0 to 1.4 supported"},
        Damage{"headerTooShort", set(94, std::uint16_t{226}),
               "the header size is too small, at byte 94 (field \"header size\"): 226 bytes found, LAS 1.2 needs 227"},
        Damage{"headerOfLas13TooShort", set(25, std::uint8_t{3}),
               "the header size is too small, at byte 94 (field \"header size\"): 227 bytes found, LAS 1.3 needs 235"},
        Damage{"pointsInsideTheHeader", set(96, std::uint32_t{226}),
               "the point data begin inside the header, at byte 96 (field \"offset to point data\"): offset 226, the "
               "header ends at byte 227"},
        Damage{"pointsBeyondTheFile", set(96, std::uint32_t{4000000000}),
               "the point data begin beyond the end of the file, at byte 96 (field \"offset to point data\"): offset "
               "4000000000, the file ends at byte 507"},
        Damage{
            "pointFormat11", set(104, std::uint8_t{11}),
            "unsupported point format, at byte 104 (field \"point data record format\"): 11 found, 0 to 10 supported"},
        Damage{"recordsTooShort", set(105, std::uint16_t{27}),
               "the record length is too small, at byte 105 (field \"point data record length\"): 27 bytes found, "
               "point format 1 needs 28"},
        Damage{"recordsOfNoLength", set(105, std::uint16_t{0}),
               "the record length is too small, at byte 105 (field \"point data record length\"): 0 bytes found, point "
               "format 1 needs 28"},
        Damage{"scaleZero", set(139, 0.0), "invalid scale, at byte 131 (field \"scale factor\"): 0.000000 found for y"},
        Damage{"scaleNotANumber", set(131, std::numeric_limits<double>::quiet_NaN()),
               "invalid scale, at byte 131 (field \"scale factor\"): nan found for x"},
        Damage{"scaleInfinite", set(147, -std::numeric_limits<double>::infinity()),
               "invalid scale, at byte 131 (field \"scale factor\"): -inf found for z"},
        Damage{"offsetNotANumber", set(163, std::numeric_limits<double>::quiet_NaN()),
               "invalid offset, at byte 155 (field \"offset\"): nan found for y"},
        Damage{"offsetInfinite", set(171, std::numeric_limits<double>::infinity()),
               "invalid offset, at byte 155 (field \"offset\"): inf found for z"},
        Damage{"oneByteMissing", cutAt(506),
               "the file is truncated or its point count is wrong, at byte 107 (field \"number of point records\"): 10 "
               "records of 28 bytes expected from byte 227 on, 9 found, the file ends at byte 506"},
        Damage{"noPointsLeft", cutAt(227),
               "the file is truncated or its point count is wrong, at byte 107 (field \"number of point records\"): 10 "
               "records of 28 bytes expected from byte 227 on, 0 found, the file ends at byte 227"},
        Damage{"countFarTooLarge", set(107, std::uint32_t{4294967295}),
               "the file is truncated or its point count is wrong, at byte 107 (field \"number of point records\"): "
               "4294967295 records of 28 bytes expected from byte 227 on, 10 found, the file ends at byte 507"}),
    nameOf);

TEST_F(ScanReaderTest, aCountWhoseByteSizeOverflowsIsRefused) {
  Bytes bytes = ScanBytes::file({4, 7}, ScanBytes::variedPoints(10, 7));
  bytes.set(247, std::numeric_limits<std::uint64_t>::max() / 36 + 2);
  const std::string path = _folder.write("count.las", bytes);
  EXPECT_EQ(refusalOf(path), path +
                                 ": the file is truncated or its point count is wrong, at byte 247 (field \"number of "
                                 "point records, 64 bits\"): 512409557603043102 records of 36 bytes expected from byte "
                                 "375 on, 10 found, the file ends at byte 735");
}

TEST_F(ScanReaderTest, coordinatesThatSinglePrecisionCannotShowAreRefused) {
  Bytes bytes = ScanBytes::file({2, 0}, ScanBytes::variedPoints(10, 0));
  bytes.set(131, 1e200);
  EXPECT_THAT(refusalOf(_folder.write("far.las", bytes)),
              HasSubstr("exceed the range of single precision, at byte 131"));
}

TEST_F(ScanReaderTest, filesThatAreNotScansAreRefused) {
  const std::string text = "%PDF-1.7 and so on, long enough to look like something";
  const std::string path = _folder.write("report.las", text);
  EXPECT_EQ(refusalOf(path), path +
                                 ": not a supported scan format (LAS, LAZ, PLY, ASC): the file begins with neither "
                                 "\"LASF\" nor \"ply\", and its name does not end in .asc");
  EXPECT_THAT(refusalOf(_folder.write("x", std::string("L"))), HasSubstr("not a supported scan format"));
}

TEST_F(ScanReaderTest, aMissingFileAFolderAndAPipeAreRefused) {
  EXPECT_EQ(refusalOf(_folder.path("none.las")), _folder.path("none.las") + ": no such file");
  std::filesystem::create_directory(_folder.path("folder.las"));
  EXPECT_EQ(refusalOf(_folder.path("folder.las")), _folder.path("folder.las") + ": this is a folder, not a file");
  if (std::filesystem::exists("/dev/null")) {
    EXPECT_THAT(refusalOf("/dev/null"), StartsWith("/dev/null: not a regular file"));
  }
  EXPECT_THAT(refusalOf(""), HasSubstr("no such file"));
}

TEST_F(ScanReaderTest, aFileThatMayNotBeReadIsRefusedWithTheSystemsReason) {
  const std::string path = _folder.write("locked.las", ScanBytes::file({2, 0}, {}));
  std::filesystem::permissions(path, std::filesystem::perms::none);
  if (std::ifstream(path).is_open()) {
    GTEST_SKIP() << "this user may read all files";
  }
  EXPECT_EQ(refusalOf(path), path + ": cannot open the file: Permission denied");
}

TEST_F(ScanReaderTest, arbitraryHeaderBytesAreEitherReadOrRefused) {
  std::mt19937 random(20240229);
  unsigned opened = 0;
  constexpr unsigned rounds = 6000;
  for (unsigned round = 0; round < rounds; ++round) {
    const unsigned format = round % 11;
    const unsigned minor = round % 5;
    Bytes bytes = ScanBytes::file({minor, format}, ScanBytes::variedPoints(30, format));
    flipBytes(bytes, 4, ScanBytes::headerLength(minor), random);
    if (random() % 8 == 0) {
      bytes.resize(random() % bytes.size());
    }
    openAndRead(_folder.write("mutant.las", bytes), opened);
  }
  EXPECT_GT(opened, rounds / 10) << "hardly any header was accepted, so little was tested";
  EXPECT_LT(opened, rounds) << "no header was refused, so little was tested";
}

}  // namespace
