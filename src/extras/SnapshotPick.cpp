#include "manipulators/ScenePick.h"

#include <QuorOsgUtils/SnapshotPick.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <tuple>
#include <utility>
#include <vector>

namespace QuorOsgUtils {
namespace {

constexpr double kHalfPixel = 0.5;

bool isScene(float depth) {
  return depth >= 0.0f && depth < kBackgroundDepth;
}

/// The depth of a pixel by its index, or background if depths were not read.
float depthAt(const FrameSnapshot& frame, std::size_t pixel) {
  return pixel < frame.depths.size() ? frame.depths[pixel] : kBackgroundDepth;
}

/// Nothing if a copy of the values would reach beyond the vector.
template <typename Value>
std::array<Value, 4> channelsAt(const std::vector<Value>& values, std::size_t pixel) {
  std::array<Value, 4> channels{};
  if (values.size() >= 4 * (pixel + 1)) {
    std::copy_n(values.begin() + static_cast<std::ptrdiff_t>(4 * pixel), 4, channels.begin());
  }
  return channels;
}

/// The centre of a pixel of the window at its depth, relative to the region.
osg::Vec3d placeOf(const FrameSnapshot& frame, int x, int y, float depth) {
  return {x - frame.region.x + kHalfPixel, y - frame.region.y + kHalfPixel, depth};
}

struct Candidate {
  int x;
  int y;
  std::int64_t square;  // of its distance from the position, in pixels
  double distance;      // ahead of the eye's plane, in world units
  double depth;         // of the depth buffer
};

bool isBetter(const Candidate& a, const Candidate& b) {
  return std::tie(a.square, a.distance) < std::tie(b.square, b.distance);
}

/// Whether two groups of pixels, one before the other, may be parts of one continuous surface. On a plane the depth
/// buffer's values are an affine function of the pixel, in a perspective as in an orthographic view, although the
/// distances may differ by any amount from pixel to pixel. So it is continuous if most of the steps across the gap,
/// from a pixel of one group to the next one of the other in a row or column, are about as steep as the steps behind or
/// before them in the same line.
class Gap {
 public:
  Gap(const Candidate& farther, const Candidate& nearer, int reach)
      : _far(farther.depth), _near(nearer.depth), _reach(reach) {}

  /// `depthOf(x, y)` yields the depth of a pixel that counts, otherwise nothing.
  template <typename DepthOf>
  bool isContinuous(const std::vector<Candidate>& candidates, const DepthOf& depthOf) const {
    int steps = 0, explained = 0;
    for (const Candidate& candidate : candidates) {
      const Point from{candidate.x, candidate.y, candidate.depth, 0.0};
      for (const auto& [dx, dy] : {std::pair(1, 0), std::pair(-1, 0), std::pair(0, 1), std::pair(0, -1)}) {
        const std::optional<Point> across = _next(from, dx, dy, depthOf);
        if (across && _areOpposite(from, *across)) {
          ++steps;
          explained += _isExplained(from, *across, dx, dy, depthOf) ? 1 : 0;
        }
      }
    }
    return steps > 0 && 2 * explained >= steps;
  }

 private:
  struct Point {
    int x;
    int y;
    double depth;
    double slope;  // of the step to it, for each pixel
  };

  // Projections may have either direction of depths.
  bool _isFar(const Point& point) const { return (point.depth - _far) * (_far - _near) >= 0.0; }
  bool _isNear(const Point& point) const { return (point.depth - _near) * (_near - _far) >= 0.0; }
  bool _areOpposite(const Point& a, const Point& b) const {
    return (_isFar(a) && _isNear(b)) || (_isNear(a) && _isFar(b));
  }
  bool _areTogether(const Point& a, const Point& b) const {
    return (_isFar(a) && _isFar(b)) || (_isNear(a) && _isNear(b));
  }

  /// The next pixel that counts in a direction.
  template <typename DepthOf>
  std::optional<Point> _next(const Point& from, int dx, int dy, const DepthOf& depthOf) const {
    for (int step = 1; step <= _reach; ++step) {
      const int x = from.x + step * dx, y = from.y + step * dy;
      if (const std::optional<float> depth = depthOf(x, y)) {
        return Point{x, y, *depth, std::abs(*depth - from.depth) / step};
      }
    }
    return std::nullopt;
  }

  template <typename DepthOf>
  bool _isExplained(const Point& from, const Point& across, int dx, int dy, const DepthOf& depthOf) const {
    constexpr double kMuchSteeper = 4.0;
    const std::optional<Point> before = _next(from, -dx, -dy, depthOf), behind = _next(across, dx, dy, depthOf);
    const double slopeBefore = before && _areTogether(from, *before) ? before->slope : 0.0;
    const double slopeBehind = behind && _areTogether(across, *behind) ? behind->slope : 0.0;
    return across.slope <= kMuchSteeper * std::max(slopeBefore, slopeBehind);
  }

  const double _far;
  const double _near;
  const int _reach;
};

class Search {
 public:
  Search(const FrameSnapshot& frame, const PickRule& rule) : _frame(frame), _rule(rule) {
    const ViewState state = viewStateOf(frame);
    const bool isInvertible = _toView.invert(state.projection * windowMatrix(state));
    _usesDepths = isInvertible && std::isfinite(rule.muchNearerShare) && frame.depths.size() == frame.pixelCount();
  }

  std::optional<Candidate> nearest(int x, int y, int radius) const {
    std::vector<Candidate> found;
    _forEach(x, y, radius, [&](const Candidate& candidate) {
      if (_usesDepths || found.empty()) {
        found.push_back(candidate);
      } else if (isBetter(candidate, found.front())) {
        found.front() = candidate;
      }
    });
    return found.empty() ? std::nullopt : std::optional(_foremost(std::move(found), radius));
  }

 private:
  /// Calls `visit` with each pixel in the circle that counts.
  template <typename Visit>
  void _forEach(int x, int y, int radius, const Visit& visit) const {
    const PixelRectangle& region = _frame.region;
    const std::int64_t most = std::int64_t{radius} * radius;
    const auto first = [radius](int position, int start) {
      return static_cast<int>(std::max<std::int64_t>(std::int64_t{position} - radius, start));
    };
    const auto end = [radius](int position, int start, int size) {
      return std::min<std::int64_t>(std::int64_t{position} + radius + 1, std::int64_t{start} + size);
    };
    for (int row = first(y, region.y); row < end(y, region.y, region.height); ++row) {
      for (int column = first(x, region.x); column < end(x, region.x, region.width); ++column) {
        const std::int64_t dx = std::int64_t{column} - x, dy = std::int64_t{row} - y;
        const std::size_t pixel = *_frame.pixelAt(column, row);
        if (dx * dx + dy * dy <= most && _counts(pixel)) {
          visit(Candidate{column, row, dx * dx + dy * dy, _distanceAt(column, row, pixel), depthAt(_frame, pixel)});
        }
      }
    }
  }

  bool _counts(std::size_t pixel) const {
    const bool isIdentified = _rule.identifiedOnly && !_frame.itemIDs.empty();
    return isIdentified ? channelsAt(_frame.itemIDs, pixel)[0] != 0 : isScene(depthAt(_frame, pixel));
  }

  double _distanceAt(int x, int y, std::size_t pixel) const {
    return _usesDepths ? -(placeOf(_frame, x, y, depthAt(_frame, pixel)) * _toView).z() : 0.0;
  }

  /// A frustum's grows with the distance.
  double _heightAt(double distance) const {
    const osg::Matrixd& p = _frame.projectionMatrix;
    return std::abs(2.0 * (p(3, 3) - p(2, 3) * distance) / p(1, 1));
  }

  auto _depthOf() const {
    return [this](int x, int y) -> std::optional<float> {
      const std::optional<std::size_t> pixel = _frame.pixelAt(x, y);
      return pixel && _counts(*pixel) ? std::optional(depthAt(_frame, *pixel)) : std::nullopt;
    };
  }

  /// The nearest of the candidates, unless others are much nearer to the eye; then the nearest of those.
  Candidate _foremost(std::vector<Candidate> candidates, int reach) const {
    Candidate chosen = *std::min_element(candidates.begin(), candidates.end(), isBetter);
    std::sort(candidates.begin(), candidates.end(),
              [](const Candidate& a, const Candidate& b) { return a.distance > b.distance; });
    for (auto nearer = candidates.begin() + 1; nearer != candidates.end(); ++nearer) {
      const Candidate& farther = *(nearer - 1);
      const bool isGap = farther.distance - nearer->distance > _rule.muchNearerShare * _heightAt(farther.distance);
      if (isGap && nearer->distance < chosen.distance &&
          !Gap(farther, *nearer, reach).isContinuous(candidates, _depthOf())) {
        chosen = *std::min_element(nearer, candidates.end(), isBetter);
      }
    }
    return chosen;
  }

  const FrameSnapshot& _frame;
  const PickRule& _rule;
  osg::Matrixd _toView;
  bool _usesDepths = false;
};

}  // namespace

std::optional<osg::Vec3d> worldAt(const FrameSnapshot& frame, int x, int y) {
  const std::optional<std::size_t> pixel = frame.pixelAt(x, y);
  const float depth = pixel ? depthAt(frame, *pixel) : kBackgroundDepth;
  return isScene(depth) ? windowToWorld(viewStateOf(frame), placeOf(frame, x, y, depth)) : std::nullopt;
}

std::optional<SnapshotPick> pixelAt(const FrameSnapshot& frame, int x, int y) {
  const std::optional<std::size_t> pixel = frame.pixelAt(x, y);
  if (!pixel) {
    return std::nullopt;
  }
  return SnapshotPick{x,
                      y,
                      depthAt(frame, *pixel),
                      worldAt(frame, x, y),
                      channelsAt(frame.itemIDs, *pixel),
                      channelsAt(frame.itemFloats, *pixel),
                      channelsAt(frame.pcFloats, *pixel),
                      channelsAt(frame.pcInts, *pixel)};
}

std::optional<SnapshotPick> nearest(const FrameSnapshot& frame, int x, int y, int radiusPixels, const PickRule& rule) {
  const std::optional<Candidate> found = Search(frame, rule).nearest(x, y, radiusPixels);
  return found ? pixelAt(frame, found->x, found->y) : std::nullopt;
}

}  // namespace QuorOsgUtils
