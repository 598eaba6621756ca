#include "scan/edit/LasWriter.h"
#include "support/platform/Platform.h"
#include "tests/scan/MessageOf.h"
#include "tests/scan/ScanBytes.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace QuorViewer {
namespace {

namespace fs = std::filesystem;
using ReaderSupport::messageOf;
using testing::ElementsAre;
using testing::HasSubstr;

class LasWriterTest : public testing::Test {
 protected:
  static LasHeader headerOf(unsigned format, unsigned minor) {
    LasHeader header;
    header.versionMinor = static_cast<std::uint8_t>(minor);
    header.headerLengthBytes = lasHeaderLengthBytes(minor);
    header.pointDataOffsetBytes = 0;
    header.pointFormat = static_cast<std::uint8_t>(format);
    header.recordLengthBytes = RecordLayout::of(format)->lengthBytes;
    header.scale = {0.5, 0.25, 2.0};
    header.offset = {100.0, 200.0, 300.0};
    return header;
  }

  static std::vector<unsigned char> record(const LasHeader& header, std::int32_t x, std::int32_t y, std::int32_t z,
                                           unsigned returnNumber) {
    LasPoint point;
    point.x = x;
    point.y = y;
    point.z = z;
    point.returnNumber = static_cast<std::uint8_t>(returnNumber);
    point.returnCount = 5;
    std::vector<unsigned char> bytes(header.recordLengthBytes);
    RecordLayout::of(header.pointFormat)->encode(point, bytes.data());
    return bytes;
  }

  static std::vector<unsigned char> contentOf(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

  LasHeader written() const {
    const std::vector<unsigned char> bytes = contentOf(_path);
    return LasHeader::parse(bytes.data(), bytes.size());
  }

  std::vector<std::string> namesInFolder() const {
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(_folder)) {
      names.push_back(entry.path().filename().string());
    }
    return names;
  }

  const ScanBytes::Folder _directory;
  const fs::path _folder = fs::path(_directory.path("out.las")).parent_path();
  const std::string _path = _directory.path("out.las");
};

TEST_F(LasWriterTest, countsPointsByReturnAndFindsTheBounds) {
  const LasHeader header = headerOf(1, 2);
  LasWriter writer(_path, header, {});
  writer.append(record(header, -4, 8, 10, 1).data(), 1);
  writer.append(record(header, 6, -20, 11, 2).data(), 1);
  writer.append(record(header, 0, 0, -3, 2).data(), 1);
  writer.finish();
  EXPECT_EQ(written().legacyPointCount, 3U);
  EXPECT_THAT(written().legacyPointsByReturn, ElementsAre(1, 2, 0, 0, 0));
  EXPECT_THAT(written().maximumMinimum,
              ElementsAre(ElementsAre(103.0, 98.0), ElementsAre(202.0, 195.0), ElementsAre(322.0, 294.0)));
}

TEST_F(LasWriterTest, aNegativeScaleStillGivesTheGreaterBoundFirst) {
  LasHeader header = headerOf(0, 2);
  header.scale = {-1.0, 1.0, 1.0};
  LasWriter writer(_path, header, {});
  writer.append(record(header, 5, 0, 0, 1).data(), 1);
  writer.append(record(header, -7, 0, 0, 1).data(), 1);
  writer.finish();
  EXPECT_THAT(written().maximumMinimum[0], ElementsAre(107.0, 95.0));
}

TEST_F(LasWriterTest, aFormatOfVersionFourLeavesTheOlderCountsAtZero) {
  const LasHeader header = headerOf(6, 4);
  LasWriter writer(_path, header, {});
  writer.append(record(header, 0, 0, 0, 15).data(), 1);
  writer.finish();
  EXPECT_EQ(written().legacyPointCount, 0U);
  EXPECT_THAT(written().legacyPointsByReturn, testing::Each(0U));
  EXPECT_EQ(written().extendedPointCount, 1U);
  EXPECT_EQ(written().extendedPointsByReturn[14], 1U);
}

TEST_F(LasWriterTest, anOlderFormatInVersionFourHasBothCounts) {
  const LasHeader header = headerOf(3, 4);
  LasWriter writer(_path, header, {});
  writer.append(record(header, 0, 0, 0, 3).data(), 1);
  writer.finish();
  EXPECT_EQ(written().legacyPointCount, 1U);
  EXPECT_EQ(written().legacyPointsByReturn[2], 1U);
  EXPECT_EQ(written().extendedPointCount, 1U);
  EXPECT_EQ(written().extendedPointsByReturn[2], 1U);
}

TEST_F(LasWriterTest, staleCountsOfTheGivenHeaderAreReplaced) {
  LasHeader header = headerOf(3, 4);
  header.legacyPointCount = 99;
  header.legacyPointsByReturn.fill(99);
  header.extendedPointCount = 99;
  header.extendedPointsByReturn.fill(99);
  header.maximumMinimum[1] = {1e9, -1e9};
  LasWriter(_path, header, {}).finish();
  EXPECT_EQ(written().legacyPointCount, 0U);
  EXPECT_EQ(written().extendedPointCount, 0U);
  EXPECT_THAT(written().extendedPointsByReturn, testing::Each(0U));
  EXPECT_THAT(written().maximumMinimum[1], ElementsAre(0.0, 0.0));
}

TEST_F(LasWriterTest, keepsTheFieldsThatIdentifyTheScansSource) {
  LasHeader header = headerOf(7, 4);
  header.fileSource = 7;
  header.globalEncoding = 17;
  header.projectId[15] = 200;
  header.systemIdentifier[0] = 'T';
  header.creationYear = 1999;
  header.extendedRecordsOffsetBytes = 12345;
  header.extendedRecordCount = 2;
  header.waveformOffsetBytes = 54321;
  LasWriter(_path, header, {}).finish();
  EXPECT_EQ(written().fileSource, 7);
  EXPECT_EQ(written().globalEncoding, 17);
  EXPECT_EQ(written().projectId[15], 200);
  EXPECT_EQ(written().systemIdentifier[0], 'T');
  EXPECT_EQ(written().creationYear, 1999);
  EXPECT_EQ(written().scale, header.scale);
  EXPECT_EQ(written().offset, header.offset);
  // These fields referred to data after the points of the other file.
  EXPECT_EQ(written().extendedRecordsOffsetBytes, 0U);
  EXPECT_EQ(written().extendedRecordCount, 0U);
  EXPECT_EQ(written().waveformOffsetBytes, 0U);
}

TEST_F(LasWriterTest, pointRecordsFollowHeaderVariableRecordsAndGap) {
  LasHeader header = headerOf(0, 2);
  header.pointDataOffsetBytes = 300;
  const std::vector<unsigned char> point = record(header, 1, 2, 3, 1);
  LasWriter writer(_path, header, {0xAB, 0xCD});
  writer.append(point.data(), 1);
  writer.finish();
  const std::vector<unsigned char> bytes = contentOf(_path);
  ASSERT_EQ(bytes.size(), 300U + point.size());
  EXPECT_EQ(bytes[227], 0xAB);
  EXPECT_EQ(bytes[228], 0xCD);
  EXPECT_EQ(bytes[229], 0);
  EXPECT_TRUE(std::equal(point.begin(), point.end(), bytes.begin() + 300));
  EXPECT_EQ(written().pointDataOffsetBytes, 300U);
}

TEST_F(LasWriterTest, anOffsetThatIsTooSmallIsMovedBehindTheVariableRecords) {
  LasHeader header = headerOf(0, 2);
  header.pointDataOffsetBytes = 10;
  LasWriter(_path, header, std::vector<unsigned char>(54, 1)).finish();
  EXPECT_EQ(written().pointDataOffsetBytes, 227U + 54U);
  EXPECT_EQ(contentOf(_path).size(), 227U + 54U);
}

TEST_F(LasWriterTest, aHoleBeforeNoPointsIsAsLongAsTheHeaderSays) {
  LasHeader header = headerOf(0, 2);
  header.pointDataOffsetBytes = 5000;
  LasWriter(_path, header, {7}).finish();
  EXPECT_EQ(fs::file_size(_path), 5000U);
  EXPECT_EQ(contentOf(_path)[227], 7);
}

TEST_F(LasWriterTest, dataAppendedBehindThePointsFollowsThem) {
  LasHeader header = headerOf(6, 4);
  header.pointDataOffsetBytes = 400;
  for (const std::size_t points : {0U, 3U}) {
    LasWriter writer(_path, header, {});
    for (std::size_t point = 0; point < points; ++point) {
      writer.append(record(header, 1, 2, 3, 1).data(), 1);
    }
    const std::vector<unsigned char> behind = {9, 8, 7};
    writer.appendBehindPoints(behind.data(), 2);
    writer.appendBehindPoints(behind.data() + 2, 1);
    LasHeader last = writer.header();
    last.extendedRecordsOffsetBytes = 400 + 30 * points;
    writer.finish(last);
    const std::vector<unsigned char> bytes = contentOf(_path);
    ASSERT_EQ(bytes.size(), 400 + 30 * points + 3);
    EXPECT_TRUE(std::equal(behind.begin(), behind.end(), bytes.end() - 3));
    EXPECT_EQ(written().extendedRecordsOffsetBytes, 400 + 30 * points);
    EXPECT_EQ(written().extendedPointCount, points);
  }
}

TEST_F(LasWriterTest, furtherBytesOfALongHeaderAreKept) {
  LasHeader header = headerOf(1, 2);
  header.headerLengthBytes = 230;
  header.furtherBytes = {1, 2, 3};
  LasWriter(_path, header, {}).finish();
  EXPECT_THAT(written().furtherBytes, ElementsAre(1, 2, 3));
  EXPECT_EQ(contentOf(_path)[229], 3);
}

TEST_F(LasWriterTest, doesNotRemoveWhatItDidNotCreate) {
  fs::create_directory(_folder / "out.las.part");
  EXPECT_THAT(messageOf<ScanWriteError>([&] { LasWriter writer(_path, headerOf(0, 2), {}); }), HasSubstr(_path));
  EXPECT_THAT(namesInFolder(), ElementsAre("out.las.part"));
}

TEST_F(LasWriterTest, withoutFinishNothingIsLeft) {
  const LasHeader header = headerOf(0, 2);
  {
    LasWriter writer(_path, header, {});
    writer.append(record(header, 0, 0, 0, 1).data(), 1);
    EXPECT_THAT(namesInFolder(), ElementsAre("out.las.part"));
  }
  EXPECT_TRUE(namesInFolder().empty());
}

TEST_F(LasWriterTest, withoutFinishAnEarlierFileStaysAsItIs) {
  std::ofstream(_path) << "earlier";
  { LasWriter writer(_path, headerOf(0, 2), {}); }
  EXPECT_THAT(namesInFolder(), ElementsAre("out.las"));
  EXPECT_EQ(fs::file_size(_path), 7U);
}

TEST_F(LasWriterTest, finishReplacesAnEarlierFile) {
  std::ofstream(_path) << std::string(9999, 'x');
  LasWriter(_path, headerOf(0, 2), {}).finish();
  EXPECT_THAT(namesInFolder(), ElementsAre("out.las"));
  EXPECT_EQ(fs::file_size(_path), 227U);
}

TEST_F(LasWriterTest, unwritablePathsAreReportedWithTheReason) {
  const std::string nowhere = (_folder / "missing" / "out.las").string();
  const std::string message = messageOf<ScanWriteError>([&] { LasWriter writer(nowhere, headerOf(0, 2), {}); });
  EXPECT_THAT(message, HasSubstr(nowhere));
  EXPECT_THAT(message, HasSubstr("No such file or directory"));
  EXPECT_THAT(messageOf<ScanWriteError>([&] { LasWriter writer(_folder.string(), headerOf(0, 2), {}); }),
              HasSubstr("not a regular file"));
}

TEST_F(LasWriterTest, aFormatThatDoesNotExistOrARecordTooShortIsRefused) {
  LasHeader unknown = headerOf(0, 2);
  unknown.pointFormat = 11;
  EXPECT_THAT(messageOf<ScanWriteError>([&] { LasWriter writer(_path, unknown, {}); }), HasSubstr("point format"));
  LasHeader tooShort = headerOf(7, 4);
  tooShort.recordLengthBytes = 35;
  EXPECT_THAT(messageOf<ScanWriteError>([&] { LasWriter writer(_path, tooShort, {}); }), HasSubstr("point format"));
  EXPECT_TRUE(namesInFolder().empty());
}

// A limit on the size of files makes a write fail halfway, as a full disk does.
TEST_F(LasWriterTest, aDiskThatFillsUpIsReportedAndLeavesTheEarlierFile) {
  if (!QuorTests::FileSizeLimit::isToBeHad()) {
    GTEST_SKIP() << "a process cannot limit the size of its files on this system";
  }
  std::ofstream(_path) << "earlier";
  const LasHeader header = headerOf(0, 2);
  const std::string message = messageOf<ScanWriteError>([&] {
    const QuorTests::FileSizeLimit limit(100000);
    LasWriter writer(_path, header, {});
    const std::vector<unsigned char> records(20 * 10000);
    writer.append(records.data(), 10000);
    writer.finish();
  });
  EXPECT_THAT(message, HasSubstr("cannot write " + _path + ": File too large"));
  EXPECT_THAT(namesInFolder(), ElementsAre("out.las"));
  EXPECT_EQ(fs::file_size(_path), 7U);
}

}  // namespace
}  // namespace QuorViewer
