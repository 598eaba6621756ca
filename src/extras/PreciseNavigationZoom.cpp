#include "extras/PointerEvents.h"
#include "extras/PointerRay.h"
#include "extras/ZoomStep.h"
#include "manipulators/NavigationEvents.h"
#include "manipulators/WheelStep.h"

#include <QuorOsgUtils/PreciseNavigation.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace QuorOsgUtils {

namespace {

constexpr double kFarthestRadii = 8.0;
constexpr double kLeastDistanceRadii = 1.0 / 5000.0;
constexpr double kSmallestDistance = 1e-9;

/// A scene of one point has no size of its own.
double radiusOf(const osg::BoundingBoxd& bounds) {
  const double radius = bounds.radius();
  return radius > 0.0 ? radius : 1.0;
}

bool isSamePose(const ViewPose& a, const ViewPose& b) {
  return a.centre == b.centre && a.distance == b.distance && a.rotation == b.rotation;
}

}  // namespace

bool PreciseNavigation::zoom(const Event& ea, osgGA::GUIActionAdapter& aa) {
  osg::Camera* const camera = cameraOf(aa);
  const double notches = notchesOf(ea, _scrollUnitsPerNotch);
  if (!camera || notches == 0.0) {
    return true;
  }
  navigation().setViewCenter(osg::Vec3d());
  if (navigation().isStationModel()) {
    _zoomStation(*camera, notches);
  } else if (frustumOf(camera->getProjectionMatrix())) {
    _approachPointer(*camera, pointerPosition(ea), notches);
  } else {
    _scaleOrthographic(*camera, pointerPosition(ea), notches);
  }
  aa.requestRedraw();
  return true;
}

void PreciseNavigation::_zoomStation(osg::Camera& camera, double notches) {
  constexpr double kLeastDegrees = 1.0;
  constexpr double kMostDegrees = 90.0;
  constexpr double kScalePerNotch = 0.75;
  double degrees = 0.0, aspectRatio = 0.0, zNear = 0.0, zFar = 0.0;
  if (camera.getProjectionMatrixAsPerspective(degrees, aspectRatio, zNear, zFar)) {
    const double wanted = std::clamp(degrees * std::pow(kScalePerNotch, notches), kLeastDegrees, kMostDegrees);
    camera.setProjectionMatrixAsPerspective(wanted, aspectRatio, zNear, zFar);
  }
}

double PreciseNavigation::_shareInUse() {
  constexpr double kLeastPercent = 1.0;
  constexpr double kMostPercent = 90.0;
  const double percent = navigation().getWheelZoomFactor();
  return (percent >= kLeastPercent ? std::min(percent, kMostPercent) : kLeastPercent) / 100.0;
}

double PreciseNavigation::_leastDistanceInUse() {
  const osg::BoundingBoxd bounds = _boundsInUse();
  const double automatic = bounds.valid() ? radiusOf(bounds) * kLeastDistanceRadii : 0.0;
  return std::max(_leastZoomDistance > 0.0 ? _leastZoomDistance : automatic, kSmallestDistance);
}

void PreciseNavigation::_scaleOrthographic(osg::Camera& camera, const osg::Vec2d& pointer, double notches) {
  const std::optional<ViewState> state = viewStateOf(camera, navigation());
  const std::optional<ProjectionBox> box = state ? orthoOf(state->projection) : std::nullopt;
  if (!box) {
    return;
  }
  const double height = std::abs(box->top - box->bottom);
  const osg::BoundingBoxd bounds = _boundsInUse();
  const double most =
      bounds.valid() ? std::max(2.0 * kFarthestRadii * radiusOf(bounds), height) : std::numeric_limits<double>::max();
  const double least = std::min(_leastDistanceInUse(), height);
  const double wanted = std::clamp(height * orthographicZoomScale(notches, _shareInUse()), least, most);
  const std::optional<OrthographicWheelStep> step =
      orthographicScaling(*state, pointer.x(), pointer.y(), wanted / height);
  if (step) {
    camera.setProjectionMatrix(step->projection);
    navigation().setCenter(navigation().getCenter() + step->movement);
  }
}

void PreciseNavigation::_approachPointer(osg::Camera& camera, const osg::Vec2d& pointer, double notches) {
  const bool continues = _continues(pointer);
  if (continues && _undoStep(notches)) {
    return;
  }
  if (!continues) {
    _aim(camera, pointer, false);
  } else if (notches > 0.0) {
    _refine(camera, pointer);
  }
  if (_approach) {
    _step(notches);
  }
}

// The opposite of the latest step, exactly.
bool PreciseNavigation::_undoStep(double notches) {
  if (_approach->steps.empty() || _approach->steps.back().notches != -notches) {
    return false;
  }
  const ZoomStepTaken step = _approach->steps.back();
  _approach->steps.pop_back();
  navigation().setCenter(step.before.centre);
  navigation().setDistance(step.before.distance);
  _approach->target = step.target;
  _approach->direction = step.direction;
  _approach->pose = poseOf(navigation());
  return true;
}

// One pixel of a distant view shows many points, and the space between them: the target follows the nearest of the
// points that come into sight.
void PreciseNavigation::_refine(osg::Camera& camera, const osg::Vec2d& pointer) {
  if (!_approach->isScene || _isReached()) {
    return _aim(camera, pointer, true);
  }
  if (const std::optional<osg::Vec3d> point = _pointCloseTo(camera, _approach->target)) {
    _setTarget({*point, true});
  }
}

bool PreciseNavigation::_continues(const osg::Vec2d& pointer) {
  constexpr double kSamePlacePixels = 2.0;
  return _approach && (pointer - _approach->pointer).length() <= kSamePlacePixels &&
         isSamePose(_approach->pose, poseOf(navigation()));
}

bool PreciseNavigation::_isReached() {
  return (_approach->target - poseOf(navigation()).eye()) * _approach->direction < _leastDistanceInUse();
}

// A zoom that has reached its target continues to the next scene point ahead, and past the target if there is none.
void PreciseNavigation::_aim(osg::Camera& camera, const osg::Vec2d& pointer, bool continues) {
  const std::optional<ViewState> state = viewStateOf(camera, navigation());
  const std::optional<FoundPivot> target = state ? _targetUnder(*state, camera, pointer) : std::nullopt;
  if (!target) {
    _approach.reset();
    return;
  }
  const bool isAhead = target->isScene && distanceAhead(*state, target->point) > _leastDistanceInUse();
  if (isAhead || !continues) {
    _aimAt(*target, pointer);
  }
}

// Over background: at the depth of the latest scene point, or of the orbit centre.
std::optional<PreciseNavigation::FoundPivot> PreciseNavigation::_targetUnder(const ViewState& state,
                                                                             osg::Camera& camera,
                                                                             const osg::Vec2d& pointer) {
  if (const std::optional<osg::Vec3d> scene = _pointNear(camera, pointer, _searchRadiusPixels)) {
    return FoundPivot{*scene, true};
  }
  const double latest = _lastScenePoint ? distanceAhead(state, *_lastScenePoint) : 0.0;
  const double ahead = latest > _leastDistanceInUse() ? latest : navigation().getDistance();
  const std::optional<osg::Vec3d> inView = viewPointAhead(state, pointer, ahead);
  return inView ? std::optional(FoundPivot{*inView * navigation().getMatrix(), false}) : std::nullopt;
}

void PreciseNavigation::_aimAt(const FoundPivot& target, const osg::Vec2d& pointer) {
  const ViewPose pose = poseOf(navigation());
  const osg::BoundingBoxd bounds = _boundsInUse();
  const double farthest = bounds.valid()
                              ? std::max(kFarthestRadii * radiusOf(bounds), (pose.eye() - bounds.center()).length())
                              : std::numeric_limits<double>::max();
  std::vector<ZoomStepTaken> steps;
  if (_approach && isSamePose(_approach->pose, pose)) {
    steps = std::move(_approach->steps);
  }
  _approach = Approach{osg::Vec3d(), osg::Vec3d(), pointer, pose, false, farthest, std::move(steps)};
  _setTarget(target);
}

void PreciseNavigation::_setTarget(const FoundPivot& target) {
  const ViewPose pose = poseOf(navigation());
  osg::Vec3d direction = target.point - pose.eye();
  if (!(direction.normalize() > 0.0)) {
    direction = pose.direction();
  }
  _approach->target = target.point;
  _approach->direction = direction;
  _approach->isScene = target.isScene;
}

void PreciseNavigation::_step(double notches) {
  const ViewPose before = poseOf(navigation());
  const double least = _leastDistanceInUse();
  const double distance = (_approach->target - before.eye()) * _approach->direction;
  const osg::Vec3d wanted =
      _approach->target - _approach->direction * approached(distance, notches, {_shareInUse(), least});
  const osg::BoundingBoxd bounds = _boundsInUse();
  const osg::Vec3d eye =
      bounds.valid() ? keptWithin(before.eye(), wanted, bounds.center(), _approach->farthest) : wanted;
  if (!ifFinite(eye)) {
    return;
  }
  if (eye == wanted) {
    _rememberStep(notches, before);
  } else {
    _approach->steps.clear();  // a shortened step has no opposite
  }
  const double ahead = std::max((_approach->target - eye) * before.direction(), least);
  navigation().setCenter(eye + before.direction() * ahead);
  navigation().setDistance(ahead);
  _approach->pose = poseOf(navigation());
}

void PreciseNavigation::_rememberStep(double notches, const ViewPose& before) {
  constexpr std::size_t kMostSteps = 10000;
  std::vector<ZoomStepTaken>& steps = _approach->steps;
  if (steps.size() >= kMostSteps) {
    steps.erase(steps.begin(), steps.begin() + kMostSteps / 2);
  }
  steps.push_back({notches, before, _approach->target, _approach->direction});
}

}  // namespace QuorOsgUtils
