#pragma once

#include "scan/index/IndexPoint.h"
#include "scan/index/NodeKey.h"

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace QuorViewer {

/// Points sorted roughly into cubes. Keeps them in memory until they exceed a limit, and then appends all of them to a
/// temporary file, so that memory stays bounded and the file is written in sequence. Any thread.
class PointBuckets {
 public:
  /// The file is created when it is first needed, and deleted by the destructor. Without a path all points stay in
  /// memory.
  PointBuckets(std::string temporaryPath, std::uint64_t memoryBytes)
      : _path(std::move(temporaryPath)), _mostPoints(memoryBytes / sizeof(IndexPoint)) {}
  PointBuckets(const PointBuckets&) = delete;
  PointBuckets& operator=(const PointBuckets&) = delete;
  ~PointBuckets();

  /// Appends points to a bucket. Throws ScanWriteError (disk full).
  void append(const NodeKey& bucket, const IndexPoint* points, std::size_t count);
  /// Makes room for what may be held in memory meanwhile: writes all points to the file. Throws ScanWriteError.
  void flush();
  /// Removes a bucket and returns its points. Throws ScanError if the file cannot be read.
  std::vector<IndexPoint> take(const NodeKey& bucket);
  /// Removes a bucket and passes its points on in blocks of bounded size, for one that is too large for the memory.
  void drain(const NodeKey& bucket, const std::function<void(const std::vector<IndexPoint>& block)>& visit);
  /// The number of points of each bucket.
  std::map<NodeKey, std::uint64_t> counts() const;

 private:
  struct Piece {
    std::uint64_t offsetBytes;
    std::size_t points;
  };
  struct Bucket {
    std::vector<IndexPoint> held;
    std::vector<Piece> written;
    std::uint64_t count = 0;
  };

  Bucket _remove(const NodeKey& bucket);
  void _flush();
  void _open();
  void _read(std::uint64_t offsetBytes, std::size_t count, IndexPoint* to);

  std::string _path;
  std::uint64_t _mostPoints;
  mutable std::mutex _mutex;  // for all that follows
  std::map<NodeKey, Bucket> _buckets;
  std::uint64_t _pointsHeld = 0;
  std::fstream _file;
  std::uint64_t _fileBytes = 0;
};

}  // namespace QuorViewer
