#pragma once

#include "manipulators/DepthSearch.h"
#include "manipulators/WindowMatrix.h"

#include <QuorOsgUtils/FrameSnapshot.h>
#include <QuorOsgUtils/ScreenCaptureTool.h>

#include <osg/Camera>
#include <osg/Vec2d>
#include <osg/Vec3d>
#include <osg/View>

#include <optional>

namespace QuorOsgUtils {

/// The captured frame that a camera's picks refer to: the latest snapshot if the camera's post-draw callback is a
/// `SnapshotSource`, or the frame buffer if it is a `ScreenCaptureTool`. The frame stays as it is during the lifetime
/// of this object: a frame buffer stays locked.
///
/// The positions of its depths and its state are those of the image, which starts at `origin` in the window.
class PickFrame {
 public:
  explicit PickFrame(osg::Camera& camera);
  PickFrame(const PickFrame&) = delete;
  PickFrame& operator=(const PickFrame&) = delete;
  ~PickFrame();

  /// Whether the camera is captured; nothing else may be called otherwise.
  explicit operator bool() const { return _buffer || _isSnapshot; }

  DepthImage depths() const;
  ViewState state() const;
  osg::Vec2d origin() const;
  /// Whether a depth of that pixel of the window can be asked for. Positions beside a frame buffer continue in its
  /// other rows (fixed by the interface), but a snapshot may be a region with the rest of the window around it.
  bool contains(int x, int y) const;
  /// The position in `depths` of a position in the window. In a snapshot, of the whole pixel.
  osg::Vec2d inImage(double x, double y) const;
  /// The pixel in the middle of a view of that size. A frame buffer is read as if the viewport started at (0, 0) (fixed
  /// by the interface).
  osg::Vec2d middle(double width, double height) const;
  /// The middle of the captured depth range.
  float middleDepth() const;

 private:
  ScreenCaptureTool::FrameBuffer* _buffer = nullptr;
  osg::ref_ptr<const FrameSnapshot> _snapshot;
  bool _isSnapshot = false;
};

/// The matrices and the viewport of a snapshot, with the viewport relative to the region.
ViewState viewStateOf(const FrameSnapshot& snapshot);

/// The camera's matrices and viewport; nothing if the viewport is missing or empty.
std::optional<ViewState> viewStateOf(const osg::Camera& camera);

/// Writes the world position of the scene at a window position, as captured by the view's camera, into `point`, and
/// returns its depth. If all depths within reach are background, uses the middle of the captured range. Without a
/// view, camera, tool or depth, returns 0 and leaves the point unchanged.
float pickSceneDepthPoint(int x, int y, osg::Vec3d& point, osg::View* view);

/// The same in the middle of the view. Without a viewport, returns 0.
float pickMiddleDepthPoint(osg::Vec3d& point, osg::View& view);

/// The captured depth under the pointer (window pixels), the middle of the captured range if there is only background,
/// or 0 without a tool.
double capturedPanDepth(osg::Camera& camera, double x, double y);

}  // namespace QuorOsgUtils
