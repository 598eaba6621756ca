#pragma once

#include "scan/Scan.h"
#include "scan/index/IndexFormat.h"
#include "scan/index/PointTree.h"

#include <memory>
#include <vector>

namespace QuorViewer {

/// The file of a scan has changed since it was opened.
class ScanChanged : public ScanError {
 public:
  using ScanError::ScanError;
};

/// A point tree that throws ScanChanged once the file of its scan has changed, because it may no longer fit it.
class WatchedTree : public PointTree {
 public:
  /// `scan`: what the file was when the scan was opened.
  WatchedTree(std::unique_ptr<PointTree> tree, std::shared_ptr<const IndexedScan> scan);

  const TreeInfo& info() const override { return _tree->info(); }
  const std::vector<TreeNode>& nodes() const override { return _tree->nodes(); }
  NodePoints read(std::uint32_t node) override;
  NodePoints sample() override;
  std::uint64_t heldBytes() const override { return _tree->heldBytes(); }
  std::unique_ptr<PointTree> clone() const override;

 private:
  void _requireUnchanged() const;
  template <typename Read>
  NodePoints _checked(const Read& read) const;

  std::unique_ptr<PointTree> _tree;
  std::shared_ptr<const IndexedScan> _scan;
};

}  // namespace QuorViewer
