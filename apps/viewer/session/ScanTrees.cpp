#include "viewer/session/ScanTrees.h"

#include "scan/edit/LasWriter.h"
#include "scan/index/StoredTree.h"
#include "scan/platform/Platform.h"
#include "viewer/session/WatchedTree.h"
#include "viewer/ui/Format.h"

#include <algorithm>
#include <exception>
#include <filesystem>
#include <new>
#include <numeric>
#include <system_error>
#include <utility>

namespace QuorViewer {
namespace {

IndexCache cacheFor(const TreeSettings& settings) {
  const std::string folder = settings.folder.empty() ? IndexCache::defaultFolder() : settings.folder;
  return {folder, settings.limitBytes ? *settings.limitBytes : IndexCache::defaultLimitBytes(folder)};
}

}  // namespace

ScanTrees::ScanTrees(const TreeSettings& settings)
    : _settings(settings), _memory({settings.memoryBytes, settings.memoryBytes / 2}), _cache(cacheFor(settings)) {}

bool ScanTrees::wants(unsigned int scan, const ScanInfo& info) {
  _withoutTree.erase(scan);
  if (!_settings.enabled || info.pointCount > kMostIndexedRecords) {
    return false;
  }
  const std::uint64_t together =
      std::accumulate(_withoutTree.begin(), _withoutTree.end(), info.pointCount,
                      [](std::uint64_t sum, const auto& other) { return sum + other.second; });
  if (info.pointCount > kMostPointsWithoutTree || together > kMostPointsWithoutTrees) {
    return true;
  }
  _withoutTree[scan] = info.pointCount;
  return false;
}

void ScanTrees::setMemory(const TreeMemory& memory) {
  _memory = {std::min(memory.build, _settings.memoryBytes), memory.held};
}

std::uint64_t ScanTrees::buildBytes() const {
  return std::accumulate(_cancelled.begin(), _cancelled.end(), _job ? _job->memoryBytes() : 0,
                         [](std::uint64_t sum, const auto& job) { return sum + job->memoryBytes(); });
}

ScanTrees::Opened ScanTrees::open(unsigned int scan, const ScanInfo& info) {
  const std::shared_ptr<const IndexedScan> identity = _identify(scan, info);
  Opened opened;
  opened.tree = _openStored(scan, info, opened.note);
  if (!opened.tree) {
    IndexCache::Found found = _cache.find(*identity);
    opened.tree = std::move(found.tree);
    if (!opened.note.empty()) {
      opened.note += opened.tree ? "; its index is used instead" : "; an index is built instead";
    } else {
      opened.note = found.note;
    }
  }
  if (opened.tree) {
    opened.tree = std::make_unique<WatchedTree>(std::move(opened.tree), identity);
  }
  return opened;
}

std::unique_ptr<PointTree> ScanTrees::_openStored(unsigned int scan, const ScanInfo& info, std::string& note) {
  if (_refused.count(scan) > 0) {
    return nullptr;
  }
  try {
    std::unique_ptr<PointTree> tree = openStoredTree(info.path);
    if (tree) {
      _stored.insert(scan);
    }
    return tree;
  } catch (const ScanError& error) {
    if (std::filesystem::is_directory(toPath(info.path))) {
      throw;
    }
    note = error.what();
  }
  return nullptr;
}

std::shared_ptr<const IndexedScan> ScanTrees::_identify(unsigned int scan, const ScanInfo& info) {
  std::shared_ptr<const IndexedScan>& identity = _identities[scan];
  if (!identity) {
    identity = std::make_shared<IndexedScan>(IndexCache::identify(info));
  }
  return identity;
}

void ScanTrees::build(unsigned int scan, const ScanReader& reader, const osg::Vec3d& origin) {
  try {
    _waiting[scan] = {reader.clone(), origin};
  } catch (const std::exception& error) {
    _failed.push_back({scan, nullptr, error.what()});
  }
  _startNext();
}

void ScanTrees::_startNext() {
  while (!_job && _cancelled.empty() && !_waiting.empty()) {
    const auto next = _waiting.begin();
    _building = next->first;
    const Request request = std::move(next->second);
    _waiting.erase(next);
    try {
      const std::shared_ptr<const IndexedScan> identity = _identify(_building, request.reader->info());
      _job = std::make_unique<IndexJob>(*request.reader, *identity, request.origin, _cache, _memory);
    } catch (const std::exception& error) {
      _failed.push_back({_building, nullptr, error.what()});
    }
  }
}

void ScanTrees::cancel(unsigned int scan) {
  const auto isOfScan = [scan](const Built& failed) { return failed.scan == scan; };
  _failed.erase(std::remove_if(_failed.begin(), _failed.end(), isOfScan), _failed.end());
  _waiting.erase(scan);
  if (current() == scan) {
    _job->cancel();
    _cancelled.push_back(std::move(_job));
  }
}

void ScanTrees::forgetEnded() {
  const auto isDone = [](const std::unique_ptr<IndexJob>& job) { return job->isDone(); };
  _cancelled.erase(std::remove_if(_cancelled.begin(), _cancelled.end(), isDone), _cancelled.end());
}

std::optional<ScanTrees::Built> ScanTrees::pollBuilt() {
  forgetEnded();
  _startNext();
  if (!_failed.empty()) {
    Built failed = std::move(_failed.back());
    _failed.pop_back();
    return failed;
  }
  if (!_job || !_job->isDone()) {
    return std::nullopt;
  }
  const std::unique_ptr<IndexJob> job = std::move(_job);
  Built built;
  built.scan = _building;
  try {
    built.tree = std::make_unique<WatchedTree>(job->take(), _identities.at(_building));
    built.text = job->path();
    std::error_code error;
    const std::uint64_t bytes = std::filesystem::file_size(toPath(job->path()), error);
    built.text += built.text.empty() || error ? "" : " (" + sizeText(bytes) + ")";
  } catch (const std::bad_alloc&) {
    built.text = _identities.at(_building)->path + ": not enough memory to build its index";
  } catch (const std::exception& error) {
    built.text = error.what();
  }
  return built;
}

bool ScanTrees::refuse(unsigned int scan, const ScanInfo& info) {
  if (_stored.erase(scan) > 0) {
    _refused.insert(scan);
    return false;
  }
  _cache.remove(*_identify(scan, info));
  return true;
}

std::string ScanTrees::changeOf(unsigned int scan) const {
  const auto identity = _identities.find(scan);
  return identity != _identities.end() && identity->second ? IndexCache::changeOf(*identity->second) : std::string();
}

void ScanTrees::forget(unsigned int scan) {
  _identities.erase(scan);
  _withoutTree.erase(scan);
  _stored.erase(scan);
  _refused.erase(scan);
}

}  // namespace QuorViewer
