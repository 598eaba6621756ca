#pragma once

#include "scan/index/IndexBytes.h"
#include "scan/index/IndexFormat.h"
#include "scan/index/IndexPoint.h"

#include <cstdint>
#include <map>
#include <mutex>
#include <vector>

namespace QuorViewer {

/// Writes the nodes of an index as they are completed. A node above the chunks is written once all of them have
/// contributed to it. Any thread.
class NodeWriter {
 public:
  /// `chunks`: the disjoint cubes that are built one by one. `sink` outlives the writer.
  NodeWriter(IndexSink& sink, const IndexGrid& grid, const std::vector<NodeKey>& chunks);

  /// The points of a node, or what one chunk contributes to a node above it. Throws ScanWriteError.
  void add(const NodeKey& key, std::vector<IndexPoint> points);
  /// All nodes of a chunk have been added. Throws ScanWriteError.
  void completeChunk(const NodeKey& chunk);
  /// After all chunks: writes a sample of the points and the directory, and completes the index. Throws ScanWriteError.
  void finish(const IndexedScan& scan, bool coloured, std::vector<IndexPoint> sample);

  /// Of all points added.
  const IndexSummary& summary() const { return _contents.summary; }

 private:
  struct Shared {
    std::size_t chunksDue = 0;
    std::vector<IndexPoint> points;
  };

  void _write(const NodeKey& key, std::vector<IndexPoint> points);
  /// Appends compressed points. The mutex must be held.
  IndexEntry _append(const std::vector<unsigned char>& bytes, std::size_t points);
  IndexSummary _summaryOf(const std::vector<IndexPoint>& points) const;
  void _addEmptyParents();

  IndexSink& _sink;
  std::mutex _mutex;  // for all that follows
  std::map<NodeKey, Shared> _shared;
  IndexContents _contents;
};

}  // namespace QuorViewer
