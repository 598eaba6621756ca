#include <QuorOsgUtils/ClipBoxControl.h>

#include <osg/Math>
#include <osg/Transform>
#include <osgUtil/LineSegmentIntersector>

#include <algorithm>
#include <cmath>
#include <memory>

namespace QuorOsgUtils {
namespace {

using Event = osgGA::GUIEventAdapter;

constexpr double kLeastSightDegrees = 5.0;
constexpr float kArrowLengthPixels = 150.0f;
constexpr float kRingPickRadius = 1.1f;
// At the ring's nearest point to the eye a drag may rotate either way; this far beside it the direction is clear.
constexpr double kBesideNearestDegrees = 20.0;

osg::Matrixd toScene(const osg::Node& node) {
  const osg::NodePathList paths = node.getParentalNodePaths();
  return paths.empty() ? osg::Matrixd() : osg::computeLocalToWorld(paths.front(), true);
}

double snapped(double value, double step) {
  return step > 0.0 ? std::round(value / step) * step : value;
}

osg::Vec3d snapped(const osg::Vec3d& value, double step) {
  return {snapped(value.x(), step), snapped(value.y(), step), snapped(value.z(), step)};
}

bool isPress(const osgGA::GUIEventAdapter& ea) {
  return ea.getEventType() == Event::PUSH && ea.getButton() == Event::LEFT_MOUSE_BUTTON;
}

void setHighlighted(osg::Node& handle, bool highlighted) {
  handle.getOrCreateStateSet()->getOrCreateUniform("highlighted", osg::Uniform::BOOL)->set(highlighted);
}

}  // namespace

bool ClipBoxControl::handle(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) {
  const osg::ref_ptr<ClipBoxControl> kept(this);  // the listener may release it
  if (_swallow(ea)) {
    return true;
  }
  const bool isEscape = ea.getEventType() == Event::KEYDOWN && ea.getKey() == Event::KEY_Escape;
  if (isEscape && _escapeCancels && !ea.getHandled() && cancelDrag()) {
    aa.requestRedraw();
    return true;
  }
  const bool isHandled = BoxCutterDragger::handle(ea, aa);
  return isHandled || (_isCancelled && isPress(ea));  // the listener has refused the press
}

// What follows a cancelled drag until the button is released is for nobody: a camera manipulator would take it for a
// drag of its own. If the release was not sent here, a press or a drag of other buttons ends this.
bool ClipBoxControl::_swallow(const osgGA::GUIEventAdapter& ea) {
  if (ea.getEventType() == Event::DRAG) {
    _isCancelled = _isCancelled && (ea.getButtonMask() & Event::LEFT_MOUSE_BUTTON) != 0;
    return _isCancelled;
  }
  const bool isRelease = ea.getEventType() == Event::RELEASE && ea.getButton() == Event::LEFT_MOUSE_BUTTON;
  const bool isSwallowed = _isCancelled && isRelease;
  _isCancelled = _isCancelled && !isRelease && !isPress(ea);
  return isSwallowed;
}

bool ClipBoxControl::handle(const BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea,
                            osgGA::GUIActionAdapter& aa) {
  if (ea.getEventType() == Event::PUSH) {
    return _begin(pointer, ea, aa);
  }
  const osg::Vec2f position(ea.getX(), ea.getY());
  if (ea.getEventType() == Event::DRAG && position == _latestPosition) {
    return true;  // the base would rotate by a rounding error
  }
  _latestPosition = position;
  const ClipBoxState before = state();
  const bool isHandled = BoxCutterDragger::handle(pointer, ea, aa);
  if (ea.getEventType() == Event::DRAG && isHandled) {
    _followSnapped();
    if (state() != before) {
      _tell(&ClipBoxListener::changed);
    }
  }
  if (ea.getEventType() == Event::RELEASE) {
    const ClipBoxState after = state();
    _place(after.box, after.rotation);
    _draggerActive = false;  // as the base does after this call, but the listener may change the box
    _tell(&ClipBoxListener::ended);
  }
  return isHandled;
}

bool ClipBoxControl::_begin(const BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea,
                            osgGA::GUIActionAdapter& aa) {
  _atPress = state();
  _place(_atPress.box, _atPress.rotation);
  _extentsAtPress = _extents;
  _matrixAtPress = getMatrix();
  _latestPosition.set(ea.getX(), ea.getY());
  _setLeastExtent();
  _chooseOverlappingFace();
  if (_pointsAtEye(pointer) || !BoxCutterDragger::handle(pointer, ea, aa)) {
    return false;
  }
  _draggerActive = true;  // as the base does after this call, but the listener may cancel the drag
  _tell(&ClipBoxListener::began);
  return _draggerActive;
}

// The listener is kept, because its function may replace it.
void ClipBoxControl::_tell(Told function, bool isCancelled) const {
  const std::shared_ptr<const ClipBoxListener> listener = _listener;
  if ((*listener).*function) {
    ((*listener).*function)({_atPress, state(), isCancelled});
  }
}

// The base measures each step from the press, so replacing its result does not disturb the next step. A way or a turn
// of 0 gives exactly the box at the press.
void ClipBoxControl::_followSnapped() {
  switch (_type) {
    case CUTTER_SCALE:
      return _snapExtents();
    case CUTTER_TRANSLATE:
      return _snapPosition();
    case CUTTER_ROTATE:
      return _snapRotation();
  }
}

// A face that would pass the opposite one stays where the base stopped it.
void ClipBoxControl::_snapExtents() {
  if (_snap.resizeStep <= 0.0) {
    return _writePlanes();
  }
  osg::BoundingBoxd extents = _currentExtents();
  for (int axis = 0; axis < 3; ++axis) {
    const double lower = _extentsAtPress._min[axis];
    const double upper = _extentsAtPress._max[axis];
    const double low = lower + snapped(extents._min[axis] - lower, _snap.resizeStep);
    const double high = upper + snapped(extents._max[axis] - upper, _snap.resizeStep);
    if (high - low >= _minSize) {
      extents._min[axis] = low;
      extents._max[axis] = high;
    }
  }
  _setExtents(extents);
}

void ClipBoxControl::_snapPosition() {
  const osg::Vec3d from = _matrixAtPress.getTrans();
  osg::Vec3d way = getMatrix().getTrans() - from;
  if (_snap.moveStep > 0.0) {
    const osg::Quat rotation = _matrixAtPress.getRotate();
    way = rotation * snapped(rotation.inverse() * way, _snap.moveStep);
  }
  osg::Matrixd matrix = _matrixAtPress;
  matrix.setTrans(from + way);
  setMatrix(matrix);
  _writePlanes();
}

void ClipBoxControl::_snapRotation() {
  if (_snap.turnDegrees > 0.0) {
    const osg::Quat start = _matrixAtPress.getRotate();
    const osg::Quat turn = getMatrix().getRotate() * start.inverse();
    double radians = 0.0;
    osg::Vec3d axis;
    (turn.w() < 0.0 ? -turn : turn).getRotate(radians, axis);  // the same turn, by at most half a circle
    radians = snapped(radians, osg::DegreesToRadians(_snap.turnDegrees));
    setMatrix(radians == 0.0 ? _matrixAtPress
                             : osg::Matrixd::rotate(osg::Quat(radians, axis) * start) *
                                   osg::Matrixd::translate(_matrixAtPress.getTrans()));
  }
  _writePlanes();
}

// A dragged face stops beside the opposite face, wherever that is: the farthest face decides.
void ClipBoxControl::_setLeastExtent() {
  double farthest = 0.0;
  for (int axis = 0; axis < 3; ++axis) {
    farthest = std::max<double>({farthest, std::abs(_box._min[axis]), std::abs(_box._max[axis])});
  }
  _minSize = static_cast<float>(leastExtent(2.0 * farthest));
}

void ClipBoxControl::_chooseOverlappingFace() {
  for (std::size_t face = 0; face < _faces.size(); ++face) {
    const std::size_t axis = face / 2;
    if (!_pointer.contains(_faces[face].transform) || !_conesOverlap(axis)) {
      continue;
    }
    const std::size_t chosen = 2 * axis + (_isAboveMiddle(axis) ? 1 : 0);
    osg::NodePath path;
    computeNodePathToRoot(*_faces[chosen].orientation, path);
    _pointer._hitList.clear();
    _pointer.addIntersection(path, osg::Vec3d());
    _pointer._hitIter = _pointer._hitList.begin();
    return;
  }
}

bool ClipBoxControl::_conesOverlap(std::size_t axis) const {
  constexpr double kOverlapPixels = 9.0;  // each cone begins this distance behind its face, twice
  const osg::Matrixd matrix = toScene(*_faces.at(2 * axis).cone);
  const double pixel = osg::Matrixd::transform3x3(osg::Vec3d(0.0, 0.0, 1.0), matrix).length();
  return _extentAlong(axis) < kOverlapPixels * pixel;
}

// By the point of the axis that is closest to the line of sight. With unit vectors a along the axis and s along the
// sight, and w from the axis's middle to a point of the sight: ((a · w) - (a · s) (s · w)) / (1 - (a · s)²).
bool ClipBoxControl::_isAboveMiddle(std::size_t axis) const {
  osg::Vec3d nearPoint, farPoint;
  _pointer.getNearFarPoints(nearPoint, farPoint);
  osg::Vec3d sight = farPoint - nearPoint;
  sight.normalize();
  const osg::Vec3d along = _directionOf(axis);
  const osg::Vec3d toSight = nearPoint - osg::Vec3d(_box.center()) * getMatrix();
  return along * toSight > (along * sight) * (sight * toSight);
}

bool ClipBoxControl::_pointsAtEye(const BoxPointerInfo& pointer) const {
  const double leastSine = std::sin(osg::DegreesToRadians(kLeastSightDegrees));
  osg::Vec3d nearPoint, farPoint;
  pointer.getNearFarPoints(nearPoint, farPoint);
  osg::Vec3d sight = farPoint - nearPoint;
  sight.normalize();
  for (std::size_t axis = 0; axis < _axes.size(); ++axis) {
    const bool hit = pointer.contains(_faces.at(2 * axis).transform) ||
                     pointer.contains(_faces.at(2 * axis + 1).transform) || pointer.contains(_axes.at(axis).transform);
    if (hit && (sight ^ _directionOf(axis)).length() < leastSine) {
      return true;
    }
  }
  return false;
}

bool ClipBoxControl::highlightUnderPointer(const osgGA::GUIEventAdapter& ea, osgViewer::View& view) {
  return _highlight(isVisible() ? _handleUnderPointer(ea, view) : nullptr);
}

bool ClipBoxControl::_highlight(osg::Node* handle) {
  if (handle == _highlighted) {
    return false;
  }
  if (_highlighted != nullptr) {
    setHighlighted(*_highlighted, false);
  }
  if (handle != nullptr) {
    setHighlighted(*handle, true);
  }
  _highlighted = handle;
  return true;
}

// Like the search of a press, but among the handles only: this runs at each move of the pointer.
osg::Node* ClipBoxControl::_handleUnderPointer(const osgGA::GUIEventAdapter& ea, osgViewer::View& view) const {
  const osg::NodePathList paths = getParentalNodePaths();
  osgUtil::LineSegmentIntersector::Intersections hits;
  if (paths.empty() || !view.computeIntersections(ea, paths.front(), hits)) {
    return nullptr;
  }
  BoxPointerInfo pointer;
  pointer.addIntersection(hits.begin()->nodePath, hits.begin()->getLocalIntersectPoint());
  pointer.setCamera(view.getCamera());
  pointer.setMousePosition(ea.getX(), ea.getY());
  const std::vector<osg::Node*> handles = _handleNodes();
  const auto hit =
      std::find_if(handles.begin(), handles.end(), [&](osg::Node* node) { return pointer.contains(node); });
  return hit == handles.end() || _pointsAtEye(pointer) ? nullptr : *hit;
}

std::vector<osg::Node*> ClipBoxControl::_handleNodes() const {
  std::vector<osg::Node*> nodes;
  for (const FaceHandle& face : _faces) {
    nodes.push_back(face.transform);
  }
  for (std::size_t axis = 0; axis < _axes.size(); ++axis) {
    nodes.push_back(_axes.at(axis).transform);
    nodes.push_back(_rings.at(axis).transform);
  }
  return nodes;
}

osg::Vec3d ClipBoxControl::_directionOf(std::size_t axis) const {
  osg::Vec3d direction;
  direction[static_cast<int>(axis)] = 1.0;
  return osg::Matrixd::transform3x3(direction, getMatrix());
}

double ClipBoxControl::_extentAlong(std::size_t axis) const {
  const int component = static_cast<int>(axis);
  return static_cast<double>(_box._max[component]) - _box._min[component];
}

ClipBoxControl::DragPath ClipBoxControl::pathOfFace(std::size_t face, double share) const {
  const osg::Vec3d from = osg::Vec3d() * toScene(*_faces.at(face).cone);
  const std::size_t axis = face / 2;
  const double inwards = face % 2 == 0 ? share : -share;
  return {from, from + _directionOf(axis) * (inwards * _extentAlong(axis))};
}

ClipBoxControl::DragPath ClipBoxControl::pathOfAxis(std::size_t axis, double share) const {
  const osg::Vec3d from = osg::Vec3d(0.0, 0.0, kArrowLengthPixels) * toScene(*_axes.at(axis).head);
  return {from, from + _directionOf(axis) * (share * _extentAlong(axis))};
}

ClipBoxControl::DragPath ClipBoxControl::pathOfRing(std::size_t axis, double degrees, const osg::Vec3d& eye) const {
  const osg::Matrixd matrix = toScene(*_rings.at(axis).ring);
  const osg::Vec3d seenFrom = eye * osg::Matrixd::inverse(matrix);
  const double start =
      std::atan2(seenFrom.y(), seenFrom.x()) + osg::DegreesToRadians(std::copysign(kBesideNearestDegrees, degrees));
  const auto placeAt = [&](double radians) {
    return osg::Vec3d(kRingPickRadius * std::cos(radians), kRingPickRadius * std::sin(radians), 0.0) * matrix;
  };
  return {placeAt(start), placeAt(start + osg::DegreesToRadians(degrees))};
}

}  // namespace QuorOsgUtils
