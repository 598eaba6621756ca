#pragma once

#include "manipulators/WheelStep.h"

#include <osgGA/GUIActionAdapter>
#include <osgGA/GUIEventAdapter>
#include <osgViewer/Viewer>

#include <optional>

namespace QuorOsgUtils {

/// Whether the left button, which is reserved for the application, is the only one down.
bool isLeftButtonAlone(const osgGA::GUIEventAdapter& ea);

/// The viewer that sent the event, or null if the view is not a viewer.
osgViewer::Viewer* viewerOf(osgGA::GUIActionAdapter& aa);

/// The camera of the view that sent the event, or null.
osg::Camera* cameraOf(osgGA::GUIActionAdapter& aa);

/// The notch of a wheel event; nothing for horizontal or two-dimensional scrolling.
std::optional<WheelNotch> wheelNotchOf(const osgGA::GUIEventAdapter& ea);

/// The pointer's movement between two events, in normalised window units (−1 to 1).
struct PointerMove {
  float fromX;
  float fromY;
  float toX;
  float toY;
};

/// Nothing unless both events exist and their positions are finite: in a window without a size they are NaN.
std::optional<PointerMove> pointerMove(const osgGA::GUIEventAdapter* from, const osgGA::GUIEventAdapter* to);

}  // namespace QuorOsgUtils
