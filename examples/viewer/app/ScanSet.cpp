#include "ScanSet.h"

#include <algorithm>
#include <filesystem>
#include <numeric>

namespace QuorViewer {

ScanSet::ScanSet(const std::vector<std::string>& paths) {
  std::transform(paths.begin(), paths.end(), std::back_inserter(_readers), ScanReader::open);
}

osg::Vec3d ScanSet::origin() const {
  return _readers.empty() ? osg::Vec3d() : _readers.front()->info().origin;
}

std::uint64_t ScanSet::pointCount() const {
  return std::accumulate(_readers.begin(), _readers.end(), std::uint64_t{0},
                         [](std::uint64_t sum, const auto& reader) { return sum + reader->info().pointCount; });
}

bool ScanSet::anyHas(bool ScanInfo::*property) const {
  return std::any_of(_readers.begin(), _readers.end(),
                     [property](const auto& reader) { return reader->info().*property; });
}

std::string fileName(const std::string& path) {
  return std::filesystem::path(path).filename().string();
}

}  // namespace QuorViewer
