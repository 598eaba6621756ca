#include "capture/CaptureViewport.h"

#include <limits>

namespace QuorOsgUtils {
namespace {

constexpr int kGreatest = std::numeric_limits<int>::max();

/// False for NaN.
bool fitsInt(double value) {
  return value > -1.0 - kGreatest - 1.0 && value < 1.0 + kGreatest;
}

bool isCountable(const CaptureViewport& viewport) {
  constexpr std::size_t kMostPixels = static_cast<std::size_t>(kGreatest) / kChannelCount;
  return viewport.width >= 0 && viewport.height >= 0 && viewport.pixelCount() <= kMostPixels;
}

}  // namespace

std::optional<CaptureViewport> captureViewport(double x, double y, double width, double height) {
  if (!fitsInt(x) || !fitsInt(y) || !fitsInt(width) || !fitsInt(height)) {
    return std::nullopt;
  }
  const CaptureViewport viewport{static_cast<int>(x), static_cast<int>(y), static_cast<int>(width),
                                 static_cast<int>(height)};
  return isCountable(viewport) ? std::optional(viewport) : std::nullopt;
}

}  // namespace QuorOsgUtils
