#include "ScanLoader.h"

#include <algorithm>
#include <utility>

namespace QuorViewer {
namespace {

// A block takes a few milliseconds to decode, also from a compressed file; a chunk is what the graphics card draws at
// once.
constexpr std::uint64_t kBlockPoints = 32768;
constexpr std::size_t kChunkPoints = 1048576;
constexpr std::size_t kSampleValues = 65536;
constexpr std::size_t kSamplePlaces = 16384;

template <typename Array>
void append(Array& to, const Array& from) {
  to.insert(to.end(), from.begin(), from.end());
}

void append(PointChunk& to, const PointChunk& from) {
  append(*to.positions, *from.positions);
  append(*to.colours, *from.colours);
  append(*to.intensities, *from.intensities);
  append(*to.classesReturns, *from.classesReturns);
  to.bounds.expandBy(from.bounds);
}

}  // namespace

ScanLoader::ScanLoader(ScanSet& scans, ChunkSink sink)
    : _scans(scans),
      _sink(std::move(sink)),
      _elevations(kSampleValues),
      _intensities(kSampleValues),
      _places(kSamplePlaces) {}

void ScanLoader::step(std::chrono::milliseconds budget) {
  const auto end = std::chrono::steady_clock::now() + budget;
  do {
    if (finished()) {
      return;
    }
    _readBlock();
  } while (std::chrono::steady_clock::now() < end);
}

void ScanLoader::_readBlock() {
  const std::uint64_t left = _scans.info(_scan).pointCount - _next;
  const auto count = static_cast<std::uint32_t>(std::min(left, kBlockPoints));
  try {
    if (count > 0) {
      _take(_scans.reader(_scan).read(_next, count, _scans.origin()));
    }
    _next += count;
    if (count == left) {
      _beginNextScan();
    }
  } catch (const ScanError& error) {
    _errors.emplace_back(error.what());
    _beginNextScan();
  }
}

void ScanLoader::_take(PointChunk&& block) {
  _learnFrom(block);
  _pointsRead += block.positions->size();
  if (_chunk) {
    append(*_chunk, block);
  } else {
    _chunk = std::move(block);
  }
  if (_chunk->positions->size() >= kChunkPoints) {
    _handOut();
  }
}

void ScanLoader::_learnFrom(const PointChunk& block) {
  const std::size_t count = block.positions->size();
  if (count == 0) {
    return;
  }
  constexpr std::size_t kCoordinates = 3;
  _elevations.add(&block.positions->front().z(), count, kCoordinates);
  _intensities.add(&block.intensities->front(), count);
  _places.add(&block.positions->front(), count);
  for (const osg::Vec2ub& codes : *block.classesReturns) {
    _classifications.set(codes.x());
  }
}

void ScanLoader::_handOut() {
  if (_chunk && !_chunk->positions->empty()) {
    _sink(_scan, *_chunk);
  }
  _chunk.reset();
}

std::vector<unsigned int> ScanLoader::classifications() const {
  std::vector<unsigned int> codes;
  for (unsigned int code = 0; code < _classifications.size(); ++code) {
    if (_classifications[code]) {
      codes.push_back(code);
    }
  }
  return codes;
}

void ScanLoader::_beginNextScan() {
  _handOut();
  ++_scan;
  _next = 0;
}

}  // namespace QuorViewer
