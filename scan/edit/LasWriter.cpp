#include "scan/edit/LasWriter.h"

#include "scan/LittleEndian.h"
#include "scan/platform/Platform.h"

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <filesystem>
#include <limits>
#include <system_error>

namespace QuorViewer {

namespace {

constexpr std::uint64_t kLegacyMost = std::numeric_limits<std::uint32_t>::max();

}  // namespace

LasWriter::LasWriter(std::string path, const LasHeader& header, const std::vector<unsigned char>& variableRecords)
    : _path(std::move(path)), _part(partPath(_path)), _header(header) {
  const RecordLayout* layout = RecordLayout::of(header.pointFormat);
  if (!layout || header.recordLengthBytes < layout->lengthBytes) {
    _fail("unsupported point format or record length");
  }
  _returnMask = (1U << layout->returnBits) - 1U;
  _header.headerLengthBytes = std::max(header.headerLengthBytes, lasHeaderLengthBytes(header.versionMinor));
  const std::size_t before = _header.headerLengthBytes + variableRecords.size();
  if (before > kLegacyMost) {
    _fail("more than 4294967295 bytes before the points");
  }
  _header.pointDataOffsetBytes = std::max(header.pointDataOffsetBytes, static_cast<std::uint32_t>(before));
  _header.waveformOffsetBytes = _header.extendedRecordsOffsetBytes = 0;
  _header.extendedRecordCount = 0;
  _open();
  const std::vector<unsigned char> room(_header.headerLengthBytes);
  _write(room.data(), room.size());
  _write(variableRecords.data(), variableRecords.size());
  _seek(_header.pointDataOffsetBytes);
  _endOffsetBytes = _header.pointDataOffsetBytes;
}

void LasWriter::_open() {
  std::error_code ignored;
  const std::filesystem::file_status status = std::filesystem::status(toPath(_path), ignored);
  if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
    _fail("not a regular file");
  }
  errno = 0;
  _file.open(_part.path(), std::ios::binary | std::ios::trunc);
  if (!_file) {
    _failBySystem();
  }
  _part.opened();
}

LasWriter::PartFile::~PartFile() {
  if (!_present) {
    return;
  }
  std::error_code ignored;
  std::filesystem::remove(toPath(_path), ignored);
}

void LasWriter::append(const unsigned char* records, std::size_t count) {
  assert(_endOffsetBytes == _header.pointDataOffsetBytes + _pointCount * _header.recordLengthBytes);
  if (_header.versionMinor < 4 && _pointCount + count > kLegacyMost) {
    _fail("before version 1.4 a file holds at most " + std::to_string(kLegacyMost) + " points");
  }
  for (std::size_t record = 0; record < count; ++record) {
    _count(records + record * _header.recordLengthBytes);
  }
  _writeAtEnd(records, count * _header.recordLengthBytes);
}

void LasWriter::_writeAtEnd(const unsigned char* bytes, std::size_t count) {
  _write(bytes, count);
  _endOffsetBytes += count;
}

void LasWriter::_count(const unsigned char* record) {
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const auto value = loadLittle<std::int32_t>(record + 4 * axis);
    _least[axis] = _pointCount == 0 ? value : std::min(_least[axis], value);
    _greatest[axis] = _pointCount == 0 ? value : std::max(_greatest[axis], value);
  }
  ++_byReturn[record[kReturnsOffset] & _returnMask];
  ++_pointCount;
}

// Formats 6 and up store their counts only in 64 bits; so do files with more points than the older fields can hold.
void LasWriter::_setCounts(LasHeader& header) const {
  header.extendedPointCount = 0;
  header.extendedPointsByReturn = {};
  if (header.versionMinor >= 4) {
    header.extendedPointCount = _pointCount;
    std::copy_n(_byReturn.begin() + 1, header.extendedPointsByReturn.size(), header.extendedPointsByReturn.begin());
  }
  header.legacyPointCount = 0;
  header.legacyPointsByReturn = {};
  if (header.pointFormat >= 6 || _pointCount > kLegacyMost) {
    return;
  }
  header.legacyPointCount = static_cast<std::uint32_t>(_pointCount);
  for (std::size_t place = 0; place < header.legacyPointsByReturn.size(); ++place) {
    header.legacyPointsByReturn[place] = static_cast<std::uint32_t>(_byReturn[place + 1]);
  }
}

LasHeader LasWriter::header() const {
  LasHeader result = _header;
  _setCounts(result);
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const auto coordinate = [&](std::int32_t value) {
      return _pointCount == 0 ? 0.0 : value * result.scale[axis] + result.offset[axis];
    };
    // A negative scale reverses the order.
    const double first = coordinate(_least[axis]);
    const double second = coordinate(_greatest[axis]);
    result.maximumMinimum[axis] = {std::max(first, second), std::min(first, second)};
  }
  return result;
}

void LasWriter::finish(const LasHeader& header) {
  _seek(0);
  const std::vector<unsigned char> bytes = header.write();
  _write(bytes.data(), bytes.size());
  errno = 0;
  _file.close();
  if (!_file) {
    _failBySystem();
  }
  std::error_code error;
  // A gap with nothing after it must still be as long as the header says.
  if (_pointCount == 0) {
    std::filesystem::resize_file(toPath(_part.path()), _endOffsetBytes, error);
  }
  if (!error) {
    std::filesystem::rename(toPath(_part.path()), toPath(_path), error);
  }
  if (error) {
    _fail(error.message());
  }
  _part.renamed();
}

// Seeking also writes out the stream's buffer.
void LasWriter::_seek(std::uint64_t offset) {
  errno = 0;
  _file.seekp(static_cast<std::streamoff>(offset));
  if (!_file) {
    _failBySystem();
  }
}

void LasWriter::_write(const unsigned char* bytes, std::size_t count) {
  errno = 0;
  _file.write(reinterpret_cast<const char*>(bytes), static_cast<std::streamsize>(count));
  if (!_file) {
    _failBySystem();
  }
}

void LasWriter::_fail(const std::string& reason) const {
  throw ScanWriteError("cannot write " + _path + ": " + reason);
}

void LasWriter::_failBySystem() const {
  _fail(errno != 0 ? std::generic_category().message(errno) : std::string("unknown system error"));
}

}  // namespace QuorViewer
