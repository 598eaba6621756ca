#include "viewer/session/VertexBudget.h"

#include "scan/LoadPlan.h"
#include "scan/platform/Platform.h"

#include <algorithm>

namespace QuorViewer {

std::uint64_t VertexBudget::decimationFor(std::uint64_t points, std::uint64_t reservedBytes) const {
  const std::uint64_t reserved = (reservedBytes + kBytesPerPoint - 1) / kBytesPerPoint;
  const std::uint64_t left = _mostPoints - std::min(_taken + reserved, _mostPoints);
  return left > 0 ? QuorViewer::decimationFor(points, left) : 0;
}

void VertexBudget::take(std::uint64_t points) {
  _taken += points;
}

void VertexBudget::giveBack(std::uint64_t points) {
  _taken -= points;
}

std::uint64_t defaultBudgetBytes() {
  constexpr std::uint64_t kIfUnknown = std::uint64_t{2} << 30U;
  const std::uint64_t machine = machineMemoryBytes();
  return machine > 0 ? machine / 2 : kIfUnknown;
}

}  // namespace QuorViewer
