#pragma once

#include <algorithm>
#include <cstdint>

namespace QuorViewer {

/// How the memory that the viewer may use is divided among the points that are loaded without a tree, the indexes that
/// are held in memory, the build of an index, and the nodes of trees. If each gets only what it may have at the time,
/// all together never exceed the memory. Units: bytes.
class MemoryShares {
 public:
  explicit MemoryShares(std::uint64_t bytes) : _bytes(bytes) {}

  /// What points loaded without a tree must leave free, as soon as any scan is drawn as a tree or will be: a quarter
  /// for nodes, and an eighth for the next build. `held`: of indexes in memory. `build`: of builds that are running,
  /// which may leave indexes.
  std::uint64_t besideWhole(std::uint64_t held, std::uint64_t build) const {
    return _bytes / 4 + _bytes / 8 + build + held;
  }
  /// The same for the samples that are shown until trees are there: they leave a build as much as it can use.
  std::uint64_t besideSamples(std::uint64_t held) const { return _bytes / 4 + _bytes / 2 + held; }
  /// What one more index in memory may take. `whole`: of the points loaded without a tree.
  std::uint64_t forIndex(std::uint64_t whole, std::uint64_t held) const {
    return std::min(_less(_bytes / 4, held), _less(_mostWithoutBuild(), whole + held));
  }
  /// Whether any scan can be drawn as a tree beside these points.
  bool allowsTrees(std::uint64_t whole) const { return whole <= _mostWithoutBuild(); }
  /// What a build may use. It leaves an eighth for small scans that are added meanwhile.
  std::uint64_t forBuild(std::uint64_t whole, std::uint64_t held) const {
    return std::max(_less(_bytes / 2, whole + held), _bytes / 8);
  }
  /// What the nodes may take. `used`: everything else.
  std::uint64_t forNodes(std::uint64_t used) const { return std::max(_less(_bytes, used), _bytes / 4); }

 private:
  static std::uint64_t _less(std::uint64_t bytes, std::uint64_t taken) { return bytes - std::min(bytes, taken); }
  std::uint64_t _mostWithoutBuild() const { return _bytes - _bytes / 4 - _bytes / 8; }

  std::uint64_t _bytes;
};

}  // namespace QuorViewer
