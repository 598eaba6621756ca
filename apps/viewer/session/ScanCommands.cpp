#include "viewer/session/ScanCommands.h"

#include "scan/ChunkBuilder.h"
#include "scan/platform/Platform.h"

#include <algorithm>
#include <exception>
#include <new>
#include <utility>

namespace QuorViewer {
namespace {

using QuorOsgUtils::FileCmd;
using QuorOsgUtils::FileProxy;

// A multiple of every system's granularity. A view must begin on it so that it can be unmapped before the file closes.
constexpr std::uint64_t kViewAlignmentBytes = std::uint64_t{1} << 16U;

FileCmd::Priority priorityOf(LoadPhase phase) {
  return phase == LoadPhase::Sample ? FileCmd::High : FileCmd::Normal;
}

ScanError cutOff(const std::string& path, std::uint64_t byte) {
  return ScanError(path + ": the file was truncated while it was being read, at byte " + std::to_string(byte));
}

std::uint64_t recordsWithin(const RecordTable& table, std::uint64_t fileBytes) {
  return fileBytes > table.offsetBytes ? (fileBytes - table.offsetBytes) / table.recordBytes : 0;
}

}  // namespace

ScanCommand::ScanCommand(std::shared_ptr<LoadContext> context, std::shared_ptr<LoadingScan> scan, Priority priority)
    : FileCmd(scan->reader->info().path, priority), _context(std::move(context)), _scan(std::move(scan)) {
  setAutoDelete(true);
}

void ScanCommand::operator()(const FileProxy* proxy, QuorOsgUtils::FileManager* /*manager*/) {
  LoadResult result;
  result.scan = _scan->number;
  result.ofSample = getPriority() == High;
  try {
    if (!_scan->cancelled) {
      work(proxy, result);
    }
  } catch (const std::bad_alloc&) {
    result.error = getFile() + ": not enough memory to load more of its points";
  } catch (const std::exception& error) {
    result.error = error.what();
  }
  _context->results.push(std::move(result));
}

ReadChunk::ReadChunk(std::shared_ptr<LoadContext> context, std::shared_ptr<LoadingScan> scan,
                     const PlannedChunk& planned, ChunkSlot to)
    : ScanCommand(std::move(context), std::move(scan), priorityOf(planned.phase)),
      _points(planned.points),
      _to(std::move(to)) {}

// If a point cannot be read, the points after it in the file are skipped; only the first damage is reported.
void ReadChunk::work(const FileProxy* proxy, LoadResult& result) {
  ChunkBuilder builder = _scan->reader->startChunk(_points, _scan->origin);
  try {
    forEachRun(_points, [&](const PointRun& run) {
      const PointRun readable = run.before(_scan->end);
      if (readable.count > 0 && !_scan->cancelled) {
        _readRun(proxy, readable, builder);
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

void ReadChunk::_readRun(const FileProxy* proxy, const PointRun& run, ChunkBuilder& to) {
  const std::optional<RecordTable> table = _scan->reader->records();
  const std::uint64_t mappedBytes = _scan->mappedBytes;
  if (!table || mappedBytes == 0) {
    return _scan->reader->decode(run, to);
  }
  const PointRun held = run.before(recordsWithin(*table, mappedBytes));
  const std::uint64_t begin = table->offsetBytes + run.first * table->recordBytes;
  const std::uint64_t lead = begin % kViewAlignmentBytes;
  if (held.count > 0) {
    void* const view = map(proxy, static_cast<std::int64_t>(begin - lead),
                           static_cast<std::int64_t>(lead + held.span() * table->recordBytes));
    if (view == nullptr) {
      return _scan->reader->decode(run, to);
    }
    const std::shared_ptr<void> unmapped(view, [proxy](void* start) { unmap(proxy, start); });
    _decodeMapped(static_cast<const unsigned char*>(view) + lead, *table, held, to);
  }
  if (held.count < run.count) {
    throw cutOff(getFile(), mappedBytes);
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
  throw cutOff(getFile(), lost);
}

// High priority, because the scan's later commands do nothing.
RemoveFromStatistics::RemoveFromStatistics(std::shared_ptr<LoadContext> context, const std::string& path,
                                           unsigned int scanNumber)
    : FileCmd(path, High), _context(std::move(context)), _scanNumber(scanNumber) {
  setAutoDelete(true);
}

void RemoveFromStatistics::operator()(const FileProxy* /*proxy*/, QuorOsgUtils::FileManager* /*manager*/) {
  _context->statistics.remove(_scanNumber);
  LoadResult result;
  result.summary = _context->statistics.summary();
  _context->results.push(std::move(result));
}

MeasureChunk::MeasureChunk(std::shared_ptr<LoadContext> context, std::shared_ptr<LoadingScan> scan, ChunkSlot chunk,
                           Priority priority)
    : ScanCommand(std::move(context), std::move(scan), priority), _chunk(std::move(chunk)) {}

void MeasureChunk::work(const FileProxy* /*proxy*/, LoadResult& result) {
  if (!_chunk->positions) {
    return;
  }
  _context->statistics.add(result.scan, *_chunk);
  result.summary = _context->statistics.summary();
}

}  // namespace QuorViewer
