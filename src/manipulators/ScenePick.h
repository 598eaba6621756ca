#pragma once

#include "manipulators/WindowMatrix.h"

#include <QuorOsgUtils/ScreenCaptureTool.h>

#include <osg/Camera>
#include <osg/Vec3d>
#include <osg/View>

#include <optional>

namespace QuorOsgUtils {

/// The tool that captures a camera's frames: its post-draw callback, null when that is none or another.
ScreenCaptureTool* captureToolOf(osg::Camera& camera);

/// The camera's matrices and viewport; nothing without a viewport that has a size.
std::optional<ViewState> viewStateOf(const osg::Camera& camera);

/// Writes the world position of the scene at a window position, as captured by the view's camera, into `point`, and
/// returns its depth. Where all is background within reach, the depth is the middle of the captured range. Returns 0
/// and leaves the point alone without view, camera, tool or depth.
float pickSceneDepthPoint(int x, int y, osg::Vec3d& point, osg::View* view);

/// The captured depth under the pointer (window pixels), the middle of the captured range where it shows no scene, and
/// 0 without a tool.
double capturedPanDepth(osg::Camera& camera, double x, double y);

}  // namespace QuorOsgUtils
