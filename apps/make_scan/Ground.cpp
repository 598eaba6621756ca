#include "make_scan/Ground.h"

#include <algorithm>

namespace QuorViewer {

bool Ground::isFree(const osg::Vec2d& place, double radius) const {
  return std::none_of(_taken.begin(), _taken.end(),
                      [&](const Disc& disc) { return (disc.centre - place).length() < disc.radius + radius; });
}

}  // namespace QuorViewer
