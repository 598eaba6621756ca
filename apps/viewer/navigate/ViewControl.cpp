#include "viewer/navigate/ViewControl.h"

#include "viewer/ui/Format.h"

#include <osg/Viewport>

#include <algorithm>

namespace QuorViewer {
namespace {

constexpr Direction kHomeDirection = {145.0, 32.0};
constexpr double kHomeMargin = 1.16;     // the status bar covers a little of the image
constexpr double kCloseLookShare = 0.4;  // height of the image in a close look, as a fraction of the scene's radius
constexpr double kSmallestHeight = 1e-6;

// The planes are recomputed for every frame; these are only their initial values.
constexpr double kStartNear = 1.0;
constexpr double kStartFar = 1000.0;

struct ViewBox {
  double left = 0.0, right = 0.0, bottom = 0.0, top = 0.0, nearPlane = 0.0, farPlane = 0.0;
};

}  // namespace

ViewControl::ViewControl(osg::Camera& camera, Navigator& navigator)
    : _camera(camera),
      _navigator(navigator),
      _bounds(-1.0, -1.0, -1.0, 1.0, 1.0, 1.0),
      _places({_bounds.corner(0), _bounds.corner(7)}) {}

void ViewControl::setContent(const osg::BoundingBoxd& bounds, const std::vector<osg::Vec3f>& places) {
  if (bounds.valid() && !places.empty()) {
    _bounds = bounds;
    _places = places;
    _navigator.setSceneBounds(bounds);
  }
}

View ViewControl::view() const {
  return {_navigator.pose(), _pictureHeight(), isOrthographic()};
}

void ViewControl::setView(const View& view) {
  _navigator.setPose(view.pose);
  _setPictureHeight(view.height);
}

View ViewControl::homeView() const {
  const osg::Quat rotation = kHomeDirection.pitch() * kHomeDirection.yaw();
  const Framing framing =
      isOrthographic() ? frameOrthographic(_places, rotation, _field()) : framePerspective(_places, rotation, _field());
  return _viewOf(framing.centre, rotation, framing.height * kHomeMargin);
}

View ViewControl::viewOf(const osg::BoundingBoxd& bounds) const {
  std::vector<osg::Vec3f> corners;
  for (unsigned int corner = 0; corner < 8; ++corner) {
    corners.emplace_back(bounds.corner(corner));
  }
  const osg::Quat rotation = _navigator.pose().rotation;
  const Framing framing =
      isOrthographic() ? frameOrthographic(corners, rotation, _field()) : framePerspective(corners, rotation, _field());
  return _viewOf(framing.centre, rotation, framing.height * kHomeMargin);
}

View ViewControl::closeView(const osg::Vec3d& point) const {
  return _viewOf(point, _navigator.pose().rotation, std::min(_pictureHeight(), _radius() * kCloseLookShare));
}

View ViewControl::presetView(QuorOsgUtils::ViewPreset preset) const {
  return {turnedAbout(_navigator.pose(), _navigator.pivot(), rotationOf(preset)), _pictureHeight(), isOrthographic()};
}

// A single point has no height of its own.
View ViewControl::_viewOf(const osg::Vec3d& centre, const osg::Quat& rotation, double framedHeight) const {
  const double height = framedHeight > kSmallestHeight ? framedHeight : 1.0;
  const double distance = isOrthographic() ? _distanceBehindEverything(centre) : distanceForHeight(height, _field());
  return {{centre, distance, rotation}, height, isOrthographic()};
}

bool ViewControl::isOrthographic() const {
  ViewBox box;
  return _camera.getProjectionMatrixAsOrtho(box.left, box.right, box.bottom, box.top, box.nearPlane, box.farPlane);
}

void ViewControl::toggleProjection() {
  _navigator.centreOnScene();
  const double height = _pictureHeight();
  if (isOrthographic()) {
    resetFieldOfView();
  } else {
    _camera.setProjectionMatrixAsOrtho(-1.0, 1.0, -1.0, 1.0, kStartNear, kStartFar);
  }
  _setPictureHeight(height);
}

double ViewControl::fieldOfViewDegrees() const {
  double verticalDegrees = 0.0, aspectRatio = 0.0, nearPlane = 0.0, farPlane = 0.0;
  const bool perspective = _camera.getProjectionMatrixAsPerspective(verticalDegrees, aspectRatio, nearPlane, farPlane);
  return perspective ? verticalDegrees : 0.0;
}

void ViewControl::setFieldOfView(double verticalDegrees) {
  _camera.setProjectionMatrixAsPerspective(verticalDegrees, _field().aspectRatio, kStartNear, kStartFar);
}

// OSG moves the near plane no closer than this share of the far plane's distance, which would clip the points in a
// close look at a large scan.
void ViewControl::adaptNearPlane() {
  constexpr double kNearShare = 0.02;  // of the distance to the centre
  constexpr double kLeastRatio = 1e-5;
  constexpr double kMostRatio = 5e-4;  // OSG's default
  const ViewPose pose = _navigator.pose();
  const double farthest = (pose.eye() - _bounds.center()).length() + _radius();
  _camera.setNearFarRatio(std::clamp(kNearShare * pose.distance / farthest, kLeastRatio, kMostRatio));
}

std::string ViewControl::describe(const osg::Vec3d& origin) const {
  osg::Vec3d eye, centre, up;
  _camera.getViewMatrixAsLookAt(eye, centre, up);
  constexpr int kDecimals = 6;
  constexpr int kMatrixDecimals = 9;
  std::string text = "view eye " + coordinates(eye + origin, kDecimals) + " centre " +
                     coordinates(centre + origin, kDecimals) + " up " + coordinates(up, kDecimals) + " projection";
  for (int element = 0; element < 16; ++element) {
    text += ' ' + fixed(_camera.getProjectionMatrix().ptr()[element], kMatrixDecimals);
  }
  return text;
}

FieldOfView ViewControl::_field() const {
  const osg::Viewport* viewport = _camera.getViewport();
  const bool hasArea = viewport != nullptr && viewport->width() >= 1.0 && viewport->height() >= 1.0;
  return {_navigator.manipulator().getFov(), hasArea ? viewport->aspectRatio() : 1.0};
}

double ViewControl::_radius() const {
  return std::max(_bounds.radius(), kSmallestHeight);
}

double ViewControl::_pictureHeight() const {
  ViewBox box;
  if (_camera.getProjectionMatrixAsOrtho(box.left, box.right, box.bottom, box.top, box.nearPlane, box.farPlane)) {
    return box.top - box.bottom;
  }
  return heightAtDistance(_navigator.manipulator().getDistance(), _field());
}

void ViewControl::_setPictureHeight(double height) {
  const FieldOfView field = _field();
  const double used = std::max(height, kSmallestHeight);
  if (!isOrthographic()) {
    _navigator.manipulator().setDistance(distanceForHeight(used, field));
    return;
  }
  const double halfHeight = 0.5 * used;
  const double halfWidth = halfHeight * field.aspectRatio;
  _camera.setProjectionMatrixAsOrtho(-halfWidth, halfWidth, -halfHeight, halfHeight, kStartNear, kStartFar);
  _navigator.manipulator().setDistance(_distanceBehindEverything(_navigator.manipulator().getCenter()));
}

// An orthographic image is the same from any distance, but everything behind the eye is clipped, so the eye is far
// away.
double ViewControl::_distanceBehindEverything(const osg::Vec3d& centre) const {
  return ((centre - _bounds.center()).length() + _radius()) * 2.0;
}

}  // namespace QuorViewer
