#include "scan/ChunkBuilder.h"
#include "scan/Scan.h"
#include "tests/scan/LazFile.h"
#include "tests/scan/ScanBytes.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <random>

namespace {

using QuorTests::contentOf;
using QuorTests::writeLaz;
using QuorViewer::PointChunk;
using QuorViewer::ScanError;
using QuorViewer::ScanReader;
using ScanBytes::Bytes;
using ScanBytes::FileSettings;
using ScanBytes::Folder;
using ScanBytes::Point;
using testing::HasSubstr;
using testing::StartsWith;

std::string messageOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const ScanError& error) {
    return error.what();
  }
  return "no error";
}

void expectPoint(const PointChunk& chunk, std::size_t index, const Point& written, const FileSettings& settings) {
  const double x = written.x * settings.scale[0] + settings.offset[0];
  EXPECT_NEAR((*chunk.positions)[index].x(), x, 1e-3);
  EXPECT_EQ((*chunk.intensities)[index], written.intensity);
  EXPECT_EQ((*chunk.classesReturns)[index].x(), written.classification);
  EXPECT_EQ((*chunk.classesReturns)[index].y(), written.returnNumber + 16 * written.returnCount);
  for (unsigned channel = 0; channel < 3; ++channel) {
    const unsigned expected = ScanBytes::hasColour(settings.format) ? written.colour[channel] / 256 : 255;
    EXPECT_EQ((*chunk.colours)[index][channel], expected);
  }
}

class LazReaderOfEachPointFormat : public testing::TestWithParam<std::tuple<unsigned, unsigned>> {
 protected:
  unsigned _format = std::get<0>(GetParam());
  FileSettings _settings{4, _format, std::get<1>(GetParam())};
  Folder _folder;
};
INSTANTIATE_TEST_SUITE_P(FormatsAndExtraBytes, LazReaderOfEachPointFormat,
                         testing::Combine(testing::Range(0U, 11U), testing::Values(0U, 3U)));

TEST_P(LazReaderOfEachPointFormat, everyPointReadsAsItWasWrittenInWhateverOrder) {
  const std::vector<Point> points = ScanBytes::variedPoints(2500, _format);
  const std::string path = _folder.path("scan.laz");
  writeLaz(path, _settings, points, 1000);
  const auto reader = ScanReader::open(path);
  EXPECT_EQ(reader->info().format, "LAS 1.4, point format " + std::to_string(_format) + ", compressed (LAZ)");
  ASSERT_EQ(reader->info().pointCount, 2500U);
  EXPECT_EQ(reader->info().hasColour, ScanBytes::hasColour(_format));
  for (const std::uint64_t first : {0U, 500U, 2000U, 1000U}) {
    const PointChunk chunk = reader->read(first, 500, osg::Vec3d());
    for (std::size_t index = 0; index < 500; ++index) {
      expectPoint(chunk, index, points[first + index], _settings);
    }
  }
  const Point& last = points.back();
  EXPECT_EQ(reader->coordinates(2499), osg::Vec3d(last.x * 0.01 + 1000, last.y * 0.01 + 2000, last.z * 0.001 + 30));
}

TEST_P(LazReaderOfEachPointFormat, everyNthPointIsReadEquallyByACloneThatOutlivesItsSource) {
  const std::vector<Point> points = ScanBytes::variedPoints(2500, _format);
  const std::string path = _folder.path("scan.laz");
  writeLaz(path, _settings, points, 1000);
  auto first = ScanReader::open(path);
  const auto reader = first->clone();
  first.reset();
  EXPECT_EQ(reader->entryPoints(), 1000U);
  const QuorViewer::PointRange range = {1000, 20, 70, 10, 800};  // two runs of ten
  QuorViewer::ChunkBuilder builder = reader->startChunk(range, osg::Vec3d());
  QuorViewer::forEachRun(range, [&](const QuorViewer::PointRun& run) { reader->decode(run, builder); });
  const PointChunk chunk = builder.finish();
  ASSERT_EQ(chunk.positions->size(), 20U);
  for (std::size_t place = 0; place < 20; ++place) {
    expectPoint(chunk, place, points[1000 + place / 10 * 800 + place % 10 * 70], _settings);
  }
}

/// The points of `LazReaderTest::_small`, read backwards in parts.
void expectSmallInAnyOrder(const std::string& path) {
  const FileSettings settings{2, 3};
  const auto reader = ScanReader::open(path);
  ASSERT_EQ(reader->info().pointCount, 700U);
  for (const std::uint64_t first : {650U, 320U, 290U, 0U}) {
    const PointChunk chunk = reader->read(first, 50, osg::Vec3d());
    for (unsigned index = 0; index < 50; ++index) {
      expectPoint(chunk, index, ScanBytes::variedPoint(static_cast<unsigned>(first) + index, 3), settings);
    }
  }
}

class LazReaderTest : public testing::Test {
 protected:
  /// A small compressed scan of LAS 1.2, format 3; LASzip's record lies at byte 227, its payload at byte 281.
  Bytes _small(unsigned format = 3, unsigned minor = 2) const {
    writeLaz(_folder.path("small.laz"), {minor, format}, ScanBytes::variedPoints(700, format), 300);
    return contentOf(_folder.path("small.laz"));
  }

  std::string _refusalOf(const Bytes& bytes) const {
    const std::string path = _folder.write("damaged.laz", bytes);
    const std::string message = messageOf([&] {
      const auto reader = ScanReader::open(path);
      reader->read(0, static_cast<std::uint32_t>(reader->info().pointCount), osg::Vec3d());
    });
    EXPECT_THAT(message, StartsWith(path + ": "));
    return message.substr(std::min(message.size(), path.size() + 2));
  }

  Folder _folder;
};

TEST_F(LazReaderTest, aCompressedScanWithoutPointsOpensEmpty) {
  writeLaz(_folder.path("none.laz"), {2, 3}, {}, 1000);
  EXPECT_EQ(ScanReader::open(_folder.path("none.laz"))->info().pointCount, 0U);
}

// Tables of several such chunks are tested with COPC files.
TEST_F(LazReaderTest, aChunkOfVaryingSizeIsReadInAnyOrder) {
  constexpr unsigned varying = 0xFFFFFFFFU;
  writeLaz(_folder.path("varying.laz"), {2, 3}, ScanBytes::variedPoints(700, 3), varying);
  expectSmallInAnyOrder(_folder.path("varying.laz"));
  EXPECT_EQ(ScanReader::open(_folder.path("varying.laz"))->entryPoints(), 700U);
}

TEST_F(LazReaderTest, aTableOfVaryingChunksThatLacksPointsIsRefused) {
  writeLaz(_folder.path("varying.laz"), {2, 3}, ScanBytes::variedPoints(700, 3), 0xFFFFFFFFU);
  Bytes bytes = contentOf(_folder.path("varying.laz"));
  bytes.set(107, std::uint32_t{701});
  EXPECT_THAT(_refusalOf(bytes), HasSubstr("(field \"chunk table\"): 700 points found, 701 expected"));
}

TEST_F(LazReaderTest, bitSixOfTheFormatMarksCompressionAsWell) {
  Bytes bytes = _small();
  bytes[104] = 3 | 0x40;
  expectSmallInAnyOrder(_folder.write("early.laz", bytes));
}

TEST_F(LazReaderTest, aCompressedScanWithoutACompressionRecordIsRefused) {
  Bytes bytes = _small();
  bytes[227 + 2] = 'L';
  EXPECT_EQ(_refusalOf(bytes),
            "the points are marked as compressed, at byte 104 (field \"point data record format\"), but there is no "
            "\"laszip encoded\" record");
}

TEST_F(LazReaderTest, recordsThatReachIntoThePointsAreRefused) {
  Bytes bytes = _small();
  bytes.set(227 + 20, std::uint16_t{60000});
  EXPECT_THAT(_refusalOf(bytes), StartsWith("a variable length record extends into the point data, at byte 247"));
}

TEST_F(LazReaderTest, moreRecordsThanFitAreRefusedBeforeAnyMemoryIsAllocated) {
  Bytes bytes = _small();
  bytes.set(100, std::uint32_t{4294967295});
  EXPECT_THAT(_refusalOf(bytes), StartsWith("too many variable length records, at byte 100 (field \"number of variable "
                                            "length records\"): 4294967295 declared, 1 found"));
}

TEST_F(LazReaderTest, anUnknownCompressorIsRefused) {
  Bytes bytes = _small();
  bytes.set(281, std::uint16_t{4});
  EXPECT_EQ(_refusalOf(bytes),
            "unsupported compression, at byte 281 (field \"compressor\"): 4 found, 1 to 3 supported");
}

TEST_F(LazReaderTest, chunksOfNoPointsAreRefused) {
  Bytes bytes = _small();
  bytes.set(281 + 12, std::uint32_t{0});
  EXPECT_THAT(_refusalOf(bytes), StartsWith("invalid chunk size, at byte 293"));
}

TEST_F(LazReaderTest, itemsThatDoNotSuitTheFormatAreRefused) {
  Bytes bytes = _small();
  bytes.set(281 + 34, std::uint16_t{10});
  EXPECT_THAT(_refusalOf(bytes), StartsWith("a compressed item does not match the point format, at byte 315"));
  bytes = _small();
  bytes.set(281 + 34 + 2, std::uint16_t{21});
  EXPECT_THAT(_refusalOf(bytes), StartsWith("the compressed items do not add up to a record, at byte 313"));
  bytes = _small();
  bytes.set(281 + 32, std::uint16_t{900});
  EXPECT_THAT(_refusalOf(bytes), StartsWith("the compression record is too short for its items, at byte 313"));
}

TEST_F(LazReaderTest, aCompressedFileThatIsCutOffIsRefused) {
  Bytes half = _small();
  half.resize(half.size() / 2);
  EXPECT_THAT(
      _refusalOf(half),
      StartsWith(
          "the file is truncated or its chunk table is misplaced, at byte 333 (field \"chunk table start\"): byte "));
  half.resize(336);
  EXPECT_THAT(_refusalOf(half), StartsWith("the file is truncated or its chunk table is misplaced"));
}

// Forwards and backwards, from chunk starts and from within chunks, and again after each error.
TEST_F(LazReaderTest, aFileTruncatedWhileItIsReadIsReportedWithItsOffsetWhereverReadingContinues) {
  constexpr std::uint32_t count = 20000;
  writeLaz(_folder.path("whole.laz"), {2, 3}, ScanBytes::variedPoints(count, 3), 1000);
  const Bytes whole = contentOf(_folder.path("whole.laz"));
  for (std::size_t sixteenths = 1; sixteenths < 16; ++sixteenths) {
    const std::size_t end = whole.size() * sixteenths / 16;
    const std::string path = _folder.write("cut.laz", whole);
    const auto reader = ScanReader::open(path);
    std::filesystem::resize_file(path, end);
    const std::string told = path + ": the file was truncated while it was being read, at byte " + std::to_string(end);
    for (const std::uint64_t point : {19999U, 19500U, 10050U, 10049U, 10051U, 10000U, 9999U, 1700U, 0U, 19999U}) {
      const std::string message = messageOf([&] { reader->coordinates(point); });
      EXPECT_THAT(message, testing::AnyOf(StartsWith(told), "no error")) << point;
    }
    EXPECT_THAT(messageOf([&] { reader->read(0, count, osg::Vec3d()); }), StartsWith(told));
    EXPECT_EQ(messageOf([&] { reader->read(0, 1000, osg::Vec3d()); }), "no error") << "earlier points stay readable";
  }
}

// The chunk table is at the end of the file. Without the table's last bytes, LASzip still finds the right points.
TEST_F(LazReaderTest, aTableWithoutItsLastBytesNeverLeadsToWrongPoints) {
  const Bytes whole = _small();
  for (std::size_t missing = 1; missing <= 20; ++missing) {
    SCOPED_TRACE(missing);
    Bytes bytes = whole;
    bytes.resize(whole.size() - missing);
    const std::string path = _folder.write("cut.laz", bytes);
    if (messageOf([&] { ScanReader::open(path); }) == "no error") {
      expectSmallInAnyOrder(path);
    }
  }
}

TEST_F(LazReaderTest, aChunkTableThatDoesNotSuitThePointsIsRefused) {
  Bytes bytes = _small();
  std::uint64_t table = 0;
  for (unsigned byte = 0; byte < 8; ++byte) {
    table |= std::uint64_t{bytes[333 + byte]} << (8 * byte);
  }
  bytes.set(table, std::uint32_t{1});
  EXPECT_THAT(_refusalOf(bytes), StartsWith("the chunk table is damaged, at byte " + std::to_string(table)));
  bytes.set(table, std::uint32_t{0});
  bytes.set(table + 4, std::uint32_t{4000000000});
  EXPECT_THAT(_refusalOf(bytes), HasSubstr("4000000000 chunks found, 3 to 3 expected for 700 points"));
}

void openAndRead(const std::string& path, unsigned& opened) {
  try {
    const auto reader = ScanReader::open(path);
    const auto count = static_cast<std::uint32_t>(std::min<std::uint64_t>(reader->info().pointCount, 2000));
    EXPECT_EQ(reader->read(0, count, reader->info().origin).positions->size(), count);
    ++opened;
  } catch (const ScanError& error) {
    EXPECT_THAT(error.what(), StartsWith(path + ": "));
  }
}

/// Reads `rounds` copies of a scan with a few bytes changed between `first` and `end`; returns how many could be read.
unsigned readChanged(const Folder& folder, const Bytes& whole, std::size_t first, std::size_t end, unsigned rounds) {
  std::mt19937 random(20240302);
  unsigned opened = 0;
  for (unsigned round = 0; round < rounds; ++round) {
    Bytes bytes = whole;
    for (auto flips = 1 + random() % 3; flips > 0; --flips) {
      bytes[first + random() % (end - first)] = static_cast<unsigned char>(random() % 3 == 0 ? 0xFF : random());
    }
    openAndRead(folder.write("mutant.laz", bytes), opened);
  }
  return opened;
}

std::size_t pointsBegin(const Bytes& scan) {
  return scan[96] + std::size_t{256} * scan[97];
}

TEST_F(LazReaderTest, arbitraryHeaderBytesAreEitherReadOrRefused) {
  constexpr unsigned rounds = 1000;
  for (const auto& [format, minor] : {std::pair(3U, 2U), std::pair(7U, 4U), std::pair(10U, 4U)}) {
    const Bytes whole = _small(format, minor);
    const unsigned opened = readChanged(_folder, whole, 4, pointsBegin(whole) + 8, rounds);
    EXPECT_GT(opened, rounds / 20);
    EXPECT_LT(opened, rounds);
  }
}

TEST_F(LazReaderTest, whateverBytesStandInTheCompressedPointsTheyReadOrAreRefused) {
  constexpr unsigned rounds = 300;
  for (const auto& [format, minor] : {std::pair(3U, 2U), std::pair(7U, 4U), std::pair(10U, 4U)}) {
    const Bytes whole = _small(format, minor);
    EXPECT_LT(readChanged(_folder, whole, pointsBegin(whole) + 8, whole.size(), rounds), rounds);
  }
}

}  // namespace
