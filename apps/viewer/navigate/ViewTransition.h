#pragma once

#include "viewer/navigate/ViewControl.h"

#include <osg/Vec3d>

#include <chrono>
#include <optional>

namespace QuorViewer {

/// A short animated change of the view. Times are those of a steady clock, so that a slow computer shows fewer steps
/// and is not slower.
class ViewTransition {
 public:
  using Time = std::chrono::steady_clock::time_point;

  /// Starts from the given view. `fixed`, a world point, moves straight through the picture, or stays in place if it
  /// has the same position in both views.
  void start(const View& from, const View& to, const osg::Vec3d& fixed, Time now);
  void stop() { _motion.reset(); }
  bool isRunning() const { return _motion.has_value(); }
  /// Where the running transition ends.
  const View& target() const { return _motion->to; }
  /// The view to show now. Ends the transition with its last view. Expects a running transition.
  View advance(Time now);

 private:
  struct Motion {
    View from;
    View to;
    osg::Vec3d fixed;
    Time start;
  };

  std::optional<Motion> _motion;
};

}  // namespace QuorViewer
