#include "scan/ScanFileBuffer.h"

namespace QuorViewer {

ScanFileBuffer::int_type ScanFileBuffer::underflow() {
  const std::size_t count =
      _file.readAvailable(_bufferEnd, reinterpret_cast<unsigned char*>(_buffer.data()), _buffer.size());
  _bufferEnd += count;
  setg(_buffer.data(), _buffer.data(), _buffer.data() + count);
  return count > 0 ? traits_type::to_int_type(_buffer[0]) : traits_type::eof();
}

ScanFileBuffer::pos_type ScanFileBuffer::seekoff(off_type offset, std::ios_base::seekdir from,
                                                 std::ios_base::openmode which) {
  const std::uint64_t base = from == std::ios_base::beg ? 0 : from == std::ios_base::end ? _file.size() : _position();
  return seekpos(static_cast<off_type>(base) + offset, which);
}

ScanFileBuffer::pos_type ScanFileBuffer::seekpos(pos_type position, std::ios_base::openmode /*which*/) {
  const auto wanted = static_cast<off_type>(position);
  if (wanted < 0 || static_cast<std::uint64_t>(wanted) > _file.size()) {
    return {off_type{-1}};
  }
  const std::uint64_t bufferStart = _bufferEnd - static_cast<std::uint64_t>(egptr() - eback());
  const auto target = static_cast<std::uint64_t>(wanted);
  if (target >= bufferStart && target <= _bufferEnd) {
    setg(eback(), eback() + (target - bufferStart), egptr());
  } else {
    setg(nullptr, nullptr, nullptr);
    _bufferEnd = target;
  }
  return position;
}

}  // namespace QuorViewer
