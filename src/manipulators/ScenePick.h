#pragma once

#include "manipulators/WindowMatrix.h"

#include <QuorOsgUtils/ScreenCaptureTool.h>

#include <osg/Camera>
#include <osg/Vec3d>
#include <osg/View>

#include <optional>

namespace QuorOsgUtils {

/// The tool that captures a camera's frames: its post-draw callback, or null if that is not a `ScreenCaptureTool`.
ScreenCaptureTool* captureToolOf(osg::Camera& camera);

/// The camera's matrices and viewport; nothing if the viewport is missing or empty.
std::optional<ViewState> viewStateOf(const osg::Camera& camera);

/// Writes the world position of the scene at a window position, as captured by the view's camera, into `point`, and
/// returns its depth. If all depths within reach are background, uses the middle of the captured range. Without a
/// view, camera, tool or depth, returns 0 and leaves the point unchanged.
float pickSceneDepthPoint(int x, int y, osg::Vec3d& point, osg::View* view);

/// The captured depth under the pointer (window pixels), the middle of the captured range if there is only background,
/// or 0 without a tool.
double capturedPanDepth(osg::Camera& camera, double x, double y);

}  // namespace QuorOsgUtils
