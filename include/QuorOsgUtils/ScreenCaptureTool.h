#pragma once

#include <QuorOsgUtils/Export.h>
#include <QuorOsgUtils/SpinLock.h>

#include <OpenThreads/Barrier>
#include <osg/Camera>
#include <osg/Image>
#include <osg/Matrixd>
#include <osg/Referenced>
#include <osg/RenderInfo>
#include <osg/ref_ptr>

#include <cstdint>
#include <string>
#include <vector>

namespace QuorOsgUtils {

/// A request for one colour image (attachment 0). The requesting thread waits on it.
///
///     osg::ref_ptr<MyCaptureOp> op = new MyCaptureOp;  // overrides captureImage
///     tool->setCaptureOp(op);
///     op->block();  // returns once captureImage has run on the draw thread
///
/// The barrier has a count of two: the draw thread and exactly one waiting thread. The draw thread waits too, so a
/// request that no thread waits for blocks drawing. `ImageCapture` avoids all that follows:
/// - No thread that draws may wait: with SingleThreaded the frame that it waits for is never drawn.
/// - The waiting thread waits for ever if no frame is drawn (the viewer draws on demand, the window is closed), or if
///   frames are drawn without a frame-buffer object. Withdrawing the request (`setCaptureOp(nullptr)`) does not end
///   the wait.
/// - `invalidate()` (of `OpenThreads::Barrier`, any thread) frees a stuck thread: all waits on this barrier end, and
///   later ones return at once. The draw thread then does not wait either. An invalidated request can still be served,
///   so withdraw it first, if no longer wanted, while nothing is drawn.
/// - Each request serves one image; use a new one for the next.
///
/// Ownership: reference-counted; the requesting thread holds its own `osg::ref_ptr` until `block` has returned.
class QUOR_OSG_UTILS_EXPORT CaptureOp : public OpenThreads::Barrier, public virtual osg::Referenced {
 public:
  /// A barrier of two; both flags false.
  CaptureOp();
  CaptureOp(const CaptureOp&) = delete;
  CaptureOp& operator=(const CaptureOp&) = delete;
  ~CaptureOp() override;

  /// Receives the image: called once, on the draw thread with its context current and the frame-buffer object bound,
  /// before the waiting thread continues. `rgba` is width × height × 4 bytes, row-major, bottom row first; it belongs
  /// to the tool and its content lasts only until the call returns, so copy or swap it out. Must not throw.
  virtual void captureImage(int width, int height, std::vector<unsigned char>& rgba) = 0;

  ///@{
  /// Two plain flags for the application. The capture neither reads nor writes them; they are not synchronised.
  void setFlag(bool flag);
  bool getFlag();
  void setActive(bool active);
  bool getActive();
  ///@}

 private:
  bool _flag = false;
  bool _active = false;
};

/// Copies every frame of a camera into memory, so that any thread can pick points, objects and depths under the pointer
/// without using GL.
///
///     osg::ref_ptr<ScreenCaptureTool> tool = new ScreenCaptureTool;
///     camera->setPostDrawCallback(tool);
///     ...
///     ScreenCaptureTool::FrameBuffer& frame = tool->getFrameBuffer();
///     frame.lock();
///     float depth = frame.getDepthBuffer()[index];
///     frame.release();
///
/// Required from the application: the camera draws into an `osg::FrameBufferObject` that is an attribute of its state
/// set. The tool reads the object that the `osg::State` last applied as an attribute; `Camera::attach` alone applies
/// none. Its attachments are 0 `GL_RGBA8`, 1 four unsigned integer channels, 2 and 3 four float channels, 4 four signed
/// integer channels, and a depth buffer; none multisampled. The application defines what the channels mean.
///
/// Pixels: the images start at pixel (0, 0) of the frame-buffer object, regardless of the viewport's x and y, and have
/// the viewport's width and height in pixels. Rows run from the bottom upwards, pixels from left to right, channels R G
/// B A.
///
/// Threads: the capture runs on the camera's draw thread. The frame buffer's lock guards only the resizing of the pixel
/// vectors and the stored viewport; a reader on another thread holds it while reading, and may still see pixels of two
/// frames mixed, since the pixels themselves, the matrices and the depth range are written without it. A request is
/// passed without a lock: set the next one only when `getCaptureOp` returns null.
///
/// Matrices: those of the camera at the time of the capture. With SingleThreaded and CullDrawThreadPerContext they are
/// those of the captured frame. With DrawThreadPerContext (OpenSceneGraph's usual choice) and
/// CullThreadPerCameraDrawThreadPerContext the event thread may already have moved the camera for the next frame while
/// this one is drawn: then the matrices do not fit the pixels, and picks in a moving view miss the scene.
/// `SnapshotCaptureTool` keeps them together.
///
/// GL: the context must be current and stays current. State left behind, fixed by the interface:
/// `GL_PROGRAM_POINT_SIZE` enabled and, after a capture, draw frame buffer 0 and the object as read frame buffer with
/// `GL_COLOR_ATTACHMENT4` selected for reading. The application's pixel-pack buffer and parameters do not affect the
/// reads and are restored.
///
/// Errors: with no camera, viewport, context or context traits, with a viewport whose size is negative, not a number or
/// too large for 2^31 - 1 values per image, or if memory for a new size cannot be allocated, nothing is read and the
/// pixel vectors and the depth range stay as they were.
class QUOR_OSG_UTILS_EXPORT ScreenCaptureTool : public osg::Camera::DrawCallback {
 public:
  /// The captured frame, created only by the tool. Accessors return references to its members, without copying or
  /// locking. With (x, y) counted from the bottom left, a pixel has index y × width + x in the depth buffer and starts
  /// at 4 times that index in the others.
  class QUOR_OSG_UTILS_EXPORT FrameBuffer : public SpinLock {
   public:
    ~FrameBuffer() override;

    /// Releases the lock taken by `lock`.
    void release();

    /// width × height depths as the depth buffer holds them: 0 near, 1 far and background.
    const std::vector<float>& getDepthBuffer();

    /// width × height × 4: colour attachment 1.
    const std::vector<unsigned int>& getItemIDBuffer();

    /// width × height × 4: colour attachment 2.
    const std::vector<float>& getItemFloatBuffer();

    /// width × height × 4: colour attachment 3.
    const std::vector<float>& getPCFloatBuffer();

    /// width × height × 4: colour attachment 4. Signed despite the name (fixed by the interface).
    const std::vector<int>& getPCUIntBuffer();

    /// World to view, of the camera at the last capture; identity before it.
    const osg::Matrixd& getViewMatrix();

    /// View to clip space, of the camera at the last capture; identity before it.
    const osg::Matrixd& getProjectionMatrix();

    /// The depth range of the last capture, (0, 0) before the first. Background (depths of exactly 1) is ignored. The
    /// minimum is the smallest depth below 1, or 1. The maximum is the last depth in buffer order that exceeded the
    /// running minimum, not the greatest one; this is fixed by the interface. A frame of only background yields (1, 0).
    void getMinAndMaxDepth(float& minDepth, float& maxDepth) const;

    /// The viewport in pixels at the last change of its size; a change of only x or y is not recorded.
    void getViewPort(int& x, int& y, int& width, int& height) const;

    /// Always 0: captures are not numbered (fixed by the interface).
    unsigned int getFrameStamp();

   private:
    friend class ScreenCaptureTool;

    FrameBuffer();

    std::uint32_t _frameStamp = 0;
    std::int32_t _viewportX = 0;
    std::int32_t _viewportY = 0;
    std::int32_t _viewportWidth = 0;
    std::int32_t _viewportHeight = 0;
    osg::Matrixd _projectionMatrix;
    osg::Matrixd _viewMatrix;
    std::vector<float> _depthBuffer;
    std::vector<std::uint32_t> _reservedBuffer;  // always empty; fixed by the interface
    std::vector<unsigned int> _itemIDBuffer;
    std::vector<float> _itemFloatBuffer;
    std::vector<float> _pcFloatBuffer;
    std::vector<int> _pcUIntBuffer;
    std::vector<unsigned char> _colourBuffer;
    float _minDepth = 0.0f;
    float _maxDepth = 0.0f;
  };

  ScreenCaptureTool();
  ~ScreenCaptureTool() override;

  /// The capture. OpenSceneGraph calls it on the draw thread after the camera's draw.
  void operator()(osg::RenderInfo& renderInfo) const override;
  using osg::Camera::DrawCallback::operator();

  /// The captured frame; it lives as long as the tool.
  FrameBuffer& getFrameBuffer();

  /// Requests the colour image. The next capture that finds a frame-buffer object serves the request once and drops it;
  /// until then it stays pending. Null withdraws the request.
  void setCaptureOp(CaptureOp* op);

  /// The pending request, or null once it has been served.
  CaptureOp* getCaptureOp();

 private:
  friend class SnapshotCaptureTool;
  class Capture;

  /// The capture with another request than that of `setCaptureOp`.
  void _capture(osg::RenderInfo& renderInfo, osg::ref_ptr<CaptureOp>& request) const;

  mutable FrameBuffer _frameBuffer;
  osg::ref_ptr<osg::Image> _image;  // not used, like `_text`; fixed by the interface
  mutable osg::ref_ptr<CaptureOp> _captureOp;
  std::string _text;
};

}  // namespace QuorOsgUtils
