#include "scan/index/PointBuckets.h"

#include "scan/Scan.h"
#include "scan/edit/LasWriter.h"
#include "scan/index/TemporaryName.h"
#include "scan/platform/Platform.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>

namespace QuorViewer {
PointBuckets::~PointBuckets() {
  if (_file.is_open()) {
    _file.close();
    std::error_code ignored;
    std::filesystem::remove(toPath(_path), ignored);
  }
}

void PointBuckets::append(const NodeKey& bucket, const IndexPoint* points, std::size_t count) {
  const std::lock_guard<std::mutex> lock(_mutex);
  Bucket& to = _buckets[bucket];
  to.held.insert(to.held.end(), points, points + count);
  to.count += count;
  _pointsHeld += count;
  if (_pointsHeld > _mostPoints && !_path.empty()) {
    _flush();
  }
}

void PointBuckets::flush() {
  const std::lock_guard<std::mutex> lock(_mutex);
  _flush();
}

void PointBuckets::_flush() {
  _open();
  for (auto& [key, bucket] : _buckets) {
    if (bucket.held.empty()) {
      continue;
    }
    const std::size_t bytes = bucket.held.size() * sizeof(IndexPoint);
    errno = 0;
    _file.seekp(static_cast<std::streamoff>(_fileBytes));
    _file.write(reinterpret_cast<const char*>(bucket.held.data()), static_cast<std::streamsize>(bytes));
    if (!_file.flush()) {
      throw ScanWriteError(_path + ": cannot write: " + systemReason());
    }
    bucket.written.push_back({_fileBytes, bucket.held.size()});
    _fileBytes += bytes;
    std::vector<IndexPoint>().swap(bucket.held);
  }
  _pointsHeld = 0;
}

void PointBuckets::_open() {
  if (_file.is_open()) {
    return;
  }
  errno = 0;
  _file.open(toPath(_path), std::ios::binary | std::ios::in | std::ios::out | std::ios::trunc);
  if (!_file) {
    throw ScanWriteError(_path + ": cannot create the file: " + systemReason());
  }
}

PointBuckets::Bucket PointBuckets::_remove(const NodeKey& bucket) {
  const std::lock_guard<std::mutex> lock(_mutex);
  const auto found = _buckets.find(bucket);
  if (found == _buckets.end()) {
    return {};
  }
  Bucket removed = std::move(found->second);
  _buckets.erase(found);
  _pointsHeld -= removed.held.size();
  return removed;
}

std::vector<IndexPoint> PointBuckets::take(const NodeKey& bucket) {
  Bucket from = _remove(bucket);
  if (from.written.empty()) {
    return std::move(from.held);
  }
  std::vector<IndexPoint> points(static_cast<std::size_t>(from.count));
  std::size_t place = 0;
  for (const Piece& piece : from.written) {
    _read(piece.offsetBytes, piece.points, points.data() + place);
    place += piece.points;
  }
  std::copy(from.held.begin(), from.held.end(), points.begin() + static_cast<std::ptrdiff_t>(place));
  return points;
}

void PointBuckets::drain(const NodeKey& bucket,
                         const std::function<void(const std::vector<IndexPoint>& block)>& visit) {
  constexpr std::size_t kBlockPoints = std::size_t{1} << 17;
  const Bucket from = _remove(bucket);
  std::vector<IndexPoint> block;
  for (const Piece& piece : from.written) {
    for (std::size_t done = 0; done < piece.points; done += block.size()) {
      block.resize(std::min(kBlockPoints, piece.points - done));
      _read(piece.offsetBytes + done * sizeof(IndexPoint), block.size(), block.data());
      visit(block);
    }
  }
  if (!from.held.empty()) {
    visit(from.held);
  }
}

void PointBuckets::_read(std::uint64_t offsetBytes, std::size_t count, IndexPoint* to) {
  const std::lock_guard<std::mutex> lock(_mutex);
  errno = 0;
  _file.seekg(static_cast<std::streamoff>(offsetBytes));
  _file.read(reinterpret_cast<char*>(to), static_cast<std::streamsize>(count * sizeof(IndexPoint)));
  if (!_file) {
    throw ScanError(_path + ": cannot read back the points: " + systemReason());
  }
}

std::map<NodeKey, std::uint64_t> PointBuckets::counts() const {
  const std::lock_guard<std::mutex> lock(_mutex);
  std::map<NodeKey, std::uint64_t> counts;
  for (const auto& [key, bucket] : _buckets) {
    counts[key] = bucket.count;
  }
  return counts;
}

}  // namespace QuorViewer
