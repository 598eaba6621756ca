#include "index/RunIndex.h"

#include "common/Grouped.h"
#include "index/Options.h"
#include "scan/edit/LasWriter.h"
#include "scan/index/IndexCache.h"
#include "scan/index/StoredTree.h"
#include "scan/platform/Platform.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <future>
#include <ostream>

namespace QuorViewer {
namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

IndexCache cacheFor(const IndexOptions& options) {
  const std::string folder = options.folder.empty() ? IndexCache::defaultFolder() : options.folder;
  if (folder.empty()) {
    throw ScanWriteError("the system has no cache folder; give one with --index-dir");
  }
  return {folder, options.limitBytes > 0 ? options.limitBytes : IndexCache::defaultLimitBytes(folder)};
}

std::uint64_t memoryFor(const IndexOptions& options) {
  constexpr std::uint64_t kIfUnknown = std::uint64_t{1} << 30U;
  const std::uint64_t machine = machineMemoryBytes();
  return options.memoryBytes > 0 ? options.memoryBytes : machine > 0 ? machine / 2 : kIfUnknown;
}

std::string withDecimals(double value, const char* unit) {
  char text[64];
  std::snprintf(text, sizeof text, "%.1f %s", value, unit);
  return text;
}

std::unique_ptr<IndexTree> build(const IndexCache& cache, const ScanReader& scan, const IndexedScan& identity,
                                 const IndexOptions& options, const BuildProgress& report) {
  IndexProgress progress;
  IndexSettings settings;
  settings.memoryBytes = memoryFor(options);
  settings.threads = options.threads;
  auto built = std::async(std::launch::async, [&] { return cache.build(scan, identity, settings, progress); });
  while (built.wait_for(100ms) != std::future_status::ready) {
    const auto share = static_cast<double>(progress.steps) / static_cast<double>(progress.all);
    report(static_cast<std::uint64_t>(share * static_cast<double>(scan.info().pointCount)), scan.info().pointCount);
  }
  return built.get();
}

// As in the viewer, a damaged octree does not matter, as long as the points can be read one after the other.
bool hasSoundTree(const std::string& path, std::ostream& out) {
  try {
    return openStoredTree(path) != nullptr;
  } catch (const ScanError& error) {
    if (std::filesystem::is_directory(toPath(path))) {
      throw;
    }
    out << error.what() << "; an index is built instead\n";
  }
  return false;
}

void indexScan(const std::string& path, const IndexOptions& options, std::ostream& out, const BuildProgress& progress) {
  constexpr double kMebibyte = 1024.0 * 1024.0;
  const auto scan = ScanReader::open(path);
  if (hasSoundTree(path, out)) {
    out << path << ": the scan has its own octree and needs no index\n";
    return;
  }
  const IndexCache cache = cacheFor(options);
  const IndexedScan identity = IndexCache::identify(scan->info());
  IndexCache::Found found = cache.find(identity);
  if (found.tree && !options.rebuild) {
    out << path << ": its index is up to date: " << cache.pathFor(identity) << "\n";
    return;
  }
  if (!found.note.empty()) {
    out << found.note << "\n";
  }
  found.tree.reset();  // Windows does not replace an open file
  const auto start = Clock::now();
  const auto tree = build(cache, *scan, identity, options, progress);
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
  out << path << ": " << grouped(tree->info().pointCount) << " points in " << grouped(tree->nodes().size())
      << (tree->nodes().size() == 1 ? " node, " : " nodes, ")
      << withDecimals(static_cast<double>(tree->bytes()) / kMebibyte, "MiB") << ", " << withDecimals(seconds, "s")
      << ": " << cache.pathFor(identity) << std::endl;
}

}  // namespace

int runIndex(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err,
             const BuildProgress& progress) {
  int status = 0;
  const auto guarded = [&](const std::function<void()>& work) {
    try {
      work();
    } catch (const std::exception& error) {
      err << "quor_index: " << error.what() << "\n";
      status = 1;
    }
  };
  guarded([&] {
    const IndexOptions options = IndexOptions::parse(arguments);
    out << options.answer;
    for (const std::string& scan : options.answer.empty() ? options.scans : std::vector<std::string>()) {
      guarded([&] { indexScan(scan, options, out, progress); });
    }
  });
  return status;
}

}  // namespace QuorViewer
