#pragma once

#include <chrono>
#include <cstdint>

namespace QuorViewer {

/// How many points a frame may draw. While the view moves, as many as can be drawn in a target time, learned from the
/// frames before. Once the view rests, the number doubles with each frame, until all that the picture can show is
/// drawn. One thread.
class FrameBudget {
 public:
  using Duration = std::chrono::duration<double>;

  /// `mostPoints`: at rest. `fixed`: the number never changes.
  FrameBudget(std::uint64_t mostPoints, bool fixed);

  /// Default: 33 ms.
  void setTarget(Duration target) { _target = target; }

  std::uint64_t points() const { return _resting ? _restPoints : _slowingPoints; }
  bool isFixed() const { return _fixed; }
  /// Whether more points may be drawn in the next frame of a view at rest.
  bool mayGrow() const { return !_fixed && _restPoints < _mostPoints; }

  /// Before a frame: whether the view differs from that of the frame before.
  void beginFrame(bool moved);
  /// After a frame: what it drew, in which time.
  void endFrame(std::uint64_t drawnPoints, Duration duration);

  static constexpr std::uint64_t kFewestPoints = 100000;

 private:
  void _note(double points, double seconds);
  double _affordablePoints() const;

  Duration _target{0.033};
  std::uint64_t _mostPoints;
  bool _fixed;
  bool _resting = false;
  std::uint64_t _movingPoints;   // that the machine can draw in the target time
  std::uint64_t _slowingPoints;  // while the view moves; falls to these
  std::uint64_t _restPoints;
  std::uint64_t _drawnPoints = 0;  // by the latest frame
  double _weight = 0.0;            // of the frames so far
  double _meanPoints = 0.0, _meanSeconds = 0.0, _variance = 0.0, _covariance = 0.0;
};

}  // namespace QuorViewer
