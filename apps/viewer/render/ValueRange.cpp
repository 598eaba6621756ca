#include "viewer/render/ValueRange.h"

#include "scan/Quantile.h"

namespace QuorViewer {

std::pair<float, float> valuesBetween(const std::vector<float>& values, double low, double high) {
  if (values.empty()) {
    return {0.0f, 1.0f};
  }
  std::vector<float> reordered = values;
  const float lower = quantile(reordered, low);
  const float upper = quantile(reordered, high);
  return {lower, upper > lower ? upper : lower + 1.0f};
}

}  // namespace QuorViewer
