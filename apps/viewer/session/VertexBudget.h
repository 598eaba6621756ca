#pragma once

#include <cstdint>

namespace QuorViewer {

/// The memory for the points on show, shared out among scans as they come. A scan that is too large for what is left
/// is thinned evenly.
class VertexBudget {
 public:
  /// A point's 20 bytes stand twice: in the viewer's arrays and in the buffers of the graphics driver, which lie in the
  /// same memory where the graphics card has none of its own.
  static constexpr std::uint64_t kBytesPerPoint = 40;

  explicit VertexBudget(std::uint64_t bytes) : _mostPoints(bytes / kBytesPerPoint) {}

  /// The thinning under which scans of so many points in all fit into what is left; 0 where not a single point fits.
  std::uint64_t thinningFor(std::uint64_t points) const;
  /// Counts points as being on show, and as no longer so.
  void take(std::uint64_t points);
  void giveBack(std::uint64_t points);

 private:
  std::uint64_t _mostPoints;
  std::uint64_t _taken = 0;
};

/// What `--memory` is without being given: half of what the machine has.
std::uint64_t defaultBudgetBytes();

}  // namespace QuorViewer
