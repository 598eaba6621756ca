#include "viewer/navigate/ViewTransition.h"

#include <algorithm>

namespace QuorViewer {

void ViewTransition::start(const View& from, const View& to, const osg::Vec3d& fixed, Time now) {
  _motion = Motion{from, to, fixed, now};
}

View ViewTransition::advance(Time now) {
  constexpr std::chrono::duration<double> kDuration(0.25);
  const double share = std::clamp((now - _motion->start) / kDuration, 0.0, 1.0);
  const Motion motion = *_motion;
  if (share >= 1.0) {
    stop();
    return motion.to;
  }
  const double eased = share * share * (3.0 - 2.0 * share);  // starts and ends at rest
  return {interpolated(motion.from.pose, motion.to.pose, motion.fixed, eased),
          motion.from.height + (motion.to.height - motion.from.height) * eased, motion.to.orthographic};
}

}  // namespace QuorViewer
