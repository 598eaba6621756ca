#include "viewer/render/ValueRange.h"

#include <algorithm>
#include <cmath>

namespace QuorViewer {
namespace {

float quantile(std::vector<float>& values, double share) {
  const auto place = static_cast<std::ptrdiff_t>(std::lround(share * static_cast<double>(values.size() - 1)));
  std::nth_element(values.begin(), values.begin() + place, values.end());
  return values[static_cast<std::size_t>(place)];
}

}  // namespace

std::pair<float, float> valuesBetween(const std::vector<float>& values, double low, double high) {
  if (values.empty()) {
    return {0.0F, 1.0F};
  }
  std::vector<float> sorted = values;
  const float lower = quantile(sorted, low);
  const float upper = quantile(sorted, high);
  return {lower, upper > lower ? upper : lower + 1.0F};
}

}  // namespace QuorViewer
