#pragma once

namespace QuorOsgUtils {

/// Line widths of the handles, in pixels. A thicker line marks the handle being dragged.
constexpr float kRingLineWidth = 5.0f;
constexpr float kShaftLineWidth = 4.0f;
constexpr float kDraggedLineWidth = 8.0f;

}  // namespace QuorOsgUtils
