#include "capture/DepthRange.h"

#include "capture/DepthRangeSearch.h"
#include "capture/FloatLanes.h"

namespace QuorOsgUtils {

DepthRange depthRange(const float* depths, std::size_t count) {
  return DepthRangeSearch<FloatLanes>::range(depths, depths + count);
}

}  // namespace QuorOsgUtils
