#pragma once

#include "scan/index/IndexBytes.h"
#include "scan/index/IndexFormat.h"
#include "scan/index/IndexPoint.h"
#include "scan/index/PointTree.h"

#include <memory>
#include <string>
#include <vector>

namespace QuorViewer {

/// The tree of a finished index.
class IndexTree : public PointTree {
 public:
  /// Reads everything but the points. Throws ScanError if that is damaged.
  explicit IndexTree(std::shared_ptr<const IndexBytes> bytes);
  /// The same for an index file, which may be deleted while it is open (except on Windows).
  static std::unique_ptr<IndexTree> open(const std::string& path);

  const TreeInfo& info() const override { return _shared->info; }
  const std::vector<TreeNode>& nodes() const override { return _shared->nodes; }
  /// Checks the node's checksum.
  NodePoints read(std::uint32_t node) override;
  NodePoints sample() override { return _read(_shared->contents.sample); }
  std::uint64_t heldBytes() const override { return _bytes->heldBytes(); }
  std::unique_ptr<PointTree> clone() const override { return std::make_unique<IndexTree>(*this); }

  /// The scan, as it was when the index was built.
  const IndexedScan& scan() const { return _shared->contents.scan; }
  const IndexSummary& summary() const { return _shared->contents.summary; }
  std::uint64_t bytes() const { return _bytes->size(); }

 private:
  /// Does not change once read.
  struct Shared {
    IndexContents contents;
    TreeInfo info;
    std::vector<TreeNode> nodes;
  };

  NodePoints _read(const IndexEntry& entry);
  std::vector<unsigned char> _load(std::uint64_t offset, std::uint64_t count) const;
  [[noreturn]] void _refuse(const std::string& reason) const;

  std::shared_ptr<const IndexBytes> _bytes;
  std::shared_ptr<const Shared> _shared;
  std::vector<IndexPoint> _points;
};

/// Nodes with links to their children. `entries` has parents before their children.
std::vector<TreeNode> linkNodes(const std::vector<IndexEntry>& entries);

}  // namespace QuorViewer
