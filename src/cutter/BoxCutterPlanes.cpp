#include "cutter/BoxSides.h"

#include <QuorOsgUtils/BoxCutterDragger.h>

#include <algorithm>
#include <array>

namespace QuorOsgUtils {

void BoxCutterDragger::_updateDragger() {
  _updateScale();
  _updateTranslation();
  _updateRotation();
}

void BoxCutterDragger::_updateScale() {
  const osg::Vec3f center = _box.center();
  const osg::Vec3f half = _box._max - center;
  _boxCenter->setMatrix(osg::Matrixd::translate(center));
  for (std::size_t face = 0; face < _faces.size(); ++face) {
    const BoxSide side(face);
    osg::Vec3f toFace;
    toFace[side.axis] = side.upper ? half[side.axis] : -half[side.axis];
    _faces[face].transform->setMatrix(osg::Matrixd::translate(toFace));
  }
}

void BoxCutterDragger::_updateTranslation() {
  _axesTransform->setMatrix(osg::Matrixd::translate(_box.center()));
}

void BoxCutterDragger::_updateRotation() {
  const double halfDiagonal = _box.radius();
  _ringsTransform->setMatrix(osg::Matrixd::scale(halfDiagonal, halfDiagonal, halfDiagonal) *
                             osg::Matrixd::translate(_box.center()));
}

void BoxCutterDragger::_updateFace(Face face, float delta) {
  moveSide(_box, _startBox, BoxSide(face), delta, _minSize);
  _updateDragger();
  _updateBoxGeometry();
  applyClipPlane();
}

void BoxCutterDragger::_updateLeftScale(float delta) {
  _updateFace(LEFT_FACE, delta);
}

void BoxCutterDragger::_updateRightScale(float delta) {
  _updateFace(RIGHT_FACE, delta);
}

void BoxCutterDragger::_updateFrontScale(float delta) {
  _updateFace(FRONT_FACE, delta);
}

void BoxCutterDragger::_updateBackScale(float delta) {
  _updateFace(BACK_FACE, delta);
}

void BoxCutterDragger::_updateBottomScale(float delta) {
  _updateFace(BOTTOM_FACE, delta);
}

void BoxCutterDragger::_updateTopScale(float delta) {
  _updateFace(TOP_FACE, delta);
}

std::vector<osg::Plane> BoxCutterDragger::getCurrentClipPlanes() const {
  const std::array<osg::Plane, 6> planes = clipPlanesOf(_box, getMatrix());
  return {planes.begin(), planes.end()};
}

std::vector<osg::Plane> BoxCutterDragger::getAllClipPlane() const {
  return _clipPlanes;
}

void BoxCutterDragger::applyClipPlane() {
  if (!_clipNode) {
    return;
  }
  const std::array<osg::Plane, 6> planes = clipPlanesOf(_box, getMatrix());
  _clipPlanes.assign(planes.begin(), planes.end());  // in a drag this allocates nothing
  const auto count = static_cast<unsigned int>(_clipPlanes.size());
  const unsigned int oldCount = _clipNode->getNumClipPlanes();
  if (oldCount == count) {
    for (unsigned int i = 0; i < count; ++i) {
      if (osg::ClipPlane* plane = _clipNode->getClipPlane(i)) {
        plane->setClipPlane(_clipPlanes[i]);
      }
    }
    return;
  }
  // Each removal shifts the remaining planes, so every other one stays. Fixed by the interface: clip nodes should have
  // no planes of their own.
  for (unsigned int i = 0; i < oldCount; ++i) {
    _clipNode->removeClipPlane(i);
  }
  for (unsigned int i = 0; i < count; ++i) {
    _clipNode->addClipPlane(new osg::ClipPlane(i, _clipPlanes[i]));
  }
}

bool BoxCutterDragger::pointInBox(double x, double y, double z) const {
  if (!_clipNode) {
    return true;
  }
  const osg::ClipNode::ClipPlaneList& planes = _clipNode->getClipPlaneList();
  return std::none_of(planes.begin(), planes.end(), [&](const osg::ref_ptr<osg::ClipPlane>& plane) {
    if (!plane) {
      return false;
    }
    const osg::Vec4d& p = plane->getClipPlane();
    return p.x() * x + p.y() * y + p.z() * z + p.w() < 0.0;
  });
}

}  // namespace QuorOsgUtils
