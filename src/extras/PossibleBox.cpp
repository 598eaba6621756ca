#include "extras/PossibleBox.h"

#include <QuorOsgUtils/ClipBoxControl.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace QuorOsgUtils {
namespace {

// A square that is not a normal number loses the digits that the rotation is normalised with.
bool isRotation(const osg::Quat& rotation) {
  return std::isfinite(rotation.length2()) && rotation.length2() > std::numeric_limits<double>::min();
}

}  // namespace

bool isFinite(const osg::Vec3d& vector) {
  return std::isfinite(vector.x()) && std::isfinite(vector.y()) && std::isfinite(vector.z());
}

bool isPossibleBox(const osg::BoundingBoxd& box, const osg::Quat& rotation) {
  const osg::Vec3d size = box._max - box._min;
  const auto [shortest, longest] = std::minmax({size.x(), size.y(), size.z()});
  return isFinite(box._min) && isFinite(box._max) && isRotation(rotation) &&
         shortest >= ClipBoxControl::leastExtent(longest);
}

}  // namespace QuorOsgUtils
