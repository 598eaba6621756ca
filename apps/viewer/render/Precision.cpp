#include "viewer/render/Precision.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace QuorViewer {

double drawnStepAt(const osg::Vec3d& position) {
  const auto largest =
      static_cast<float>(std::max({std::abs(position.x()), std::abs(position.y()), std::abs(position.z())}));
  return static_cast<double>(std::nextafter(largest, std::numeric_limits<float>::max())) - largest;
}

}  // namespace QuorViewer
