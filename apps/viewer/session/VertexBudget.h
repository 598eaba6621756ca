#pragma once

#include <cstdint>

namespace QuorViewer {

/// The memory for displayed points, shared among the scans as they are added. A scan that is too large for the
/// remaining memory is decimated evenly.
class VertexBudget {
 public:
  /// A point's 20 bytes are stored twice: in the viewer's arrays and in the graphics driver's buffers, which use the
  /// same memory if the graphics card has none of its own.
  static constexpr std::uint64_t kBytesPerPoint = 40;

  explicit VertexBudget(std::uint64_t bytes) : _mostPoints(bytes / kBytesPerPoint) {}

  /// The decimation with which scans of `points` points in total fit into the remaining memory, less `reservedBytes`;
  /// 0 if not a single point fits.
  std::uint64_t decimationFor(std::uint64_t points, std::uint64_t reservedBytes = 0) const;
  /// Reserves memory for displayed points, also beyond the budget, and releases what was reserved.
  void take(std::uint64_t points);
  void giveBack(std::uint64_t points);

 private:
  std::uint64_t _mostPoints;
  std::uint64_t _taken = 0;  // points
};

/// The default of `--memory`: half of the machine's memory.
std::uint64_t defaultBudgetBytes();

}  // namespace QuorViewer
