#pragma once

#include <QuorOsgUtils/Export.h>
#include <QuorOsgUtils/SnapshotCaptureTool.h>

#include <osg/Camera>
#include <osg/FrameBufferObject>
#include <osg/StateSet>
#include <osg/ref_ptr>

namespace QuorOsgUtils {

/// Sets up a camera for the capture: everything that `ScreenCaptureTool` requires from an application, and a
/// `SnapshotCaptureTool` that captures it.
///
///     viewer.setSceneData(scene);
///     const QuorOsgUtils::CapturedCamera captured(*viewer.getCamera());
///     QuorOsgUtils::CapturedCamera::writeAllAttachments(*cloud->getOrCreateStateSet());
///
/// The camera then draws into a frame-buffer object that is the global default attribute of the `osg::State` from the
/// camera's pre-draw to its final-draw callback:
///
/// | attachment | format              | cleared in every frame to      |
/// |------------|---------------------|--------------------------------|
/// | 0          | `GL_RGBA8`          | the camera's clear colour      |
/// | 1          | `GL_RGBA32UI`       | 0                              |
/// | 2, 3       | `GL_RGBA32F`        | 0                              |
/// | 4          | `GL_RGBA32I`        | 0                              |
/// | depth      | 32-bit float        | 1, the background of a capture |
///
/// After the draw the tool captures it, and attachment 0 is copied to the default frame-buffer object of the context
/// (`osg::GraphicsContext::getDefaultFboId`, queried in every frame). All this also happens in frames in which the
/// scene draws nothing.
///
/// Shaders: nodes below the camera write only colours, so that overlays (markers, handles) leave the identifiers of
/// the scene behind them as they are; nodes that write values for the other attachments enable them with
/// `writeAllAttachments`. OpenGL rejects fixed-function shading while an attachment holds integers. So the camera's
/// state set gets a program that draws untextured nodes in their colours, unlit; other nodes bring their own.
///
/// Pixels: the object covers the window from (0, 0) to the upper right corner of the viewport and follows its size, so
/// that window positions are pixels of the object also if the viewport does not start at (0, 0). Only the part in the
/// viewport is copied to the window. A `ScreenCaptureTool` set in place of the tool would read from (0, 0) on.
///
/// Overlays: nodes below the camera are captured as part of the depth. A post-render camera below it is drawn after the
/// capture, into the same image, and is shown but not captured.
/// Cameras below it that render to a texture or an image (`osg::Camera::attach`), before or after it, keep their own
/// frame-buffer object. They inherit the program and the colour masks, like all nodes. After one with
/// `osg::Camera::POST_RENDER`, overlays of further post-render cameras are lost, because OpenSceneGraph then binds the
/// default frame-buffer object: draw overlays first.
/// Ownership: the camera keeps what it needs; this object may be destroyed before it.
/// Threads: construct it before the viewer draws. In every threading model the frame-buffer object is used only by
/// the thread that draws the camera.
/// GL: needs OpenGL 3.3 with the compatibility profile. Left behind after a frame: the default frame-buffer object
/// bound for drawing and reading, and as the state's global default, so that the `osg::State` binds it rather than 0
/// whenever it leaves a captured object; colour and depth writes enabled; the scissor test off. A camera whose draw
/// buffer is set must have `GL_COLOR_ATTACHMENT0` as draw and read buffer if the default object is not 0, as in a
/// `QOpenGLWidget`; an embedded viewer has none set.
/// Errors: without a viewport, or with one that cannot be captured, the object has one pixel.
class QUOR_OSG_UTILS_EXPORT CapturedCamera {
 public:
  /// Replaces the clear mask of the camera, the program and colour masks of its state set, and its
  /// pre-draw, post-draw and final-draw callbacks; adds cull callbacks. Further callbacks can be added to them.
  explicit CapturedCamera(osg::Camera& camera);
  CapturedCamera(const CapturedCamera&) = delete;
  CapturedCamera& operator=(const CapturedCamera&) = delete;
  ~CapturedCamera();

  /// Lets nodes under this state write to attachments 1 to 4 too.
  static void writeAllAttachments(osg::StateSet& stateSet);
  /// Lets nodes under this state write only colours and depth: for overlays below nodes that write all.
  static void writeColoursOnly(osg::StateSet& stateSet);

  /// The camera's post-draw callback.
  [[nodiscard]] SnapshotCaptureTool& tool() const;
  /// The object that the camera draws into.
  [[nodiscard]] osg::FrameBufferObject& frameBufferObject() const;

  /// The width of a unit of the viewport in pixels of the window. Default: 1, for a viewport in pixels. With 2, for
  /// example, the viewport and the pointer may be in the logical units of a high-resolution display: the image is
  /// captured with one pixel for each unit and enlarged for the window. Must be more than 0. Any thread; applies from
  /// the next frame on.
  void setDevicePixelRatio(double ratio);

 private:
  class BeginFrame;
  class PresentFrame;

  osg::ref_ptr<osg::FrameBufferObject> _frame;
  osg::ref_ptr<SnapshotCaptureTool> _tool;
  osg::ref_ptr<PresentFrame> _present;
};

}  // namespace QuorOsgUtils
