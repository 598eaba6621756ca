#include "scan/formats/LazChunkTable.h"

#include "scan/formats/ArithmeticDecoder.h"

#include <limits>
#include <utility>

namespace QuorViewer {

namespace {

constexpr std::uint64_t kHeaderBytes = 8;

class TableReader {
 public:
  TableReader(const ScanFile& file, const LazTablePlace& place) : _file(file), _place(place), _bytes(file) {}

  LazChunkTable run() {
    _bytes.moveTo(_place.offset + kHeaderBytes, 0);
    ArithmeticDecoder decoder(_bytes);
    IntegerModels models;
    std::uint32_t points = 0;
    std::uint32_t bytes = 0;
    LazChunk end{_place.firstChunk, 0};
    _table.push_back(end);
    while (_table.size() <= _place.chunks) {
      points = decoder.integer(models, 0, points);
      bytes = decoder.integer(models, 1, bytes);
      _check(end, points, bytes);
      end.offset += bytes;
      end.firstPoint += points;
      _table.push_back(end);
    }
    return std::move(_table);
  }

 private:
  // Because every chunk has a least size, the table never takes up much more memory than the file has bytes.
  void _check(const LazChunk& begin, std::uint32_t points, std::uint32_t bytes) const {
    if (points == 0) {
      _fail("0 points found");
    }
    if (points > std::numeric_limits<std::uint32_t>::max() - begin.firstPoint) {
      _fail("the chunks hold more than " + std::to_string(std::numeric_limits<std::uint32_t>::max()) + " points");
    }
    if (bytes < _place.recordBytes) {
      _fail(std::to_string(bytes) + " bytes found, a record alone has " + std::to_string(_place.recordBytes));
    }
    if (bytes > _place.offset - begin.offset) {
      _fail(std::to_string(bytes) + " bytes found, " + std::to_string(_place.offset - begin.offset) +
            " left before the table");
    }
  }

  [[noreturn]] void _fail(const std::string& comparison) const {
    throw _file.error("the chunk table is damaged, at byte " + std::to_string(_place.offset) + " (field \"chunk " +
                      std::to_string(_table.size() - 1) + "\"): " + comparison);
  }

  const ScanFile& _file;
  const LazTablePlace& _place;
  SequentialBytes _bytes;
  LazChunkTable _table;
};

}  // namespace

LazChunkTable readLazChunkTable(const ScanFile& file, const LazTablePlace& place) {
  return TableReader(file, place).run();
}

}  // namespace QuorViewer
