#pragma once

#include <QuorOsgUtils/Export.h>

#include <osg/Camera>
#include <osg/Image>
#include <osg/ref_ptr>
#include <osgViewer/View>

#include <chrono>
#include <future>
#include <memory>

namespace QuorOsgUtils {

/// How a request ended.
enum class ImageStatus {
  Captured,  ///< with an image
  /// A frame was drawn, but the frame-buffer object was missing or incomplete, the viewport was empty, or the callbacks
  /// of the `ImageCapture` had been replaced; or memory is exhausted, or the thread that watches the time cannot be
  /// started.
  NotCapturable,
  TimedOut,   ///< no frame was drawn in time
  Withdrawn,  ///< by `withdraw`
  /// The window or the `ImageCapture` no longer exists, or the application has called `releaseGLObjects` for the camera
  /// or a node above it.
  Closed
};

/// The result of a request.
struct CapturedImage {
  ImageStatus status = ImageStatus::Closed;  ///< how the request ended
  /// If captured: attachment 0, RGB bytes, bottom row first, in the size of the viewport. It belongs to the receiver.
  osg::ref_ptr<osg::Image> image;
};

/// Delivers images of a view to any thread; neither that thread nor the draw has to wait for the other.
///
///     QuorOsgUtils::ImageCapture images(viewer);
///     ...
///     std::future<QuorOsgUtils::CapturedImage> image = images.request(std::chrono::seconds(10));
///     // on any other thread than the one that draws:
///     if (image.get().status == QuorOsgUtils::ImageStatus::Captured) { ... }
///
/// Every future becomes ready: with the image at the end of the next frame that starts, or without one for a reason in
/// `ImageStatus`, at the latest after the time-out. Dropping a future does not block.
///
/// Requires that the camera draws into a frame-buffer object that is captured or could be: `CapturedCamera`, or what
/// `ScreenCaptureTool` requires. It reads the pixels of the viewport itself, after the camera's draw. It uses no
/// capture tool, so it does not interfere with `CaptureOp`s of the application.
///
/// Threads: `request` and `withdraw` may be called from any thread. The thread that draws must not wait for a future,
/// because it would draw nothing until the time-out; between frames it may ask whether the future is ready. The first
/// request starts a thread that watches the time; it ends with this object, and uses neither the view nor the camera.
/// Ownership: the view must outlive this object; it may be on the stack. The camera is kept. Create and destroy the
/// object while nothing is drawn, after `CapturedCamera` or the application have set the camera's draw callbacks: it
/// adds one to those before the draw, one after the draw and one to the final ones, a cull callback, and a device to
/// the view. The destructor removes them. GL: the context must be current and stays current. The state is left as it
/// is.
class QUOR_OSG_UTILS_EXPORT ImageCapture {
 public:
  /// Adds its callbacks to the camera of the view, and its device to the view.
  explicit ImageCapture(osgViewer::View& view);
  ImageCapture(const ImageCapture&) = delete;
  ImageCapture& operator=(const ImageCapture&) = delete;
  /// Pending requests end as closed.
  ~ImageCapture();

  /// Requests an image of the next frame that starts. `limit` is the time-out, at most 100 years. A viewer that draws
  /// on demand draws the frame: whenever the viewer looks for events (`osgViewer::ViewerBase::checkEvents`, which
  /// `checkNeedToDoFrame` and `run` call) while a request is pending, the view's device reports some, and requests a
  /// redraw of the view (`osgViewer::View::requestRedraw`) on that thread. So nothing is written to the viewer from the
  /// thread that calls `request`. An application whose loop calls neither must request redraws.
  std::future<CapturedImage> request(std::chrono::milliseconds limit);
  /// Ends all pending requests.
  void withdraw();

 private:
  class Requests;
  class Begin;
  class Read;
  class End;
  class Wake;

  osgViewer::View& _view;
  osg::ref_ptr<osg::Camera> _camera;
  osg::ref_ptr<Requests> _requests;
  osg::ref_ptr<Begin> _begin;
  osg::ref_ptr<Read> _read;
  osg::ref_ptr<End> _end;
  osg::ref_ptr<Wake> _wake;
};

}  // namespace QuorOsgUtils
