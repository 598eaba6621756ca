#pragma once

#include <QuorOsgUtils/Export.h>
#include <QuorOsgUtils/FrameSnapshot.h>
#include <QuorOsgUtils/ScreenCaptureTool.h>

#include <osg/Camera>
#include <osg/ref_ptr>

#include <chrono>
#include <memory>
#include <optional>

namespace osg {
class GLExtensions;
}  // namespace osg

namespace QuorOsgUtils {

/// What a `SnapshotCaptureTool` reads of the frames, and when. By default everything but the colours, of every frame,
/// at once: 68 bytes for each pixel, which are 564 MB for each frame of 3840 × 2160 pixels. What readers need:
///
/// | reader                                        | buffers | region, around          | frame             |
/// |-----------------------------------------------|---------|-------------------------|-------------------|
/// | `SPointCloudManipulator`: press               | depth   | middle ± 32 pixels      | before the press  |
/// | `SPointCloudPrivotManipulator`: press         | depth   | pointer ± 32            | before the press  |
/// | both: wheel in perspective                    | depth   | pointer ± 32            | before the event  |
/// | both: middle drag                             | depth   | pixel of the pointer    | before the event  |
/// | both: the same over background                | depth   | viewport (depth range)  | before the event  |
/// | both: wheel in orthographic view              | none    |                         |                   |
/// | `PreciseOrbitManipulator`: press              | depth   | middle ± search radius  | before the press  |
/// | `PrecisePivotManipulator`: press              | depth   | pointer ± search radius | before the press  |
/// | both: start of a pan, wheel in perspective    | depth   | pointer ± search radius | before the event  |
/// | both: drag, wheel in orthographic view        | none    |                         |                   |
/// | all, in station mode                          | none    |                         |                   |
/// | `worldAt`                                     | depth   | the pixel               | any               |
/// | `nearest`                                     | depth, item IDs, what the pick shall hold | radius | any |
///
/// A reader that finds no depth at a position behaves as if it were outside the window; over background it uses the
/// depth range of the region. A late frame keeps its own matrices, so that picks stay exact for what it shows.
struct ReadBack {
  static constexpr unsigned int kDepth = 1U << 0U;       ///< 4 bytes for each pixel
  static constexpr unsigned int kColours = 1U << 1U;     ///< attachment 0: 4
  static constexpr unsigned int kItemIDs = 1U << 2U;     ///< attachment 1: 16
  static constexpr unsigned int kItemFloats = 1U << 3U;  ///< attachment 2: 16
  static constexpr unsigned int kPCFloats = 1U << 4U;    ///< attachment 3: 16
  static constexpr unsigned int kPCInts = 1U << 5U;      ///< attachment 4: 16
  /// All that the manipulators and picks may need.
  static constexpr unsigned int kAllButColours = kDepth | kItemIDs | kItemFloats | kPCFloats | kPCInts;

  /// Any of the constants above, combined by |.
  unsigned int buffers = kAllButColours;

  /// Nothing: the viewport. Otherwise the part of this rectangle of the window that lies in the viewport.
  std::optional<PixelRectangle> region;

  /// Otherwise only the frames that `requestFrame` asks for.
  bool everyFrame = true;

  /// 0: a frame is published before its draw ends, which waits for the GPU. 1 or 2: it is read into a pixel buffer
  /// while the next frames are drawn, and published with the next or the second next frame.
  int framesLate = 0;
};

/// A capture tool that publishes each frame as a whole: its pixels with the matrices, the viewport and the number of
/// the frame that they belong to. Any thread reads the latest frame without a lock and without holding up the drawing.
///
///     osg::ref_ptr<QuorOsgUtils::SnapshotCaptureTool> tool = new QuorOsgUtils::SnapshotCaptureTool;
///     tool->attachTo(*viewer.getCamera());
///     ...
///     if (osg::ref_ptr<const QuorOsgUtils::FrameSnapshot> frame = tool->latest()) { ... }
///
/// `CapturedCamera` creates one. The manipulators use it like any `ScreenCaptureTool`, but read its latest snapshot.
///
/// It requires of the application what `ScreenCaptureTool` requires, and it serves a `CaptureOp` in the same way. It
/// differs in these points:
/// - The matrices are those that the frame was drawn with, in every threading model.
/// - Pixels are those of the viewport that the camera was culled with, also if it does not start at (0, 0), if nodes
///   below the camera have a viewport of their own, or if nothing is drawn.
/// - `setReadBack` limits what is read, and when.
/// - `getFrameBuffer` stays empty, unless `setFillsFrameBuffer` is on.
/// - Projection and viewport are exact if the tool is attached with `attachTo`: the frame is then drawn in the viewport
///   that it was culled with, even if the event thread changes the camera's. As a mere post-draw callback it uses the
///   projection of the node drawn last, which is wrong if that is under an `osg::Projection` of its own, and the
///   camera's viewport, which may already be that of the next frame.
///
/// Memory: the tool reuses snapshots that nobody holds any more. It needs two if readers release each frame before the
/// next one, and one more, with its pixel buffer, for each frame that is late.
/// Threads: the capture runs on the camera's draw thread; everything else may be called from any thread, except
/// `attachTo`, which expects that nothing is drawn, and those of the base class. One tool belongs to one camera.
/// GL: the context must be current and stays current. Left behind: `GL_PROGRAM_POINT_SIZE` enabled, the default
/// frame-buffer object bound for reading, the object's read buffer changed. Binding for drawing, pixel-pack buffer and
/// parameters stay as they are.
/// Errors: nothing is published without a camera, a context, a complete frame-buffer object or a viewport with at least
/// one pixel in it, if memory is exhausted, or if a late frame cannot be read. Requests then stay pending: a requested
/// frame is the next one that can be captured.
class QUOR_OSG_UTILS_EXPORT SnapshotCaptureTool : public ScreenCaptureTool, public SnapshotSource {
 public:
  /// Attached to no camera.
  SnapshotCaptureTool();
  ~SnapshotCaptureTool() override;

  /// Becomes the camera's post-draw callback, replacing another one, and adds a cull callback to it.
  void attachTo(osg::Camera& camera);

  /// The latest frame, or null before the first.
  osg::ref_ptr<const FrameSnapshot> latest() const override;

  /// Waits until there is a frame other than `seen`, and returns the latest one, or null after the time-out. `seen` is
  /// null or a frame that the caller still holds: one that nobody holds may be reused for the next frame, and would
  /// then be taken for the old one. Another thread must draw: on the thread that draws, the wait always times out.
  osg::ref_ptr<const FrameSnapshot> waitForNext(const FrameSnapshot* seen, std::chrono::milliseconds limit) const;

  ///@{
  /// What is read from the next frame on. Frames that are still being read are dropped if the new setting has no
  /// late frames.
  void setReadBack(const ReadBack& readBack);
  [[nodiscard]] ReadBack getReadBack() const;
  ///@}

  /// The next frame that can be captured will be read. Does not draw it: an application that draws on demand requests
  /// a redraw, too.
  void requestFrame();
  /// Whether a requested frame, or one that is still being read, has not been published: then a late frame appears only
  /// if further frames are drawn.
  [[nodiscard]] bool isFramePending() const;

  /// Whether each capture also fills `getFrameBuffer`, by a second read-back as `ScreenCaptureTool` does it, for code
  /// that knows only that class. It changes neither the snapshots nor the images of requests, nor the GL state left
  /// behind. Default: false.
  void setFillsFrameBuffer(bool fills);

  /// The capture. OpenSceneGraph calls it on the draw thread after the camera's draw.
  void operator()(osg::RenderInfo& renderInfo) const override;
  using ScreenCaptureTool::operator();
  /// Gives up the frames that are being read, and the pixel buffers.
  void releaseGLObjects(osg::State* state = nullptr) const override;

 private:
  struct Drawn;
  struct Private;

  void _fillFrameBuffer(osg::RenderInfo& renderInfo, const osg::GLExtensions& gl) const;
  void _serveRequest(const Drawn& drawn) const;

  std::unique_ptr<Private> _data;
};

}  // namespace QuorOsgUtils
