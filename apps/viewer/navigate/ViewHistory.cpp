#include "viewer/navigate/ViewHistory.h"

#include <algorithm>
#include <cmath>

namespace QuorViewer {

// The orbit centre may be at any depth. In an orthographic picture the eye may be, too.
bool isSameView(const View& a, const View& b) {
  constexpr double kTolerance = 1e-6;
  const auto isNear = [](const osg::Vec3d& way, double scale) { return way.length() <= kTolerance * scale; };
  const auto upOf = [](const View& view) { return view.pose.rotation * osg::Vec3d(0.0, 1.0, 0.0); };
  const osg::Vec3d direction = a.pose.direction();
  if (!isNear(direction - b.pose.direction(), 1.0) || !isNear(upOf(a) - upOf(b), 1.0)) {
    return false;
  }
  const double scale = std::max(a.height, b.height);
  const osg::Vec3d way = a.pose.eye() - b.pose.eye();
  if (a.orthographic || b.orthographic) {
    return std::abs(a.height - b.height) <= kTolerance * scale && isNear(way - direction * (way * direction), scale);
  }
  return isNear(way, scale);
}

void ViewHistory::leave(const View& view) {
  constexpr std::size_t kMostViews = 200;
  if (!_behind.empty() && isSameView(_behind.back(), view)) {
    return;
  }
  _behind.push_back(view);
  _ahead.clear();
  if (_behind.size() > kMostViews) {
    _behind.erase(_behind.begin());
  }
}

std::optional<View> ViewHistory::back(const View& current) {
  return _step(_behind, _ahead, current);
}

std::optional<View> ViewHistory::forward(const View& current) {
  return _step(_ahead, _behind, current);
}

std::optional<View> ViewHistory::_step(std::vector<View>& from, std::vector<View>& to, const View& current) {
  while (!from.empty() && isSameView(from.back(), current)) {
    from.pop_back();
  }
  if (from.empty()) {
    return std::nullopt;
  }
  const View found = from.back();
  from.pop_back();
  to.push_back(current);
  return found;
}

void ViewHistory::clear() {
  _behind.clear();
  _ahead.clear();
}

}  // namespace QuorViewer
