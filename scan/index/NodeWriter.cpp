#include "scan/index/NodeWriter.h"

#include "scan/index/PointColumns.h"

#include <algorithm>
#include <set>
#include <utility>

namespace QuorViewer {
namespace {

std::vector<unsigned char> packByRecord(std::vector<IndexPoint>& points) {
  std::sort(points.begin(), points.end(), [](const IndexPoint& a, const IndexPoint& b) { return a.record < b.record; });
  return packColumns(points);
}

}  // namespace

NodeWriter::NodeWriter(IndexSink& sink, const IndexGrid& grid, const std::vector<NodeKey>& chunks) : _sink(sink) {
  _contents.grid = grid;
  for (NodeKey key : chunks) {
    while (key.level > 0) {
      key = key.parent();
      ++_shared[key].chunksDue;
    }
  }
  _sink.append(std::vector<unsigned char>(IndexContents::kHeaderBytes));
}

void NodeWriter::add(const NodeKey& key, std::vector<IndexPoint> points) {
  {
    const std::lock_guard<std::mutex> lock(_mutex);
    const auto shared = _shared.find(key);
    if (shared != _shared.end()) {
      std::vector<IndexPoint>& all = shared->second.points;
      all.insert(all.end(), points.begin(), points.end());
      return;
    }
  }
  _write(key, std::move(points));
}

void NodeWriter::completeChunk(const NodeKey& chunk) {
  for (NodeKey key = chunk; key.level > 0;) {
    key = key.parent();
    std::vector<IndexPoint> points;
    {
      const std::lock_guard<std::mutex> lock(_mutex);
      Shared& shared = _shared.at(key);
      if (--shared.chunksDue == 0) {
        points = std::move(shared.points);
      }
    }
    if (!points.empty()) {
      _write(key, std::move(points));
    }
  }
}

IndexSummary NodeWriter::_summaryOf(const std::vector<IndexPoint>& points) const {
  IndexSummary summary;
  summary.points = points.size();
  for (const IndexPoint& point : points) {
    summary.bounds.expandBy(_contents.grid.cube().least + _contents.grid.positionOf(point.grid));
    summary.classes.set(point.classification);
    summary.anyIntensity = summary.anyIntensity || point.intensity != 0;
  }
  return summary;
}

void NodeWriter::_write(const NodeKey& key, std::vector<IndexPoint> points) {
  const std::vector<unsigned char> bytes = packByRecord(points);
  const IndexSummary summary = _summaryOf(points);
  const std::lock_guard<std::mutex> lock(_mutex);
  IndexEntry entry = _append(bytes, points.size());
  entry.key = key;
  _contents.entries.push_back(entry);
  _contents.summary.join(summary);
}

IndexEntry NodeWriter::_append(const std::vector<unsigned char>& bytes, std::size_t points) {
  IndexEntry entry;
  entry.bytes = static_cast<std::uint32_t>(bytes.size());
  entry.points = static_cast<std::uint32_t>(points);
  entry.checksum = checksumOf(bytes.data(), bytes.size());
  entry.offsetBytes = _sink.append(bytes);
  return entry;
}

// A node all of whose points went to the nodes above, or to none because its cells hold several chunks.
void NodeWriter::_addEmptyParents() {
  std::set<NodeKey> keys;
  for (const IndexEntry& entry : _contents.entries) {
    keys.insert(entry.key);
  }
  const std::vector<IndexEntry> entries = _contents.entries;
  for (const IndexEntry& entry : entries) {
    for (NodeKey key = entry.key; key.level > 0;) {
      key = key.parent();
      if (keys.insert(key).second) {
        IndexEntry empty;
        empty.key = key;
        empty.offsetBytes = IndexContents::kHeaderBytes;
        _contents.entries.push_back(empty);
      }
    }
  }
}

void NodeWriter::finish(const IndexedScan& scan, bool coloured, std::vector<IndexPoint> sample) {
  const std::lock_guard<std::mutex> lock(_mutex);
  _contents.scan = scan;
  _contents.summary.anyColour = coloured;
  _addEmptyParents();
  std::sort(_contents.entries.begin(), _contents.entries.end(),
            [](const IndexEntry& a, const IndexEntry& b) { return a.key < b.key; });
  _contents.sample = _append(packByRecord(sample), sample.size());
  const std::vector<unsigned char> directory = _contents.directory();
  const std::uint64_t place = _sink.append(directory);
  _sink.finish(_contents.header(place, directory));
}

}  // namespace QuorViewer
