#pragma once

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstddef>
#include <vector>

namespace QuorViewer {

/// The value below which about `share` (0 to 1) of the values lie: 0.5 gives the median, the upper one of two. Expects
/// at least one value. Reorders the values.
template <typename Number>
Number quantile(std::vector<Number>& values, double share) {
  assert(!values.empty());
  const auto rank = static_cast<std::ptrdiff_t>(std::lround(share * static_cast<double>(values.size() - 1)));
  std::nth_element(values.begin(), values.begin() + rank, values.end());
  return values[static_cast<std::size_t>(rank)];
}

}  // namespace QuorViewer
