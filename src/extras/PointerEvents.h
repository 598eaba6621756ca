#pragma once

#include "manipulators/WindowMatrix.h"

#include <osg/Camera>
#include <osg/Vec2d>
#include <osgGA/GUIEventAdapter>
#include <osgGA/OrbitManipulator>

#include <optional>

namespace QuorOsgUtils {

/// The centre of the pixel under the pointer; OSG's windows report the pixel's column and row, counted from 0.
osg::Vec2d pointerPosition(const osgGA::GUIEventAdapter& ea);

/// How many notches a scroll event stands for, positive towards the scene; 0 for horizontal scrolling and for deltas
/// that are not finite.
double notchesOf(const osgGA::GUIEventAdapter& ea, double unitsPerNotch);

/// The state of the frame that would be drawn now: the camera's matrix may still be that of the last frame. Nothing if
/// the viewport is missing or empty.
std::optional<ViewState> viewStateOf(const osg::Camera& camera, const osgGA::OrbitManipulator& manipulator);

}  // namespace QuorOsgUtils
