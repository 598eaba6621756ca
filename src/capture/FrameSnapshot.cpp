#include <QuorOsgUtils/FrameSnapshot.h>

namespace QuorOsgUtils {

FrameSnapshot::FrameSnapshot() = default;

FrameSnapshot::~FrameSnapshot() = default;

std::size_t FrameSnapshot::pixelCount() const {
  return static_cast<std::size_t>(region.width) * static_cast<std::size_t>(region.height);
}

std::optional<std::size_t> FrameSnapshot::pixelAt(int x, int y) const {
  if (!region.contains(x, y)) {
    return std::nullopt;
  }
  return static_cast<std::size_t>(y - region.y) * static_cast<std::size_t>(region.width) +
         static_cast<std::size_t>(x - region.x);
}

SnapshotSource::SnapshotSource() = default;

SnapshotSource::~SnapshotSource() = default;

}  // namespace QuorOsgUtils
