#include "scan/edit/ScanCrop.h"

#include "scan/platform/Platform.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace QuorViewer {

namespace {

constexpr std::uint64_t kBlockPoints = 8192;
constexpr std::uint64_t kBlockBytes = std::uint64_t{1} << 18;

bool sameFile(const std::string& one, const std::string& other) {
  std::error_code neitherExists;
  return std::filesystem::equivalent(toPath(one), toPath(other), neitherExists);
}

/// Whether a file with that name is in a folder, at any depth.
bool isInFolder(const std::string& path, const std::string& folder) {
  std::error_code ignored;
  if (!std::filesystem::is_directory(toPath(folder), ignored)) {
    return false;
  }
  const std::filesystem::path outer = std::filesystem::canonical(toPath(folder), ignored);
  const std::filesystem::path inner = std::filesystem::weakly_canonical(toPath(path), ignored);
  return std::mismatch(outer.begin(), outer.end(), inner.begin(), inner.end()).first == outer.end();
}

}  // namespace

bool insidePlanes(const std::vector<osg::Plane>& planes, const osg::Vec3d& point) {
  return std::all_of(planes.begin(), planes.end(), [&](const osg::Plane& plane) { return plane.distance(point) >= 0; });
}

ScanCrop::ScanCrop(ScanReader& source, std::string target, InsideTest inside)
    : _source(source), _target(std::move(target)), _inside(std::move(inside)) {
  _refuseSource();
  _metadata = source.lasMetadata();
  _writer = std::make_unique<LasWriter>(_target, _metadata.header, _metadata.variableRecords);
}

// Opening the temporary file would overwrite the scan as well. A folder of a scan is left alone as a whole.
void ScanCrop::_refuseSource() const {
  for (const std::string& path : {_target, LasWriter::partPath(_target)}) {
    if (sameFile(path, _source.info().path)) {
      _fail("this would overwrite the scan being copied");
    }
  }
  if (isInFolder(_target, _source.info().path)) {
    _fail("this is in the folder of the scan being copied");
  }
}

void ScanCrop::step(std::chrono::milliseconds budget) {
  if (_error) {
    std::rethrow_exception(_error);
  }
  const auto end = std::chrono::steady_clock::now() + budget;
  try {
    do {
      _copyBlock();
    } while (!_finished && std::chrono::steady_clock::now() < end);
  } catch (...) {
    _writer.reset();
    _error = std::current_exception();
    throw;
  }
}

void ScanCrop::_copyBlock() {
  if (_finished) {
    return;
  }
  if (_pointsRead < pointCount()) {
    _copyPoints();
  } else if (_pointsWritten == 0) {
    _fail("no point is inside");
  } else if (_extendedRecord < _metadata.extendedRecords.size()) {
    _copyExtendedRecords();
  } else {
    _finish();
  }
}

void ScanCrop::_copyPoints() {
  const auto count = static_cast<std::uint32_t>(std::min(kBlockPoints, pointCount() - _pointsRead));
  _block.clear();
  _source.readInside(_pointsRead, count, _inside, _block);
  const std::size_t inside = _block.size() / _metadata.header.recordLengthBytes;
  _writer->append(_block.data(), inside);
  _pointsRead += count;
  _pointsWritten += inside;
}

void ScanCrop::_copyExtendedRecords() {
  const FileRange& record = _metadata.extendedRecords[_extendedRecord];
  const std::uint64_t count = std::min(kBlockBytes, record.bytes - _extendedCopied);
  _block.resize(static_cast<std::size_t>(count));
  _metadata.file->read(record.offset + _extendedCopied, _block.data(), _block.size());
  _writer->appendBehindPoints(_block.data(), _block.size());
  _extendedCopied += count;
  if (_extendedCopied == record.bytes) {
    ++_extendedRecord;
    _extendedCopied = 0;
  }
}

void ScanCrop::_finish() {
  LasHeader header = _writer->header();
  _metadata.placeExtendedRecords(header.pointDataOffsetBytes + _pointsWritten * header.recordLengthBytes, header);
  _writer->finish(header);
  _writer.reset();
  _finished = true;
}

void ScanCrop::_fail(const std::string& reason) const {
  throw ScanWriteError("cannot write " + _target + ": " + reason);
}

}  // namespace QuorViewer
