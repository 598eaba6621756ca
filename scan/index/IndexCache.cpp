#include "scan/index/IndexCache.h"

#include "scan/edit/LasWriter.h"
#include "scan/index/TemporaryName.h"
#include "scan/platform/Platform.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <vector>

namespace QuorViewer {
namespace {

namespace fs = std::filesystem;

constexpr const char* kExtension = ".quoridx";
constexpr const char* kTemporaryExtension = ".part";

struct CachedFile {
  fs::path path;
  fs::file_time_type used;
  std::uint64_t bytes = 0;
};

std::vector<CachedFile> filesIn(const std::string& folder, const char* extension) {
  std::vector<CachedFile> files;
  std::error_code ignored;
  for (const fs::directory_entry& entry : fs::directory_iterator(toPath(folder), ignored)) {
    if (entry.path().extension() == extension) {
      files.push_back({entry.path(), entry.last_write_time(ignored), entry.file_size(ignored)});
    }
  }
  std::sort(files.begin(), files.end(), [](const CachedFile& a, const CachedFile& b) { return a.used < b.used; });
  return files;
}

std::uint64_t bytesOf(const std::vector<CachedFile>& files) {
  std::uint64_t bytes = 0;
  for (const CachedFile& file : files) {
    bytes += file.bytes;
  }
  return bytes;
}

// FNV-1a, 64 bits.
std::uint64_t hashOf(const std::string& text) {
  std::uint64_t hash = 0xCBF29CE484222325ULL;
  for (const char c : text) {
    hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3ULL;
  }
  return hash;
}

fs::path fileOf(const std::string& scan) {
  std::error_code ignored;
  return fs::is_directory(toPath(scan), ignored) ? toPath(scan) / "ept.json" : toPath(scan);
}

// A build writes all the time, so a temporary file that has not changed for a day was left by one that was killed.
void removeOldTemporaryFiles(const std::string& folder) {
  const auto oldest = fs::file_time_type::clock::now() - std::chrono::hours(24);
  std::error_code ignored;
  for (const CachedFile& file : filesIn(folder, kTemporaryExtension)) {
    const fs::path ofIndex = file.path.stem().stem();  // without ".part" and the number
    if (ofIndex.extension() == kExtension && file.used < oldest) {
      fs::remove(file.path, ignored);
    }
  }
}

}  // namespace

std::string IndexCache::defaultFolder() {
  const fs::path folder = userCacheFolder();
  return folder.empty() ? std::string() : fromPath(folder / "quor_osg_utils" / "index");
}

std::uint64_t IndexCache::defaultLimitBytes(const std::string& folder) {
  constexpr std::uint64_t kShare = 10;
  std::error_code error;
  fs::path place = fs::absolute(toPath(folder), error);
  while (!fs::exists(place, error) && place.has_relative_path()) {
    place = place.parent_path();
  }
  const fs::space_info space = fs::space(place, error);
  return ((error ? 0 : space.available) + bytesOf(filesIn(folder, kExtension))) / kShare;
}

IndexedScan IndexCache::identify(const ScanInfo& scan) {
  std::error_code error;
  const fs::path path = fs::weakly_canonical(toPath(scan.path), error);
  IndexedScan identity;
  identity.path = error ? scan.path : fromPath(path);
  identity.bytes = fs::file_size(fileOf(scan.path), error);
  if (error) {
    throw ScanError(scan.path + ": cannot access the file: " + error.message());
  }
  identity.changed = fs::last_write_time(fileOf(scan.path), error).time_since_epoch().count();
  identity.records = scan.pointCount;
  return identity;
}

std::string IndexCache::changeOf(const IndexedScan& scan) {
  std::error_code gone;
  const std::uint64_t bytes = fs::file_size(fileOf(scan.path), gone);
  if (gone) {
    return {};
  }
  const std::string change = scan.path + ": the file has changed while it was open: ";
  if (bytes != scan.bytes) {
    return change + "it has " + std::to_string(bytes) + " bytes, not " + std::to_string(scan.bytes);
  }
  const auto time = fs::last_write_time(fileOf(scan.path), gone).time_since_epoch().count();
  return gone || time == scan.changed ? std::string() : change + "it was rewritten";
}

std::string IndexCache::pathFor(const IndexedScan& scan) const {
  std::array<char, 17> hash{};
  std::snprintf(hash.data(), hash.size(), "%016llx", static_cast<unsigned long long>(hashOf(scan.path)));
  const fs::path name = toPath(scan.path).stem();
  return fromPath(toPath(_folder) / (name.native() + toPath("-" + std::string(hash.data()) + kExtension).native()));
}

IndexCache::Found IndexCache::find(const IndexedScan& scan) const {
  const std::string path = pathFor(scan);
  std::error_code ignored;
  Found found;
  if (!fs::exists(toPath(path), ignored)) {
    return found;
  }
  try {
    found.tree = IndexTree::open(path);
    if (found.tree->scan() == scan) {
      fs::last_write_time(toPath(path), fs::file_time_type::clock::now(), ignored);
      return found;
    }
    found.note = scan.path + ": the file has changed since its index was built; it will be built again";
  } catch (const ScanReadError& error) {
    found.note = std::string(error.what()) + "; it will be built again";
    return found;  // it may be sound
  } catch (const ScanError& error) {
    found.note = std::string(error.what()) + "; it will be built again";
  }
  found.tree.reset();
  fs::remove(toPath(path), ignored);
  return found;
}

std::unique_ptr<IndexTree> IndexCache::build(const ScanReader& scan, const IndexedScan& identity,
                                             IndexSettings settings, IndexProgress& progress) const {
  constexpr std::uint64_t kBytesPerPoint = 14;  // what a point with colour usually takes
  const std::uint64_t expected = scan.info().pointCount * kBytesPerPoint;
  if (expected > _limitBytes) {
    throw ScanWriteError(scan.info().path + ": its index would take about " + std::to_string(expected) +
                         " bytes, but all indexes together may take only " + std::to_string(_limitBytes));
  }
  makeRoom(expected);
  const std::string path = pathFor(identity);
  settings.temporaryPath = temporaryNameFor(path);
  try {
    IndexFileSink sink(path);
    buildIndex(scan, identity, sink, settings, progress);
  } catch (const ScanWriteError&) {
    if (std::unique_ptr<IndexTree> other = _openValid(identity)) {
      return other;
    }
    throw;
  }
  return IndexTree::open(path);
}

// Another program may have built the same index meanwhile. On Windows its file cannot be replaced while it is open.
std::unique_ptr<IndexTree> IndexCache::_openValid(const IndexedScan& scan) const {
  try {
    std::unique_ptr<IndexTree> tree = IndexTree::open(pathFor(scan));
    return tree->scan() == scan ? std::move(tree) : nullptr;
  } catch (const ScanError&) {
    return nullptr;
  }
}

void IndexCache::remove(const IndexedScan& scan) const {
  std::error_code ignored;
  fs::remove(toPath(pathFor(scan)), ignored);
}

void IndexCache::makeRoom(std::uint64_t bytes) const {
  std::error_code error;
  fs::create_directories(toPath(_folder), error);
  if (!fs::is_directory(toPath(_folder))) {
    throw ScanWriteError(_folder + ": cannot create the folder for indexes: " + error.message());
  }
  removeOldTemporaryFiles(_folder);
  const std::vector<CachedFile> files = filesIn(_folder, kExtension);
  std::uint64_t used = bytesOf(files);
  for (const CachedFile& file : files) {
    if (used + bytes <= _limitBytes) {
      break;
    }
    if (fs::remove(file.path, error)) {
      used -= file.bytes;
    }
  }
}

}  // namespace QuorViewer
