#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <vector>

namespace QuorViewer {

/// Length in bytes of the public header block of LAS 1.`versionMinor`, the least valid value of its own size field.
constexpr std::uint16_t lasHeaderLengthBytes(unsigned versionMinor) {
  return versionMinor >= 4 ? 375 : versionMinor == 3 ? 235 : 227;
}

/// Length of the longest public header block known, that of LAS 1.4.
constexpr std::uint16_t kLasHeaderMostBytes = lasHeaderLengthBytes(4);

/// The public header block at the start of a LAS file, compressed or not: LAS 1.0 to 1.4, as stored, unchecked. Fields
/// that the stated version does not have are 0.
struct LasHeader {
  std::array<char, 4> signature = {'L', 'A', 'S', 'F'};
  std::uint16_t fileSource = 0;
  std::uint16_t globalEncoding = 0;
  std::array<unsigned char, 16> projectId{};
  std::uint8_t versionMajor = 1;
  std::uint8_t versionMinor = 4;
  std::array<char, 32> systemIdentifier{};  ///< padded with zero bytes
  std::array<char, 32> generatingSoftware{};
  std::uint16_t creationDayOfYear = 0;
  std::uint16_t creationYear = 0;
  std::uint16_t headerLengthBytes = kLasHeaderMostBytes;
  std::uint32_t pointDataOffsetBytes = kLasHeaderMostBytes;
  std::uint32_t variableRecordCount = 0;
  std::uint8_t pointFormat = 0;  ///< 0 to 10; bit 7 (in early files bit 6) is also set if points are compressed
  std::uint16_t recordLengthBytes = 0;
  std::uint32_t legacyPointCount = 0;
  std::array<std::uint32_t, 5> legacyPointsByReturn{};
  std::array<double, 3> scale{};                          ///< x, y, z; a coordinate is integer × scale + offset
  std::array<double, 3> offset{};                         ///< x, y, z
  std::array<std::array<double, 2>, 3> maximumMinimum{};  ///< for x, y, z: greatest, least; often wrong in real files
  std::uint64_t waveformOffsetBytes = 0;                  ///< 1.3 and later
  std::uint64_t extendedRecordsOffsetBytes = 0;           ///< 1.4, like all that follow
  std::uint32_t extendedRecordCount = 0;
  std::uint64_t extendedPointCount = 0;
  std::array<std::uint64_t, 15> extendedPointsByReturn{};
  std::vector<unsigned char> furtherBytes;  ///< bytes after all fields, in a header longer than its version's

  /// Reads the fields that lie within `size` bytes and exist in the version stated there; the others stay 0. Further
  /// bytes are read as far as they are present.
  static LasHeader parse(const unsigned char* bytes, std::size_t size);

  /// `headerLengthBytes` bytes, at least the version's length; further bytes that are missing are 0.
  std::vector<unsigned char> write() const;

  /// The valid count: 1.4 stores it in 64 bits and leaves the older field 0 if that is too small or forbidden, but some
  /// writers fill only the older one.
  std::uint64_t pointCount() const;

  bool compressed() const { return (pointFormat & 0xC0U) != 0; }

  /// The point format without the bits that mark compression.
  unsigned plainFormat() const { return pointFormat & 0x3FU; }
};

/// The offset of a header field and its name for messages.
template <typename T>
struct LasHeaderField {
  std::size_t offset;
  T LasHeader::*member;
  const char* name;
};

template <typename T>
LasHeaderField(int, T LasHeader::*, const char*) -> LasHeaderField<T>;

/// All header fields, in file order. Reading, writing and messages use this table.
inline constexpr auto kLasHeaderFields = std::make_tuple(
    LasHeaderField{0, &LasHeader::signature, "file signature"},
    LasHeaderField{4, &LasHeader::fileSource, "file source ID"},
    LasHeaderField{6, &LasHeader::globalEncoding, "global encoding"},
    LasHeaderField{8, &LasHeader::projectId, "project ID"},
    LasHeaderField{24, &LasHeader::versionMajor, "version major"},
    LasHeaderField{25, &LasHeader::versionMinor, "version minor"},
    LasHeaderField{26, &LasHeader::systemIdentifier, "system identifier"},
    LasHeaderField{58, &LasHeader::generatingSoftware, "generating software"},
    LasHeaderField{90, &LasHeader::creationDayOfYear, "file creation day of year"},
    LasHeaderField{92, &LasHeader::creationYear, "file creation year"},
    LasHeaderField{94, &LasHeader::headerLengthBytes, "header size"},
    LasHeaderField{96, &LasHeader::pointDataOffsetBytes, "offset to point data"},
    LasHeaderField{100, &LasHeader::variableRecordCount, "number of variable length records"},
    LasHeaderField{104, &LasHeader::pointFormat, "point data record format"},
    LasHeaderField{105, &LasHeader::recordLengthBytes, "point data record length"},
    LasHeaderField{107, &LasHeader::legacyPointCount, "number of point records"},
    LasHeaderField{111, &LasHeader::legacyPointsByReturn, "number of points by return"},
    LasHeaderField{131, &LasHeader::scale, "scale factor"}, LasHeaderField{155, &LasHeader::offset, "offset"},
    LasHeaderField{179, &LasHeader::maximumMinimum, "maximum and minimum"},
    LasHeaderField{227, &LasHeader::waveformOffsetBytes, "start of waveform data packet record"},
    LasHeaderField{235, &LasHeader::extendedRecordsOffsetBytes, "start of first extended variable length record"},
    LasHeaderField{243, &LasHeader::extendedRecordCount, "number of extended variable length records"},
    LasHeaderField{247, &LasHeader::extendedPointCount, "number of point records, 64 bits"},
    LasHeaderField{255, &LasHeader::extendedPointsByReturn, "number of points by return, 64 bits"});

/// `at byte 104 (field "point data record format")`, for messages.
template <typename T>
std::string lasHeaderPlace(T LasHeader::*member) {
  std::string place;
  const auto compare = [&](const auto& field) {
    if constexpr (std::is_same_v<decltype(field.member), T LasHeader::*>) {
      if (field.member == member) {
        place = "at byte " + std::to_string(field.offset) + " (field \"" + field.name + "\")";
      }
    }
  };
  std::apply([&](const auto&... field) { (compare(field), ...); }, kLasHeaderFields);
  return place;
}

/// The start of a variable length record, extended or not.
struct LasRecordHead {
  static constexpr std::size_t kBytes = 54;
  static constexpr std::size_t kExtendedBytes = 60;  ///< after the points, with a length of 64 bits

  std::array<char, 16> userId{};
  std::uint16_t recordId = 0;
  std::uint64_t contentBytes = 0;  ///< that follow the head

  /// Reads `kBytes` or `kExtendedBytes` bytes.
  static LasRecordHead parse(const unsigned char* bytes, bool extended);

  bool is(std::string_view user, std::uint16_t record) const;
};

/// The variable length record that describes the compression.
inline constexpr std::string_view kCompressionUserId = "laszip encoded";
inline constexpr std::uint16_t kCompressionRecordId = 22204;

/// One point as stored in its record.
struct LasPoint {
  std::int32_t x = 0;  ///< steps of the header's scale, like y and z
  std::int32_t y = 0;
  std::int32_t z = 0;
  std::uint16_t intensity = 0;
  std::uint8_t returnNumber = 0;  ///< at most 7 in formats 0 to 5, 15 in 6 to 10; the same for `returnCount`
  std::uint8_t returnCount = 0;
  std::uint8_t classification = 0;  ///< at most 31 in formats 0 to 5
  bool synthetic = false;
  bool keyPoint = false;
  bool withheld = false;
  bool overlap = false;             ///< formats 6 to 10
  std::uint8_t scannerChannel = 0;  ///< 0 to 3, formats 6 to 10
  bool scanDirection = false;
  bool edgeOfFlightLine = false;
  std::int16_t scanAngle = 0;  ///< whole degrees (-128 to 127) in formats 0 to 5, steps of 0.006 degrees in 6 to 10
  std::uint8_t userData = 0;
  std::uint16_t pointSource = 0;
  double gpsTime = 0;                          ///< formats 1 and 3 to 10
  std::array<std::uint16_t, 3> colour{};       ///< red, green, blue: formats 2, 3, 5, 7, 8, 10
  std::uint16_t nearInfrared = 0;              ///< formats 8, 10
  std::array<unsigned char, 29> wavePacket{};  ///< formats 4, 5, 9, 10, not decoded
};

/// Offsets of the fields of one point format in its record. An offset of 0 means that the format lacks the field.
struct RecordLayout {
  std::uint8_t format;
  std::uint16_t lengthBytes;  ///< the minimum; everything beyond it in a file's records is extra bytes
  std::uint16_t gpsTimeOffset;
  std::uint16_t colourOffset;
  std::uint16_t nearInfraredOffset;
  std::uint16_t wavePacketOffset;
  std::uint8_t classificationOffset;
  std::uint8_t classificationBits;
  std::uint8_t returnBits;  ///< of the return number, lowest in byte 14, and of the number of returns, just above it

  /// The layout of a format, null for a format above 10.
  static const RecordLayout* of(unsigned format);

  /// True for formats 6 to 10, whose first 30 bytes differ from those of 0 to 5.
  bool extended() const { return format >= 6; }

  /// Reads the `lengthBytes` bytes of a record.
  LasPoint decode(const unsigned char* record) const;

  /// Writes the `lengthBytes` bytes of a record. Fields that the format lacks are omitted; values too large for their
  /// field lose their upper bits.
  void encode(const LasPoint& point, unsigned char* record) const;
};

inline constexpr unsigned kLasFormatCount = 11;
inline constexpr std::size_t kIntensityOffset = 12;
inline constexpr std::size_t kReturnsOffset = 14;

}  // namespace QuorViewer
