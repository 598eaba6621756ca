#include "viewer/session/WatchedTree.h"

#include "scan/index/IndexCache.h"

#include <string>
#include <utility>

namespace QuorViewer {

WatchedTree::WatchedTree(std::unique_ptr<PointTree> tree, std::shared_ptr<const IndexedScan> scan)
    : _tree(std::move(tree)), _scan(std::move(scan)) {}

NodePoints WatchedTree::read(std::uint32_t node) {
  return _checked([&] { return _tree->read(node); });
}

NodePoints WatchedTree::sample() {
  return _checked([&] { return _tree->sample(); });
}

std::unique_ptr<PointTree> WatchedTree::clone() const {
  return std::make_unique<WatchedTree>(_tree->clone(), _scan);
}

// After reading, so that nothing that was read during the change is used. The change also explains why points cannot be
// read.
template <typename Read>
NodePoints WatchedTree::_checked(const Read& read) const {
  try {
    NodePoints points = read();
    _requireUnchanged();
    return points;
  } catch (const ScanError&) {
    _requireUnchanged();
    throw;
  }
}

void WatchedTree::_requireUnchanged() const {
  const std::string change = IndexCache::changeOf(*_scan);
  if (!change.empty()) {
    throw ScanChanged(change);
  }
}

}  // namespace QuorViewer
