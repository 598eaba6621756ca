#pragma once

#include <utility>
#include <vector>

namespace QuorViewer {

/// The quantiles `low` and `high` (0 to 1) of `values`. (0, 1) if there are none; the upper one always exceeds the
/// lower.
std::pair<float, float> valuesBetween(const std::vector<float>& values, double low, double high);

}  // namespace QuorViewer
