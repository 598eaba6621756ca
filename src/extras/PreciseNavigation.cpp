#include "extras/PointerEvents.h"
#include "extras/PointerRay.h"
#include "extras/ScenePoint.h"
#include "extras/Turntable.h"
#include "manipulators/NavigationEvents.h"
#include "manipulators/ScenePick.h"

#include <QuorOsgUtils/PreciseNavigation.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace QuorOsgUtils {

namespace {

osg::Vec2d middleOf(const osg::Camera& camera) {
  const osg::Viewport& viewport = *camera.getViewport();
  return osg::Vec2d(viewport.x(), viewport.y()) + osg::Vec2d(viewport.width(), viewport.height()) * 0.5;
}

/// Of a perspective projection.
std::optional<double> fieldOfViewDegrees(const osg::Camera& camera) {
  double degrees = 0.0, aspectRatio = 0.0, zNear = 0.0, zFar = 0.0;
  const bool isPerspective = camera.getProjectionMatrixAsPerspective(degrees, aspectRatio, zNear, zFar);
  return isPerspective ? std::optional<double>(degrees) : std::nullopt;
}

}  // namespace

PreciseNavigation::PreciseNavigation()
    : _fallbacks{PivotFallback::NearbyPixels, PivotFallback::LastPivot, PivotFallback::SceneBounds,
                 PivotFallback::OrbitCentre} {}

PreciseNavigation::PreciseNavigation(const PreciseNavigation& other) = default;

PreciseNavigation::~PreciseNavigation() = default;

void PreciseNavigation::setPivotFallbacks(std::vector<PivotFallback> fallbacks) {
  _fallbacks = std::move(fallbacks);
}

const std::vector<PivotFallback>& PreciseNavigation::getPivotFallbacks() const {
  return _fallbacks;
}

void PreciseNavigation::setSearchRadius(int pixels) {
  _searchRadiusPixels = std::max(pixels, 0);
}

int PreciseNavigation::getSearchRadius() const {
  return _searchRadiusPixels;
}

void PreciseNavigation::setRotationSpeed(double degreesPerHalfWindow) {
  _rotationSpeedDegrees = degreesPerHalfWindow;
}

double PreciseNavigation::getRotationSpeed() const {
  return _rotationSpeedDegrees;
}

void PreciseNavigation::setLeastZoomDistance(double distance) {
  _leastZoomDistance = distance;
}

double PreciseNavigation::getLeastZoomDistance() const {
  return _leastZoomDistance;
}

void PreciseNavigation::setSceneBounds(const osg::BoundingBoxd& bounds) {
  _sceneBounds = bounds;
}

const osg::BoundingBoxd& PreciseNavigation::getSceneBounds() const {
  return _sceneBounds;
}

void PreciseNavigation::setScrollUnitsPerNotch(double units) {
  _scrollUnitsPerNotch = units;
}

double PreciseNavigation::getScrollUnitsPerNotch() const {
  return _scrollUnitsPerNotch;
}

const std::optional<osg::Vec3d>& PreciseNavigation::getLastScenePoint() const {
  return _lastScenePoint;
}

std::optional<osg::Vec3d> PreciseNavigation::getVisibleScenePoint(const osg::Camera& camera) {
  const std::optional<ViewState> state = viewStateOf(camera, navigation());
  return state && _lastScenePoint && isOnScreen(*state, *_lastScenePoint) ? _lastScenePoint : std::nullopt;
}

void PreciseNavigation::forgetScenePoints() {
  _lastScenePoint.reset();
  _grabbed.reset();
  _pannedTo.reset();
  _approach.reset();
}

osg::BoundingBoxd PreciseNavigation::_boundsInUse() {
  if (_sceneBounds.valid()) {
    return _sceneBounds;
  }
  osg::BoundingBoxd bounds;
  const osg::Node* const node = navigation().getNode();
  if (node && node->getBound().valid()) {
    const osg::BoundingSphere& sphere = node->getBound();
    bounds.expandBy(osg::BoundingSphered(sphere.center(), sphere.radius()));
  }
  return bounds;
}

// The captured frame's own matrices: the user pressed what that frame showed.
std::optional<osg::Vec3d> PreciseNavigation::_pointNear(osg::Camera& camera, const osg::Vec2d& position,
                                                        int reachPixels) {
  const PickFrame frame(camera);
  if (!frame) {
    return std::nullopt;
  }
  const std::optional<osg::Vec3d> point =
      scenePointNear(frame.depths(), frame.state(), position - frame.origin(), reachPixels);
  _lastScenePoint = point ? point : _lastScenePoint;
  return point;
}

std::optional<osg::Vec3d> PreciseNavigation::_pointCloseTo(osg::Camera& camera, const osg::Vec3d& target) {
  const PickFrame frame(camera);
  if (!frame) {
    return std::nullopt;
  }
  const ViewState state = frame.state();
  const std::optional<osg::Vec3d> point =
      scenePointNear(frame.depths(), state, windowPosition(state, target), _searchRadiusPixels);
  constexpr double kSameSurfaceShare = 0.25;
  const double ahead = distanceAhead(state, target);
  const bool isSame = point && std::abs(distanceAhead(state, *point) - ahead) <= kSameSurfaceShare * ahead;
  return isSame ? point : std::nullopt;
}

std::optional<osg::Vec3d> PreciseNavigation::_pointOf(PivotFallback fallback, osg::Camera& camera,
                                                      const osg::Vec2d& position) {
  switch (fallback) {
    case PivotFallback::NearbyPixels:
      return _pointNear(camera, position, _searchRadiusPixels);
    case PivotFallback::LastPivot:
      return getVisibleScenePoint(camera);
    case PivotFallback::SceneBounds: {
      const std::optional<ViewState> state = viewStateOf(camera, navigation());
      const std::optional<PointerRay> ray = state ? pointerRay(*state, position) : std::nullopt;
      const osg::BoundingBoxd bounds = _boundsInUse();
      return ray && bounds.valid() ? middleInside(*ray, bounds) : std::nullopt;
    }
    case PivotFallback::OrbitCentre:
      return navigation().getCenter();
  }
  return std::nullopt;
}

std::optional<PreciseNavigation::FoundPivot> PreciseNavigation::findPivot(osg::Camera& camera,
                                                                          const osg::Vec2d& position) {
  if (const std::optional<osg::Vec3d> point = _pointNear(camera, position, 0)) {
    return FoundPivot{*point, true};
  }
  for (const PivotFallback fallback : _fallbacks) {
    if (const std::optional<osg::Vec3d> point = _pointOf(fallback, camera, position)) {
      return FoundPivot{*point, false};
    }
  }
  return std::nullopt;
}

bool PreciseNavigation::centreOnScene(osg::Camera& camera) {
  const ViewPose pose = poseOf(navigation());
  const osg::Viewport* const viewport = camera.getViewport();
  const std::optional<FoundPivot> found = viewport ? findPivot(camera, middleOf(camera)) : std::nullopt;
  const double distance = found ? (found->point - pose.eye()) * pose.direction() : 0.0;
  if (!(distance > 0.0) || !std::isfinite(distance)) {
    return false;
  }
  navigation().setCenter(pose.eye() + pose.direction() * distance);
  navigation().setDistance(distance);
  return true;
}

std::optional<osg::Vec2d> PreciseNavigation::turnOf(const Event* from, const Event* to) {
  const std::optional<PointerMove> move = pointerMove(from, to);
  const double radians = osg::DegreesToRadians(_rotationSpeedDegrees * navigation().getRotationFactor());
  if (!move || !std::isfinite(radians)) {
    return std::nullopt;
  }
  const double width = static_cast<double>(to->getXmax()) - to->getXmin();
  const double height = static_cast<double>(to->getYmax()) - to->getYmin();
  return osg::Vec2d(move->toX - move->fromX, (move->toY - move->fromY) * (width > 0.0 ? height / width : 1.0)) *
         radians;
}

bool PreciseNavigation::lookAround(const std::optional<osg::Vec2d>& turn, const osg::Camera* camera) {
  if (!turn) {
    return false;
  }
  const double field = (camera ? fieldOfViewDegrees(*camera) : std::nullopt).value_or(kStationFieldDegrees);
  const double zoomed = std::min(field / kStationFieldDegrees, 1.0);
  const ViewPose pose = poseOf(navigation());
  const PitchAndYaw parts = pitchAndYawOf(turntable(pose.rotation, *turn * zoomed));
  navigation().setPitchWithYawQuat(parts.pitch, parts.yaw);
  navigation().setCenter(pose.eye() + poseOf(navigation()).direction() * pose.distance);
  return true;
}

}  // namespace QuorOsgUtils
