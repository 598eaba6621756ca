#include "viewer/render/FrameBudget.h"

#include <algorithm>
#include <cmath>

namespace QuorViewer {
namespace {

constexpr std::uint64_t kFirstPoints = 1000000;
// The weight of a frame decreases by this with each further one: the machine's speed may change.
constexpr double kDecay = 0.9;
// The budget follows slowly, because frames vary.
constexpr double kGain = 0.3;

// When the view begins to move, the points of the picture at rest leave over several frames.
constexpr double kKeptShare = 0.85;      // from one frame to the next
constexpr double kMostOverTarget = 3.0;  // times what can be drawn in the target time

}  // namespace

FrameBudget::FrameBudget(std::uint64_t mostPoints, bool fixed)
    : _mostPoints(mostPoints),
      _fixed(fixed),
      _movingPoints(fixed ? mostPoints : std::min(kFirstPoints, mostPoints)),
      _slowingPoints(_movingPoints),
      _restPoints(_movingPoints) {}

void FrameBudget::beginFrame(bool moved) {
  if (!moved && _resting && mayGrow()) {
    _restPoints = std::min(2 * _restPoints, _mostPoints);
  } else if (moved) {
    const auto before = static_cast<double>(_resting ? _drawnPoints : _slowingPoints);
    const double kept = std::min(kKeptShare * before, kMostOverTarget * static_cast<double>(_movingPoints));
    _slowingPoints = std::clamp(static_cast<std::uint64_t>(kept), _movingPoints, _mostPoints);
    _restPoints = _slowingPoints;
  }
  _resting = !moved;
}

void FrameBudget::endFrame(std::uint64_t drawnPoints, Duration duration) {
  _drawnPoints = drawnPoints;
  if (_fixed || drawnPoints == 0 || duration.count() <= 0.0) {
    return;
  }
  _note(static_cast<double>(drawnPoints), duration.count());
  const double next = static_cast<double>(_movingPoints) * (1.0 - kGain) + _affordablePoints() * kGain;
  _movingPoints = static_cast<std::uint64_t>(
      std::clamp(next, static_cast<double>(std::min(kFewestPoints, _mostPoints)), static_cast<double>(_mostPoints)));
}

// Weighted means, variance and covariance of points and seconds, updated frame by frame.
void FrameBudget::_note(double points, double seconds) {
  _weight = _weight * kDecay + 1.0;
  const double share = 1.0 / _weight;
  const double fromMeanPoints = points - _meanPoints;
  const double fromMeanSeconds = seconds - _meanSeconds;
  _meanPoints += share * fromMeanPoints;
  _meanSeconds += share * fromMeanSeconds;
  _variance = (1.0 - share) * (_variance + share * fromMeanPoints * fromMeanPoints);
  _covariance = (1.0 - share) * (_covariance + share * fromMeanPoints * fromMeanSeconds);
}

// A frame takes a time of its own and a time for each point: the line of regression, if the frames differ enough. Where
// the frame's own time leaves little of the target, the points may take half of it.
double FrameBudget::_affordablePoints() const {
  constexpr double kEnoughVariation = 0.05;
  double perPoint = _meanSeconds / _meanPoints;
  double own = 0.0;
  if (_covariance > 0.0 && std::sqrt(_variance) > kEnoughVariation * _meanPoints) {
    perPoint = std::min(_covariance / _variance, perPoint);
    own = _meanSeconds - perPoint * _meanPoints;
  }
  return std::max(_target.count() - own, 0.5 * own) / perPoint;
}

}  // namespace QuorViewer
