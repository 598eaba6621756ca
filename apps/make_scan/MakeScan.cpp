#include "make_scan/MakeScan.h"

#include "common/CommandLine.h"
#include "make_scan/RecordEncoder.h"
#include "scan/edit/LasWriter.h"
#include "scan/platform/Platform.h"

#include <algorithm>
#include <deque>
#include <filesystem>
#include <future>
#include <limits>
#include <ostream>
#include <system_error>
#include <thread>
#include <utility>

namespace QuorViewer {

namespace {

LasHeader withBox(LasHeader header, HeaderBox box) {
  constexpr double kTooWideMetres = 1000.0;
  for (auto& [greatest, least] : header.maximumMinimum) {
    switch (box) {
      case HeaderBox::True:
        break;
      case HeaderBox::Wide:
        greatest += kTooWideMetres;
        least -= kTooWideMetres;
        break;
      case HeaderBox::Empty:
        greatest = least = 0.0;
        break;
      case HeaderBox::NotANumber:
        greatest = least = std::numeric_limits<double>::quiet_NaN();
        break;
    }
  }
  return header;
}

// Length to truncate the finished file to; empty: the file is not truncated. Known before any point is computed.
std::optional<std::uint64_t> cutLength(const Options& options, const LasHeader& header) {
  const std::uint64_t length = header.pointDataOffsetBytes + *options.points * header.recordLengthBytes;
  if (options.cutRecords > 0) {
    return length - options.cutRecords * header.recordLengthBytes;
  }
  if (options.cutAtByte && *options.cutAtByte > length) {
    throw invalidValue("--cut-at", "at most " + std::to_string(length) + ", the length of the file",
                       std::to_string(*options.cutAtByte));
  }
  return options.cutAtByte;
}

using Blocks = std::vector<Block>::const_iterator;

// The end of the blocks, beginning with `first`, that one thread computes. In a small scan, one sector's few points
// take less time than starting a thread.
Blocks endOfTask(Blocks first, Blocks end) {
  constexpr std::uint32_t kPointsMost = 65536;
  std::uint32_t points = first->count;
  for (++first; first != end && points + first->count <= kPointsMost; ++first) {
    points += first->count;
  }
  return first;
}

using Records = std::vector<unsigned char>;

// Tasks run in parallel and are written in order; only a few are in memory at a time.
void writePoints(const Options& options, const LasHeader& header, LasWriter& writer, const Progress& progress) {
  const Town town;
  const Scanner scanner(town, options.survey);
  const auto encode = [&](Blocks first, Blocks end) {
    Records records = encodeBlock(scanner, *first, options, header);
    std::for_each(first + 1, end, [&](const Block& block) {
      const Records further = encodeBlock(scanner, block, options, header);
      records.insert(records.end(), further.begin(), further.end());
    });
    return records;
  };
  const std::vector<Block> blocks = planBlocks(scanner, *options.points);
  const std::size_t ahead = std::thread::hardware_concurrency() + 1U;
  std::deque<std::future<Records>> pending;
  std::uint64_t written = 0;
  for (Blocks next = blocks.begin(); next != blocks.end() || !pending.empty();) {
    while (next != blocks.end() && pending.size() < ahead) {
      const Blocks first = std::exchange(next, endOfTask(next, blocks.end()));
      pending.push_back(std::async(std::launch::async, encode, first, next));
    }
    const Records records = pending.front().get();
    pending.pop_front();
    const std::size_t count = records.size() / header.recordLengthBytes;
    writer.append(records.data(), count);
    written += count;
    progress(written, *options.points);
  }
}

}  // namespace

void makeScan(const Options& options, const Progress& progress) {
  const Preamble before = preamble(options);
  LasWriter writer(options.path, before.header, before.variableRecords);
  const LasHeader header = writer.header();
  if (options.sparseOffset != 0 && header.pointDataOffsetBytes != options.sparseOffset) {
    throw invalidValue("--sparse-offset",
                       "at least " + std::to_string(header.pointDataOffsetBytes) + ", after the header",
                       std::to_string(options.sparseOffset));
  }
  const std::optional<std::uint64_t> cut = cutLength(options, header);
  writePoints(options, header, writer, progress);
  writer.finish(withBox(writer.header(), options.headerBox));
  if (!cut) {
    return;
  }
  std::error_code error;
  std::filesystem::resize_file(toPath(options.path), *cut, error);
  if (error) {
    throw ScanWriteError("cannot truncate " + options.path + ": " + error.message());
  }
}

int runMakeScan(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err,
                const Progress& progress) {
  try {
    const Options options = Options::parse(arguments);
    if (options.answer.empty()) {
      makeScan(options, progress);
    } else {
      out << options.answer;
    }
    return 0;
  } catch (const std::exception& error) {
    err << "quor_make_scan: " << error.what() << "\n";
  }
  return 1;
}

}  // namespace QuorViewer
