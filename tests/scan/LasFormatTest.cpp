#include "scan/formats/LasFormat.h"
#include "tests/scan/ScanBytes.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace {

using QuorViewer::LasHeader;
using QuorViewer::LasPoint;
using QuorViewer::LasRecordHead;
using QuorViewer::RecordLayout;
using ScanBytes::Bytes;
using testing::ElementsAreArray;

class LasFormatOfEachPointFormat : public testing::TestWithParam<unsigned> {};
INSTANTIATE_TEST_SUITE_P(Formats, LasFormatOfEachPointFormat, testing::Range(0U, 11U));

TEST_P(LasFormatOfEachPointFormat, recordsHaveTheirPublishedLength) {
  EXPECT_EQ(RecordLayout::of(GetParam())->lengthBytes, ScanBytes::kRecordLengths[GetParam()]);
  EXPECT_EQ(RecordLayout::of(GetParam())->format, GetParam());
}

TEST_P(LasFormatOfEachPointFormat, offsetsAreTheSumOfTheFieldsBefore) {
  const unsigned format = GetParam();
  const RecordLayout& layout = *RecordLayout::of(format);
  unsigned at = ScanBytes::isExtended(format) ? 22 : 20;
  const auto expectField = [&](unsigned offset, bool present, unsigned length) {
    EXPECT_EQ(offset, present ? at : 0U);
    at += present ? length : 0;
  };
  expectField(layout.gpsTimeOffset, ScanBytes::hasGpsTime(format), 8);
  expectField(layout.colourOffset, ScanBytes::hasColour(format), 6);
  expectField(layout.nearInfraredOffset, ScanBytes::hasNearInfrared(format), 2);
  expectField(layout.wavePacketOffset, ScanBytes::hasWavePacket(format), 29);
  EXPECT_EQ(layout.lengthBytes, at);
}

void expectCore(const LasPoint& decoded, const ScanBytes::Point& written) {
  EXPECT_EQ(decoded.x, written.x);
  EXPECT_EQ(decoded.y, written.y);
  EXPECT_EQ(decoded.z, written.z);
  EXPECT_EQ(decoded.intensity, written.intensity);
  EXPECT_EQ(decoded.returnNumber, written.returnNumber);
  EXPECT_EQ(decoded.returnCount, written.returnCount);
  EXPECT_EQ(decoded.classification, written.classification);
  EXPECT_EQ(decoded.userData, written.userData);
  EXPECT_EQ(decoded.pointSource, written.source);
  EXPECT_EQ(decoded.scanAngle, written.scanAngle);
}

void expectFlags(const LasPoint& decoded, const ScanBytes::Point& written) {
  EXPECT_EQ(decoded.synthetic, (written.classFlags & 1U) != 0);
  EXPECT_EQ(decoded.keyPoint, (written.classFlags & 2U) != 0);
  EXPECT_EQ(decoded.withheld, (written.classFlags & 4U) != 0);
  EXPECT_EQ(decoded.overlap, (written.classFlags & 8U) != 0);
  EXPECT_EQ(decoded.scannerChannel, written.channel);
  EXPECT_EQ(decoded.scanDirection, written.direction);
  EXPECT_EQ(decoded.edgeOfFlightLine, written.edge);
}

void expectOptional(const LasPoint& decoded, const ScanBytes::Point& written, unsigned format) {
  EXPECT_EQ(decoded.gpsTime, ScanBytes::hasGpsTime(format) ? written.gpsTime : 0.0);
  for (std::size_t channel = 0; channel < 3; ++channel) {
    EXPECT_EQ(decoded.colour[channel], ScanBytes::hasColour(format) ? written.colour[channel] : 0U);
  }
  EXPECT_EQ(decoded.nearInfrared, ScanBytes::hasNearInfrared(format) ? written.nearInfrared : 0U);
  for (unsigned place = 0; place < 29; ++place) {
    EXPECT_EQ(decoded.wavePacket[place], ScanBytes::hasWavePacket(format) ? ScanBytes::wavePacketByte(place) : 0U);
  }
}

TEST_P(LasFormatOfEachPointFormat, everyFieldIsDecodedAndEncodedBackToTheSameBytes) {
  const unsigned format = GetParam();
  const RecordLayout& layout = *RecordLayout::of(format);
  for (unsigned index = 0; index < 500; ++index) {
    SCOPED_TRACE(index);
    const ScanBytes::Point written = ScanBytes::variedPoint(index, format);
    Bytes record;
    ScanBytes::addRecord(record, format, written);
    const LasPoint decoded = layout.decode(record.data());
    expectCore(decoded, written);
    expectFlags(decoded, written);
    expectOptional(decoded, written, format);
    Bytes encoded(record.size() + 1, 0xA5);
    layout.encode(decoded, encoded.data());
    EXPECT_EQ(encoded.back(), 0xA5) << "written beyond the record";
    encoded.pop_back();
    ASSERT_THAT(encoded, ElementsAreArray(record));
  }
}

TEST(LasFormat, aPointFormatAboveTenHasNoLayout) {
  EXPECT_EQ(RecordLayout::of(11), nullptr);
  EXPECT_EQ(RecordLayout::of(63), nullptr);
  EXPECT_EQ(RecordLayout::of(0x80U), nullptr);
}

TEST(LasFormat, valuesTooLargeForTheirFieldChangeNoOther) {
  LasPoint point;
  point.classification = 66;
  point.returnNumber = 9;
  point.returnCount = 15;
  std::array<unsigned char, 20> record{};
  RecordLayout::of(0)->encode(point, record.data());
  EXPECT_EQ(record[15], 66 % 32);
  EXPECT_EQ(record[14], (9 % 8) + (15 % 8) * 8);
}

// Every byte of the public header block of LAS 1.4, each field with a different value.
Bytes fullHeader() {
  Bytes bytes;
  bytes.addText("LASF");
  bytes.add(std::uint16_t{0x1234});
  bytes.add(std::uint16_t{0x0011});
  for (unsigned char byte = 1; byte <= 16; ++byte) {
    bytes.add(byte);
  }
  bytes.add(std::uint8_t{1});
  bytes.add(std::uint8_t{4});
  bytes.addText(std::string("system") + std::string(26, '\0'));
  bytes.addText(std::string("software") + std::string(24, '\0'));
  bytes.add(std::uint16_t{321});
  bytes.add(std::uint16_t{2024});
  bytes.add(std::uint16_t{375});
  bytes.add(std::uint32_t{5000});
  bytes.add(std::uint32_t{3});
  bytes.add(std::uint8_t{7});
  bytes.add(std::uint16_t{41});
  bytes.add(std::uint32_t{100});
  for (std::uint32_t count = 1; count <= 5; ++count) {
    bytes.add(count * 1000);
  }
  for (int value = 1; value <= 12; ++value) {
    bytes.add(value * 1.25);
  }
  bytes.add(std::uint64_t{0x1122334455667788});
  bytes.add(std::uint64_t{0x0102030405060708});
  bytes.add(std::uint32_t{77});
  bytes.add(std::uint64_t{5000000000});
  for (std::uint64_t count = 1; count <= 15; ++count) {
    bytes.add(count * 6000000000U);
  }
  return bytes;
}

TEST(LasFormat, theHeaderOfLas14IsReadFieldByField) {
  const Bytes bytes = fullHeader();
  ASSERT_EQ(bytes.size(), 375U);
  const LasHeader header = LasHeader::parse(bytes.data(), bytes.size());
  EXPECT_EQ(header.fileSource, 0x1234);
  EXPECT_EQ(header.globalEncoding, 0x11);
  EXPECT_EQ(header.projectId[15], 16);
  EXPECT_STREQ(header.systemIdentifier.data(), "system");
  EXPECT_STREQ(header.generatingSoftware.data(), "software");
  EXPECT_EQ(header.creationDayOfYear, 321);
  EXPECT_EQ(header.creationYear, 2024);
  EXPECT_EQ(header.headerLengthBytes, 375);
  EXPECT_EQ(header.pointDataOffsetBytes, 5000U);
  EXPECT_EQ(header.variableRecordCount, 3U);
  EXPECT_EQ(header.pointFormat, 7);
  EXPECT_EQ(header.recordLengthBytes, 41);
  EXPECT_EQ(header.legacyPointCount, 100U);
  EXPECT_EQ(header.legacyPointsByReturn[4], 5000U);
  EXPECT_THAT(header.scale, ElementsAreArray({1.25, 2.5, 3.75}));
  EXPECT_THAT(header.offset, ElementsAreArray({5.0, 6.25, 7.5}));
  EXPECT_THAT(header.maximumMinimum[0], ElementsAreArray({8.75, 10.0}));
  EXPECT_THAT(header.maximumMinimum[2], ElementsAreArray({13.75, 15.0}));
  EXPECT_EQ(header.waveformOffsetBytes, 0x1122334455667788U);
  EXPECT_EQ(header.extendedRecordsOffsetBytes, 0x0102030405060708U);
  EXPECT_EQ(header.extendedRecordCount, 77U);
  EXPECT_EQ(header.extendedPointCount, 5000000000U);
  EXPECT_EQ(header.extendedPointsByReturn[14], 90000000000U);
}

TEST(LasFormat, aHeaderOfAnyVersionIsWrittenBackAsItWas) {
  for (const unsigned minor : {0U, 1U, 2U, 3U, 4U}) {
    SCOPED_TRACE(minor);
    Bytes bytes = fullHeader();
    bytes[25] = static_cast<unsigned char>(minor);
    bytes.set(94, static_cast<std::uint16_t>(ScanBytes::headerLength(minor)));
    const LasHeader header = LasHeader::parse(bytes.data(), bytes.size());
    bytes.resize(ScanBytes::headerLength(minor));
    EXPECT_THAT(header.write(), ElementsAreArray(bytes));
  }
}

TEST(LasFormat, fieldsOfLaterVersionsReadAsZero) {
  Bytes bytes = fullHeader();
  bytes[25] = 3;
  const LasHeader las13 = LasHeader::parse(bytes.data(), bytes.size());
  EXPECT_EQ(las13.waveformOffsetBytes, 0x1122334455667788U);
  EXPECT_EQ(las13.extendedPointCount, 0U);
  bytes[25] = 2;
  EXPECT_EQ(LasHeader::parse(bytes.data(), bytes.size()).waveformOffsetBytes, 0U);
}

TEST(LasFormat, aHeaderCutShortLeavesWhatIsMissingAtZero) {
  const Bytes bytes = fullHeader();
  const LasHeader header = LasHeader::parse(bytes.data(), 107);
  EXPECT_EQ(header.recordLengthBytes, 41);
  EXPECT_EQ(header.legacyPointCount, 0U);
  EXPECT_EQ(header.scale[0], 0.0);
}

TEST(LasFormat, aLongerHeaderIsWrittenWithZerosBehindItsFields) {
  LasHeader header;
  header.versionMinor = 2;
  header.headerLengthBytes = 240;
  const std::vector<unsigned char> bytes = header.write();
  ASSERT_EQ(bytes.size(), 240U);
  EXPECT_TRUE(std::all_of(bytes.begin() + 227, bytes.end(), [](unsigned char byte) { return byte == 0; }));
}

TEST(LasFormat, furtherBytesOfALongerHeaderAreReadAndWrittenBack) {
  Bytes bytes = ScanBytes::header({2, 1}, 5);
  bytes.set(94, std::uint16_t{230});
  bytes.insert(bytes.end(), {7, 8, 9, 250});
  const LasHeader header = LasHeader::parse(bytes.data(), bytes.size());
  EXPECT_THAT(header.furtherBytes, testing::ElementsAre(7, 8, 9));
  bytes.resize(230);
  EXPECT_THAT(header.write(), ElementsAreArray(bytes));
  EXPECT_THAT(LasHeader::parse(bytes.data(), 228).furtherBytes, testing::ElementsAre(7));
  EXPECT_TRUE(LasHeader::parse(bytes.data(), 226).furtherBytes.empty());
}

TEST(LasFormat, furtherBytesBeyondTheHeadersLengthAreNotWritten) {
  LasHeader header;
  header.headerLengthBytes = 377;
  header.furtherBytes = {7, 8, 9};
  const std::vector<unsigned char> bytes = header.write();
  ASSERT_EQ(bytes.size(), 377U);
  EXPECT_EQ(bytes[376], 8);
}

TEST(LasFormat, theHeaderOfAVariableLengthRecordHoldsUserIdRecordIdAndLength) {
  Bytes bytes(2);
  bytes.addText("sixteen letters!");
  bytes.add(std::uint16_t{4242});
  bytes.add(std::uint16_t{65535});
  bytes.resize(60, 0xFF);
  const LasRecordHead head = LasRecordHead::parse(bytes.data(), false);
  EXPECT_TRUE(head.is("sixteen letters!", 4242));
  EXPECT_FALSE(head.is("sixteen letters", 4242));
  EXPECT_FALSE(head.is("sixteen letters!", 4243));
  EXPECT_EQ(head.contentBytes, 65535U);
  EXPECT_EQ(LasRecordHead::parse(bytes.data(), true).contentBytes, 0xFFFFFFFFFFFFFFFFU);
}

TEST(LasFormat, aUserIdShorterThanItsFieldEndsAtTheFirstZero) {
  Bytes bytes(60);
  bytes[2] = 'a';
  bytes[4] = 'b';
  EXPECT_TRUE(LasRecordHead::parse(bytes.data(), true).is("a", 0));
  EXPECT_FALSE(LasRecordHead::parse(bytes.data(), true).is("", 0));
}

TEST(LasFormat, theSixtyFourBitCountHoldsUnlessItIsZero) {
  LasHeader header;
  header.legacyPointCount = 5;
  EXPECT_EQ(header.pointCount(), 5U);
  header.extendedPointCount = 6000000000;
  EXPECT_EQ(header.pointCount(), 6000000000U);
}

TEST(LasFormat, theUpperBitsOfTheFormatMarkCompression) {
  LasHeader header;
  header.pointFormat = 3;
  EXPECT_FALSE(header.compressed());
  header.pointFormat = 0x83;
  EXPECT_TRUE(header.compressed());
  EXPECT_EQ(header.plainFormat(), 3U);
  header.pointFormat = 0x41;
  EXPECT_TRUE(header.compressed());
  EXPECT_EQ(header.plainFormat(), 1U);
}

TEST(LasFormat, messagesNameAFieldWithItsOffset) {
  EXPECT_EQ(QuorViewer::lasHeaderPlace(&LasHeader::pointFormat), "at byte 104 (field \"point data record format\")");
  EXPECT_EQ(QuorViewer::lasHeaderPlace(&LasHeader::extendedPointCount),
            "at byte 247 (field \"number of point records, 64 bits\")");
}

}  // namespace
