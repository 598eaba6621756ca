#include "cutter/HandleLines.h"

#include <QuorOsgUtils/BoxCutterDragger.h>

#include <osg/LineWidth>
#include <osg/Transform>
#include <osgManipulator/Command>

#include <cmath>
#include <optional>

namespace QuorOsgUtils {

namespace {

using Event = osgGA::GUIEventAdapter;
using osgManipulator::MotionCommand;

void setLineWidth(osg::Node& node, float width) {
  node.getOrCreateStateSet()->setAttribute(new osg::LineWidth(width));
}

// The pointer projected on the projector's line or plane, in the projector's frame. Nothing if the projection fails or
// the camera's matrix has no inverse.
std::optional<osg::Vec3d> projected(const osgManipulator::Projector& projector, const BoxPointerInfo& pointer) {
  osg::Vec3d point;
  if (!projector.project(pointer, point) || !std::isfinite(point.length2())) {
    return std::nullopt;
  }
  return point;
}

}  // namespace

/// How a face follows a drag.
struct BoxCutterDragger::FaceDrag {
  Face hit;
  Face cone;       ///< the pointer is projected on its axis
  float outwards;  ///< sign of the offset for a move along the axis (z > 0), and its opposite for z < 0
  float across;    ///< sign of the offset for a move across the axis (z = 0); fixed by the interface
  FaceSetter update;
};

bool BoxCutterDragger::handleLeftScale(const BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea,
                                       osgGA::GUIActionAdapter& aa) {
  return _dragFace({LEFT_FACE, LEFT_FACE, -1.0f, -1.0f, &BoxCutterDragger::_updateLeftScale}, pointer, ea, aa);
}

bool BoxCutterDragger::handleRightScale(const BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea,
                                        osgGA::GUIActionAdapter& aa) {
  return _dragFace({RIGHT_FACE, RIGHT_FACE, 1.0f, -1.0f, &BoxCutterDragger::_updateRightScale}, pointer, ea, aa);
}

bool BoxCutterDragger::handleFrontScale(const BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea,
                                        osgGA::GUIActionAdapter& aa) {
  return _dragFace({FRONT_FACE, FRONT_FACE, -1.0f, -1.0f, &BoxCutterDragger::_updateFrontScale}, pointer, ea, aa);
}

bool BoxCutterDragger::handleBackScale(const BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea,
                                       osgGA::GUIActionAdapter& aa) {
  return _dragFace({BACK_FACE, BACK_FACE, 1.0f, 1.0f, &BoxCutterDragger::_updateBackScale}, pointer, ea, aa);
}

bool BoxCutterDragger::handleBottomScale(const BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea,
                                         osgGA::GUIActionAdapter& aa) {
  return _dragFace({BOTTOM_FACE, BOTTOM_FACE, -1.0f, -1.0f, &BoxCutterDragger::_updateBottomScale}, pointer, ea, aa);
}

// The top face uses the bottom cone's axis, which is on the same line and points down. Fixed by the interface.
bool BoxCutterDragger::handleTopScale(const BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea,
                                      osgGA::GUIActionAdapter& aa) {
  return _dragFace({TOP_FACE, BOTTOM_FACE, -1.0f, -1.0f, &BoxCutterDragger::_updateTopScale}, pointer, ea, aa);
}

bool BoxCutterDragger::_dragFace(const FaceDrag& drag, const BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea,
                                 osgGA::GUIActionAdapter& aa) {
  if (!pointer.contains(_faces[drag.hit].transform)) {
    return false;
  }
  if (ea.getEventType() == Event::PUSH) {
    _lineProjector->setLocalToWorld(_frameOf(*_faces[drag.cone].orientation));
    _startProjectedPoint = projected(*_lineProjector, pointer).value_or(_startProjectedPoint);
    _startBox = _box;
    return true;
  }
  if (ea.getEventType() == Event::DRAG && _draggerActive) {
    _moveFace(drag, pointer);
    aa.requestRedraw();
    return true;
  }
  return ea.getEventType() == Event::RELEASE;
}

// The offset is always measured from the press, so errors do not accumulate.
void BoxCutterDragger::_moveFace(const FaceDrag& drag, const BoxPointerInfo& pointer) {
  const std::optional<osg::Vec3d> point = projected(*_lineProjector, pointer);
  if (!point) {
    return;
  }
  const osg::Matrixd& toWorld = _lineProjector->getLocalToWorld();
  const auto distance = static_cast<float>((*point * toWorld - _startProjectedPoint * toWorld).length());
  osg::Vec3d direction = *point - _startProjectedPoint;
  direction.normalize();
  const float sign = direction.z() > 0.0 ? drag.outwards : direction.z() < 0.0 ? -drag.outwards : drag.across;
  (this->*drag.update)(sign * distance);
}

bool BoxCutterDragger::handleXRotation(const BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea,
                                       osgGA::GUIActionAdapter& aa) {
  return _dragRing(_rings[0], pointer, ea, aa);
}

bool BoxCutterDragger::handleYRotation(const BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea,
                                       osgGA::GUIActionAdapter& aa) {
  return _dragRing(_rings[1], pointer, ea, aa);
}

bool BoxCutterDragger::handleZRotation(const BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea,
                                       osgGA::GUIActionAdapter& aa) {
  return _dragRing(_rings[2], pointer, ea, aa);
}

bool BoxCutterDragger::_dragRing(RingHandle& handle, const BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea,
                                 osgGA::GUIActionAdapter& aa) {
  if (!pointer.contains(handle.transform)) {
    return false;
  }
  if (ea.getEventType() == Event::PUSH) {
    _beginTurn(handle, pointer, aa);
  } else if (ea.getEventType() == Event::DRAG) {
    _turn(pointer, aa);
  } else if (ea.getEventType() == Event::RELEASE) {
    _sendTurn(MotionCommand::FINISH, osg::Quat());
    setLineWidth(*handle.ring, kRingLineWidth);
  } else {
    return false;
  }
  return true;
}

void BoxCutterDragger::_beginTurn(RingHandle& handle, const BoxPointerInfo& pointer, osgGA::GUIActionAdapter& aa) {
  _cylinderProjector->setLocalToWorld(_frameOf(*handle.transform));
  _startLocalToWorld = _cylinderProjector->getLocalToWorld();
  _startWorldToLocal = _cylinderProjector->getWorldToLocal();
  _cylinderProjector->setFront(_cylinderProjector->isPointInFront(pointer, _startLocalToWorld));
  const std::optional<osg::Vec3d> point = projected(*_cylinderProjector, pointer);
  if (!point) {
    return;
  }
  _sendTurn(MotionCommand::START, osg::Quat());
  _prevWorldProjPt = *point * _cylinderProjector->getLocalToWorld();
  _prevRotation = osg::Quat();
  setLineWidth(*handle.ring, kDraggedLineWidth);
  aa.requestRedraw();
}

// The projection plane rotates with the ring, so the rotation since the press is the product of its steps.
void BoxCutterDragger::_turn(const BoxPointerInfo& pointer, osgGA::GUIActionAdapter& aa) {
  _cylinderProjector->setLocalToWorld(osg::Matrixd::rotate(_prevRotation) * _startLocalToWorld);
  const std::optional<osg::Vec3d> point = projected(*_cylinderProjector, pointer);
  if (!point) {
    return;
  }
  const osg::Vec3d previous = _prevWorldProjPt * _cylinderProjector->getWorldToLocal();
  const osg::Quat rotation = _cylinderProjector->getRotation(previous, *point) * _prevRotation;
  _sendTurn(MotionCommand::MOVE, rotation);
  _prevWorldProjPt = *point * _cylinderProjector->getLocalToWorld();
  _prevRotation = rotation;
  applyClipPlane();
  aa.requestRedraw();
}

void BoxCutterDragger::_sendTurn(MotionCommand::Stage stage, const osg::Quat& rotation) {
  _turnCommand->setStage(stage);
  _turnCommand->setLocalToWorldAndWorldToLocal(_startLocalToWorld, _startWorldToLocal);
  _turnCommand->setRotation(rotation);
  _turnCommand->accept(*_transformCallback);
}

bool BoxCutterDragger::handleXTranslation(const BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea,
                                          osgGA::GUIActionAdapter& aa) {
  return _dragAxis(_axes[0], pointer, ea, aa);
}

bool BoxCutterDragger::handleYTranslation(const BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea,
                                          osgGA::GUIActionAdapter& aa) {
  return _dragAxis(_axes[1], pointer, ea, aa);
}

bool BoxCutterDragger::handleZTranslation(const BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea,
                                          osgGA::GUIActionAdapter& aa) {
  return _dragAxis(_axes[2], pointer, ea, aa);
}

bool BoxCutterDragger::_dragAxis(AxisHandle& handle, const BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea,
                                 osgGA::GUIActionAdapter& aa) {
  if (!pointer.contains(handle.transform)) {
    return false;
  }
  if (ea.getEventType() == Event::PUSH) {
    _beginShift(handle, pointer, aa);
  } else if (ea.getEventType() == Event::DRAG) {
    _shift(pointer, aa);
  } else if (ea.getEventType() == Event::RELEASE) {
    _sendShift(MotionCommand::FINISH, osg::Vec3d());
    setLineWidth(*handle.transform, kShaftLineWidth);
  } else {
    return false;
  }
  return true;
}

void BoxCutterDragger::_beginShift(AxisHandle& handle, const BoxPointerInfo& pointer, osgGA::GUIActionAdapter& aa) {
  _lineProjector->setLocalToWorld(_frameOf(*handle.transform));
  const std::optional<osg::Vec3d> point = projected(*_lineProjector, pointer);
  if (!point) {
    return;
  }
  _startProjectedPoint = *point;
  _sendShift(MotionCommand::START, osg::Vec3d());
  setLineWidth(*handle.transform, kDraggedLineWidth);
  aa.requestRedraw();
}

void BoxCutterDragger::_shift(const BoxPointerInfo& pointer, osgGA::GUIActionAdapter& aa) {
  const std::optional<osg::Vec3d> point = projected(*_lineProjector, pointer);
  if (!point) {
    return;
  }
  _sendShift(MotionCommand::MOVE, *point - _startProjectedPoint);
  applyClipPlane();
  aa.requestRedraw();
}

void BoxCutterDragger::_sendShift(MotionCommand::Stage stage, const osg::Vec3d& translation) {
  _shiftCommand->setLine(_lineProjector->getLineStart(), _lineProjector->getLineEnd());
  _shiftCommand->setStage(stage);
  _shiftCommand->setLocalToWorldAndWorldToLocal(_lineProjector->getLocalToWorld(), _lineProjector->getWorldToLocal());
  _shiftCommand->setTranslation(translation);
  _shiftCommand->accept(*_transformCallback);
}

osg::Matrixd BoxCutterDragger::_frameOf(osg::Node& node) {
  osg::NodePath path;
  computeNodePathToRoot(node, path);
  return osg::computeLocalToWorld(path, true);
}

}  // namespace QuorOsgUtils
