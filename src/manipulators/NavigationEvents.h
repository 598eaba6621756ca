#pragma once

#include "manipulators/WheelStep.h"

#include <osgGA/GUIActionAdapter>
#include <osgGA/GUIEventAdapter>
#include <osgViewer/Viewer>

#include <optional>

namespace QuorOsgUtils {

/// Whether the left button, which is left to the application, is the only one down.
bool isLeftButtonAlone(const osgGA::GUIEventAdapter& ea);

/// The viewer behind an event, null where the view is none.
osgViewer::Viewer* viewerOf(osgGA::GUIActionAdapter& aa);

/// The camera of the view behind an event, null without one.
osg::Camera* cameraOf(osgGA::GUIActionAdapter& aa);

/// The notch of a wheel event; nothing for motions sideways or in two dimensions.
std::optional<WheelNotch> wheelNotchOf(const osgGA::GUIEventAdapter& ea);

/// The pointer's way between two events, in normalised window units (−1 to 1).
struct PointerMove {
  float fromX;
  float fromY;
  float toX;
  float toY;
};

/// Nothing unless both events are there and tell positions: a window without a size makes them not-a-number.
std::optional<PointerMove> pointerMove(const osgGA::GUIEventAdapter* from, const osgGA::GUIEventAdapter* to);

}  // namespace QuorOsgUtils
