#include "scan/formats/LasFormat.h"

#include "scan/LittleEndian.h"

#include <algorithm>

namespace QuorViewer {

namespace {

template <typename Visitor>
void forEachField(const Visitor& visit) {
  std::apply([&](const auto&... field) { (visit(field), ...); }, kLasHeaderFields);
}

template <typename T>
constexpr std::size_t endOf(const LasHeaderField<T>& field) {
  return field.offset + sizeof(T);
}

// Format, length, GPS time, colour, near infrared, wave packet, classification's offset and width, width of returns.
constexpr std::array<RecordLayout, kLasFormatCount> kLayouts = {{
    {0, 20, 0, 0, 0, 0, 15, 5, 3},
    {1, 28, 20, 0, 0, 0, 15, 5, 3},
    {2, 26, 0, 20, 0, 0, 15, 5, 3},
    {3, 34, 20, 28, 0, 0, 15, 5, 3},
    {4, 57, 20, 0, 0, 28, 15, 5, 3},
    {5, 63, 20, 28, 0, 34, 15, 5, 3},
    {6, 30, 22, 0, 0, 0, 16, 8, 4},
    {7, 36, 22, 30, 0, 0, 16, 8, 4},
    {8, 38, 22, 30, 36, 0, 16, 8, 4},
    {9, 59, 22, 0, 0, 30, 16, 8, 4},
    {10, 67, 22, 30, 36, 38, 16, 8, 4},
}};

constexpr std::size_t kFlagsOffset = 15;
constexpr std::size_t kUserDataOffset = 17;

bool bit(unsigned value, unsigned place) {
  return ((value >> place) & 1U) != 0;
}

unsigned atBit(bool value, unsigned place) {
  return static_cast<unsigned>(value) << place;
}

// Synthetic, key point, withheld (and overlap) are in this order, above the class in the old layout.
void decodeClassFlags(unsigned flags, LasPoint& point) {
  point.synthetic = bit(flags, 0);
  point.keyPoint = bit(flags, 1);
  point.withheld = bit(flags, 2);
}

unsigned encodeClassFlags(const LasPoint& point) {
  return atBit(point.synthetic, 0) | atBit(point.keyPoint, 1) | atBit(point.withheld, 2);
}

void decodeEdgeFlags(unsigned byte, LasPoint& point) {
  point.scanDirection = bit(byte, 6);
  point.edgeOfFlightLine = bit(byte, 7);
}

unsigned encodeEdgeFlags(const LasPoint& point) {
  return atBit(point.scanDirection, 6) | atBit(point.edgeOfFlightLine, 7);
}

void storeByte(unsigned value, unsigned char* byte) {
  *byte = static_cast<unsigned char>(value & 0xFFU);
}

void decodeOldFlags(const unsigned char* record, LasPoint& point) {
  decodeEdgeFlags(record[kReturnsOffset], point);
  decodeClassFlags(record[kFlagsOffset] >> 5U, point);
  point.scanAngle = static_cast<std::int16_t>(record[16] - (record[16] < 128 ? 0 : 256));
  loadLittle(record + 18, point.pointSource);
}

void encodeOldFlags(const LasPoint& point, unsigned char* record) {
  storeByte(record[kReturnsOffset] | encodeEdgeFlags(point), record + kReturnsOffset);
  storeByte(record[kFlagsOffset] | encodeClassFlags(point) << 5U, record + kFlagsOffset);
  storeLittle(static_cast<std::int8_t>(point.scanAngle), record + 16);
  storeLittle(point.pointSource, record + 18);
}

void decodeExtendedFlags(const unsigned char* record, LasPoint& point) {
  const unsigned flags = record[kFlagsOffset];
  decodeEdgeFlags(flags, point);
  decodeClassFlags(flags, point);
  point.overlap = bit(flags, 3);
  point.scannerChannel = static_cast<std::uint8_t>(flags >> 4U & 3U);
  loadLittle(record + 18, point.scanAngle);
  loadLittle(record + 20, point.pointSource);
}

void encodeExtendedFlags(const LasPoint& point, unsigned char* record) {
  storeByte(
      encodeClassFlags(point) | atBit(point.overlap, 3) | (point.scannerChannel & 3U) << 4U | encodeEdgeFlags(point),
      record + kFlagsOffset);
  storeLittle(point.scanAngle, record + 18);
  storeLittle(point.pointSource, record + 20);
}

template <typename T>
void decodeOptional(const unsigned char* record, std::size_t offset, T& value) {
  if (offset != 0) {
    loadLittle(record + offset, value);
  }
}

template <typename T>
void encodeOptional(const T& value, std::size_t offset, unsigned char* record) {
  if (offset != 0) {
    storeLittle(value, record + offset);
  }
}

}  // namespace

LasHeader LasHeader::parse(const unsigned char* bytes, std::size_t size) {
  LasHeader header;
  forEachField([&](const auto& field) { header.*field.member = {}; });
  const auto readUpTo = [&](std::size_t end) {
    forEachField([&](const auto& field) {
      if (endOf(field) <= end) {
        loadLittle(bytes + field.offset, header.*field.member);
      }
    });
  };
  const std::size_t common = std::min<std::size_t>(size, lasHeaderLengthBytes(0));
  readUpTo(common);
  const std::size_t fieldsEnd = lasHeaderLengthBytes(header.versionMinor);
  readUpTo(std::min(size, fieldsEnd));
  const std::size_t end = std::min<std::size_t>(size, header.headerLengthBytes);
  if (end > fieldsEnd) {
    header.furtherBytes.assign(bytes + fieldsEnd, bytes + end);
  }
  return header;
}

std::vector<unsigned char> LasHeader::write() const {
  const std::uint16_t versionLength = lasHeaderLengthBytes(versionMinor);
  std::vector<unsigned char> bytes(std::max(headerLengthBytes, versionLength));
  forEachField([&](const auto& field) {
    if (endOf(field) <= versionLength) {
      storeLittle(this->*field.member, bytes.data() + field.offset);
    }
  });
  std::copy_n(furtherBytes.begin(), std::min(furtherBytes.size(), bytes.size() - versionLength),
              bytes.begin() + versionLength);
  return bytes;
}

std::uint64_t LasHeader::pointCount() const {
  return extendedPointCount != 0 ? extendedPointCount : legacyPointCount;
}

LasRecordHead LasRecordHead::parse(const unsigned char* bytes, bool extended) {
  LasRecordHead head;
  loadLittle(bytes + 2, head.userId);
  loadLittle(bytes + 18, head.recordId);
  head.contentBytes = extended ? loadLittle<std::uint64_t>(bytes + 20) : loadLittle<std::uint16_t>(bytes + 20);
  return head;
}

bool LasRecordHead::is(std::string_view user, std::uint16_t record) const {
  const auto end = std::find(userId.begin(), userId.end(), '\0');
  return recordId == record && std::equal(userId.begin(), end, user.begin(), user.end());
}

const RecordLayout* RecordLayout::of(unsigned format) {
  return format < kLayouts.size() ? &kLayouts[format] : nullptr;
}

LasPoint RecordLayout::decode(const unsigned char* record) const {
  LasPoint point;
  loadLittle(record, point.x);
  loadLittle(record + 4, point.y);
  loadLittle(record + 8, point.z);
  loadLittle(record + kIntensityOffset, point.intensity);
  const unsigned returnMask = (1U << returnBits) - 1U;
  point.returnNumber = static_cast<std::uint8_t>(record[kReturnsOffset] & returnMask);
  point.returnCount = static_cast<std::uint8_t>(record[kReturnsOffset] >> returnBits & returnMask);
  point.classification = static_cast<std::uint8_t>(record[classificationOffset] & ((1U << classificationBits) - 1U));
  point.userData = record[kUserDataOffset];
  extended() ? decodeExtendedFlags(record, point) : decodeOldFlags(record, point);
  decodeOptional(record, gpsTimeOffset, point.gpsTime);
  decodeOptional(record, colourOffset, point.colour);
  decodeOptional(record, nearInfraredOffset, point.nearInfrared);
  decodeOptional(record, wavePacketOffset, point.wavePacket);
  return point;
}

void RecordLayout::encode(const LasPoint& point, unsigned char* record) const {
  storeLittle(point.x, record);
  storeLittle(point.y, record + 4);
  storeLittle(point.z, record + 8);
  storeLittle(point.intensity, record + kIntensityOffset);
  const unsigned returnMask = (1U << returnBits) - 1U;
  storeByte((point.returnNumber & returnMask) | (point.returnCount & returnMask) << returnBits,
            record + kReturnsOffset);
  storeByte(point.classification & ((1U << classificationBits) - 1U), record + classificationOffset);
  storeLittle(point.userData, record + kUserDataOffset);
  extended() ? encodeExtendedFlags(point, record) : encodeOldFlags(point, record);
  encodeOptional(point.gpsTime, gpsTimeOffset, record);
  encodeOptional(point.colour, colourOffset, record);
  encodeOptional(point.nearInfrared, nearInfraredOffset, record);
  encodeOptional(point.wavePacket, wavePacketOffset, record);
}

}  // namespace QuorViewer
