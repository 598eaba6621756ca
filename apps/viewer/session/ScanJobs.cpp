#include "viewer/session/ScanJobs.h"

#include "scan/ChunkBuilder.h"
#include "scan/platform/Platform.h"
#include "viewer/session/WatchedTree.h"

#include <QuorOsgUtils/FileView.h>

#include <algorithm>
#include <exception>
#include <new>
#include <utility>

namespace QuorViewer {
namespace {

using QuorOsgUtils::FileCmd;
using QuorOsgUtils::FileView;

FileCmd::Priority priorityOf(LoadPhase phase) {
  return phase == LoadPhase::Sample ? FileCmd::High : FileCmd::Normal;
}

ScanError cutOff(const std::string& path, std::uint64_t byte) {
  return ScanError(path + ": the file was truncated while it was being read, at byte " + std::to_string(byte));
}

/// The points of a node relative to another origin.
PointChunk chunkOf(const NodePoints& points, const osg::Vec3d& origin) {
  const osg::Vec3f shift(points.origin - origin);
  for (osg::Vec3f& position : *points.positions) {
    position += shift;
  }
  PointChunk chunk;
  chunk.positions = points.positions;
  chunk.colours = points.colours;
  chunk.intensities = points.intensities;
  chunk.classesReturns = points.classesReturns;
  return chunk;
}

std::uint64_t recordsWithin(const RecordTable& table, std::uint64_t fileBytes) {
  return fileBytes > table.offsetBytes ? (fileBytes - table.offsetBytes) / table.recordBytes : 0;
}

}  // namespace

ScanJob::ScanJob(std::shared_ptr<LoadContext> context, std::shared_ptr<LoadingScan> scan, Priority priority)
    : _context(std::move(context)), _scan(std::move(scan)), _priority(priority), _results(1) {
  LoadResult& result = _results.front();
  result.scan = _scan->number;
  result.of = _scan;
  result.ofSample = priority == FileCmd::High;
}

void ScanJob::run() noexcept {
  LoadResult& result = _results.front();
  try {
    _tryWork(result);
  } catch (const std::bad_alloc&) {
    result.error = "out of memory";  // short enough to need none
  } catch (...) {
    result.error = "unknown error";
  }
  _context->results.push(std::move(_results));
}

void ScanJob::_tryWork(LoadResult& result) {
  try {
    if (!_scan->stop.stopRequested()) {
      work(result);
    }
  } catch (const std::bad_alloc&) {
    result.error = path() + ": not enough memory to load more of its points";
  } catch (const std::exception& error) {
    result.error = error.what();
  }
}

// Without a file name: the jobs read through the scan's reader and its mapped file.
void submit(QuorOsgUtils::FileJobs& jobs, const std::shared_ptr<ScanJob>& job) {
  jobs.submit(std::string(), job->priority(), [job](QuorOsgUtils::FileJob&) { job->run(); });
}

ReadChunk::ReadChunk(std::shared_ptr<LoadContext> context, std::shared_ptr<LoadingScan> scan,
                     const PlannedChunk& planned, ChunkSlot to)
    : ScanJob(std::move(context), std::move(scan), priorityOf(planned.phase)),
      _points(planned.points),
      _to(std::move(to)) {}

// If a point cannot be read, the points after it in the file are skipped; only the first damage is reported.
void ReadChunk::work(LoadResult& result) {
  ChunkBuilder builder = _scan->reader->startChunk(_points, _scan->origin);
  try {
    forEachRun(_points, [&](const PointRun& run) {
      const PointRun readable = run.before(_scan->end);
      if (readable.count > 0 && !_scan->stop.stopRequested()) {
        _readRun(readable, builder);
      }
    });
  } catch (const ScanError& error) {
    if (_scan->end == std::numeric_limits<std::uint64_t>::max()) {
      result.error = error.what();
    }
    _scan->end = std::min(_scan->end, _points.at(builder.filledPoints()));
  }
  *_to = builder.finish();
  result.chunk = *_to;
}

void ReadChunk::_readRun(const PointRun& run, ChunkBuilder& to) {
  const std::optional<RecordTable> table = _scan->reader->records();
  if (!table || !_scan->file) {
    return _scan->reader->decode(run, to);
  }
  const auto mappedBytes = static_cast<std::uint64_t>(_scan->file->size());
  const PointRun held = run.before(recordsWithin(*table, mappedBytes));
  if (held.count > 0) {
    const FileView records(*_scan->file, static_cast<std::int64_t>(table->offsetBytes + run.first * table->recordBytes),
                           static_cast<std::int64_t>(held.span() * table->recordBytes));
    if (!records) {
      return _scan->reader->decode(run, to);
    }
    _decodeMapped(records.data(), *table, held, to);
  }
  if (held.count < run.count) {
    throw cutOff(path(), mappedBytes);
  }
}

// After the end of a file that has become shorter, the rest of the page reads as zeros; only later pages fault. So the
// file size is checked too.
void ReadChunk::_decodeMapped(const unsigned char* records, const RecordTable& table, const PointRun& run,
                              ChunkBuilder& to) {
  const std::uint64_t begin = table.offsetBytes + run.first * table.recordBytes;
  const std::uint64_t end = begin + run.span() * table.recordBytes;
  const ChunkBuilder before = to;
  const auto decode = [&](std::uint32_t count) {
    return runGuarded(
        [&] { to.decode(*table.layout, records, static_cast<std::size_t>(run.step) * table.recordBytes, count); });
  };
  const std::optional<std::uintptr_t> fault = decode(run.count);
  std::uint64_t lost = std::min(_scan->reader->fileBytesNow(), end);
  if (fault) {
    lost = std::min(lost, begin + (*fault - reinterpret_cast<std::uintptr_t>(records)));
  }
  if (lost == end) {
    return;
  }
  to = before;
  if (decode(run.before(recordsWithin(table, lost)).count)) {
    to = before;
  }
  throw cutOff(path(), lost);
}

MeasureChunk::MeasureChunk(std::shared_ptr<LoadContext> context, std::shared_ptr<LoadingScan> scan, ChunkSlot chunk,
                           Priority priority)
    : ScanJob(std::move(context), std::move(scan), priority), _chunk(std::move(chunk)) {}

void MeasureChunk::work(LoadResult& result) {
  if (!_chunk->positions) {
    return;
  }
  _context->statistics.add(result.scan, *_chunk);
  result.summary = _context->statistics.summary();
}

MeasureTree::MeasureTree(std::shared_ptr<LoadContext> context, std::shared_ptr<LoadingScan> scan,
                         std::unique_ptr<PointTree> tree)
    : ScanJob(std::move(context), std::move(scan), FileCmd::High), _tree(std::move(tree)) {}

void MeasureTree::work(LoadResult& result) {
  try {
    if (!_tree->nodes().empty() && !_context->statistics.has(result.scan)) {
      _context->statistics.add(result.scan, chunkOf(_tree->sample(), _scan->origin));
    }
    _context->statistics.add(result.scan, _tree->info().classes, _tree->info().anyIntensity);
  } catch (const ScanChanged&) {
    // The session watches the file, and opens it again.
  } catch (const ScanReadError& error) {
    result.error = error.what();
  } catch (const ScanError& error) {
    result.treeError = error.what();
  }
  result.summary = _context->statistics.summary();
}

// Without memory for it, the next summary tells.
void removeFromStatistics(LoadContext& context, unsigned int scanNumber, std::list<LoadResult>&& result) noexcept {
  try {
    context.statistics.remove(scanNumber);
    result.front().summary = context.statistics.summary();
  } catch (const std::bad_alloc&) {
    result.front().summary.reset();
  }
  context.results.push(std::move(result));
}

}  // namespace QuorViewer
