#include "cutter/HandleLines.h"
#include "extras/PossibleBox.h"

#include <QuorOsgUtils/ClipBoxControl.h>

#include <osg/LineWidth>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <memory>
#include <utility>

namespace QuorOsgUtils {
namespace {

osg::BoundingBoxd unitBoxAround(const osg::Vec3d& centre) {
  const osg::Vec3d half(0.5, 0.5, 0.5);
  const osg::Vec3d middle = isFinite(centre) ? centre : osg::Vec3d();
  return {middle - half, middle + half};
}

osg::Vec3d centreOf(const osg::BoundingBoxd& box) {
  return (box._min + box._max) * 0.5;
}

bool haveSameRotation(const osg::Matrixd& a, const osg::Matrixd& b) {
  for (int row = 0; row < 3; ++row) {
    for (int column = 0; column < 3; ++column) {
      if (a(row, column) != b(row, column)) {
        return false;
      }
    }
  }
  return true;
}

bool isKnownMode(BoxCutterDragger::CutterType mode) {
  return mode >= BoxCutterDragger::CUTTER_ROTATE && mode <= BoxCutterDragger::CUTTER_SCALE;
}

double stepOrNone(double step) {
  return std::isfinite(step) && step > 0.0 ? step : 0.0;
}

}  // namespace

bool ClipBoxState::operator==(const ClipBoxState& other) const {
  return box._min == other.box._min && box._max == other.box._max && rotation == other.rotation && cuts == other.cuts &&
         isVisible == other.isVisible && mode == other.mode && axisMask == other.axisMask;
}

double ClipBoxControl::leastExtent(double longest) {
  constexpr double kLeastShare = 1e-6;
  return std::max(kLeastExtent, kLeastShare * longest);
}

ClipBoxControl::ClipBoxControl(const osg::BoundingBoxd& box, osg::ClipNode* clipNode)
    : BoxCutterDragger(osg::BoundingBoxf(-0.5f, -0.5f, -0.5f, 0.5f, 0.5f, 0.5f), clipNode) {
  _setUpState();
  _setUpHandles();
  if (_clipNode) {
    _clipNode->getOrCreateStateSet()->setDataVariance(osg::Object::DYNAMIC);
  }
  _place(isPossibleBox(box, osg::Quat()) ? box : unitBoxAround(centreOf(box)), osg::Quat());
  setType(CUTTER_SCALE, _axisMask);
  setHandleEvents(true);
}

ClipBoxControl::~ClipBoxControl() = default;

bool ClipBoxControl::setBox(const osg::BoundingBoxd& box, const osg::Quat& rotation) {
  if (!isPossibleBox(box, rotation)) {
    return false;
  }
  cancelDrag();
  _place(box, rotation);
  return true;
}

void ClipBoxControl::_place(const osg::BoundingBoxd& box, const osg::Quat& rotation) {
  const osg::Vec3d half = (box._max - box._min) * 0.5;
  setMatrix(osg::Matrixd::rotate(rotation) * osg::Matrixd::translate(centreOf(box)));
  _setExtents({-half, half});
  _placedBox = box;
  _placedRotation = rotation;
  _placedExtents = _extents;
  _placedMatrix = getMatrix();
}

void ClipBoxControl::_setExtents(const osg::BoundingBoxd& extents) {
  _extents = extents;
  _box = osg::BoundingBoxf(osg::Vec3f(extents._min), osg::Vec3f(extents._max));
  _updateDragger();
  _updateBoxGeometry();
  _writePlanes();
}

// A drag of the base moves one face, in single precision. The others keep their exact place.
osg::BoundingBoxd ClipBoxControl::_currentExtents() const {
  osg::BoundingBoxd current = _extents;
  for (int axis = 0; axis < 3; ++axis) {
    if (_box._min[axis] != static_cast<float>(_extents._min[axis])) {
      current._min[axis] = _box._min[axis];
    }
    if (_box._max[axis] != static_cast<float>(_extents._max[axis])) {
      current._max[axis] = _box._max[axis];
    }
  }
  return current;
}

ClipBoxState ClipBoxControl::state() const {
  ClipBoxState state{_placedBox, _placedRotation, _cuts, isVisible(), _type, _axisMask};
  const osg::BoundingBoxd extents = _currentExtents();
  const osg::Matrixd& matrix = getMatrix();
  const bool isResized = extents._min != _placedExtents._min || extents._max != _placedExtents._max;
  if (!haveSameRotation(matrix, _placedMatrix)) {
    state.rotation = matrix.getRotate();
  }
  if (isResized || matrix != _placedMatrix) {
    const osg::Vec3d half = (extents._max - extents._min) * 0.5;
    const osg::Vec3d centre = centreOf(extents) * matrix;
    state.box = osg::BoundingBoxd(centre - half, centre + half);
  }
  return state;
}

bool ClipBoxControl::setState(const ClipBoxState& wanted) {
  if (!isPossibleBox(wanted.box, wanted.rotation) || !isKnownMode(wanted.mode)) {
    return false;
  }
  cancelDrag();
  _cuts = wanted.cuts;
  const ClipBoxState now = state();
  if (now.box._min != wanted.box._min || now.box._max != wanted.box._max || now.rotation != wanted.rotation) {
    _place(wanted.box, wanted.rotation);
  }
  _writePlanes();
  setVisible(wanted.isVisible);
  showHandles(wanted.mode, wanted.axisMask);
  return true;
}

// In the order of the base's planes: low y, high x, high y, low x, high z, low z. For a unit normal n pointing inwards
// and a face at distance h from the centre c, a point p is inside if n · (p − c) + h >= 0.
std::array<osg::Plane, 6> ClipBoxControl::_currentPlanes() const {
  struct Side {
    int axis;
    bool isUpper;
  };
  static constexpr std::array<Side, 6> kSides = {{{1, false}, {0, true}, {1, true}, {0, false}, {2, true}, {2, false}}};
  const osg::BoundingBoxd extents = _currentExtents();
  std::array<osg::Plane, 6> planes;
  for (std::size_t i = 0; i < planes.size(); ++i) {
    const Side& side = kSides[i];
    osg::Vec3d normal = _directionOf(static_cast<std::size_t>(side.axis));
    normal.normalize();
    osg::Vec3d onFace = centreOf(extents);
    onFace[side.axis] = side.isUpper ? extents._max[side.axis] : extents._min[side.axis];
    normal = side.isUpper ? -normal : normal;
    planes[i] = osg::Plane(normal, -(normal * (onFace * getMatrix())));
  }
  return planes;
}

std::vector<osg::Plane> ClipBoxControl::planes() const {
  const std::array<osg::Plane, 6> planes = _currentPlanes();
  return {planes.begin(), planes.end()};
}

void ClipBoxControl::cut() {
  _cuts = true;
  _writePlanes();
}

void ClipBoxControl::uncut() {
  _cuts = false;
  _writePlanes();
}

void ClipBoxControl::_writePlanes() {
  if (!_clipNode || !_cuts) {
    return _removePlanes();
  }
  const std::array<osg::Plane, 6> planes = _currentPlanes();
  const auto count = static_cast<unsigned int>(planes.size());
  const bool areThere = _clipNode->getNumClipPlanes() == count;
  if (!areThere) {
    _removePlanes();
  }
  _clipPlanes.assign(planes.begin(), planes.end());
  if (!areThere) {
    for (unsigned int i = 0; i < count; ++i) {
      const osg::ref_ptr<osg::ClipPlane> plane = new osg::ClipPlane(i, _clipPlanes[i]);
      plane->setDataVariance(osg::Object::DYNAMIC);
      _clipNode->addClipPlane(plane);
    }
    return;
  }
  for (unsigned int i = 0; i < count; ++i) {
    _clipNode->getClipPlane(i)->setClipPlane(_clipPlanes[i]);
  }
}

void ClipBoxControl::_removePlanes() {
  _clipPlanes.clear();
  while (_clipNode && _clipNode->getNumClipPlanes() > 0) {
    _clipNode->removeClipPlane(_clipNode->getNumClipPlanes() - 1);
  }
}

void ClipBoxControl::setVisible(bool visible) {
  if (visible != isVisible()) {
    cancelDrag();
    removeHighlight();
    const osg::Node::NodeMask mask = getNodeMask();
    setNodeMask(visible ? _visibleMask : 0U);
    _visibleMask = visible ? _visibleMask : mask;
  }
}

void ClipBoxControl::showHandles(CutterType mode, int axisMask) {
  if (!isKnownMode(mode)) {
    return;
  }
  cancelDrag();
  removeHighlight();
  _axisMask = axisMask;
  setType(mode, axisMask);
}

void ClipBoxControl::setListener(ClipBoxListener listener) {
  _listener = std::make_shared<const ClipBoxListener>(std::move(listener));
}

void ClipBoxControl::setSnap(const ClipBoxSnap& snap) {
  _snap = {stepOrNone(snap.resizeStep), stepOrNone(snap.moveStep), stepOrNone(snap.turnDegrees)};
}

// The base ends a drag only at a release. What it does there, apart from the motion command, whose result is replaced
// anyway, is done here.
bool ClipBoxControl::cancelDrag() {
  if (!isDragged()) {
    return false;
  }
  const osg::ref_ptr<ClipBoxControl> kept(this);  // the listener may release it
  _draggerActive = false;
  _isCancelled = true;
  _pointer.reset();
  for (std::size_t axis = 0; axis < _axes.size(); ++axis) {
    _axes[axis].transform->getOrCreateStateSet()->setAttribute(new osg::LineWidth(kShaftLineWidth));
    _rings[axis].ring->getOrCreateStateSet()->setAttribute(new osg::LineWidth(kRingLineWidth));
  }
  _place(_atPress.box, _atPress.rotation);
  _tell(&ClipBoxListener::ended, true);
  return true;
}

}  // namespace QuorOsgUtils
