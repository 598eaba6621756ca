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
  /// A frame was drawn, but without a complete frame-buffer object, without a pixel, or without the callbacks of the
  /// `ImageCapture`, because others replaced them later; or memory is exhausted, or the thread that watches the time
  /// cannot be started.
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

/// Images of a view for any thread, without a thread that must wait for the draw or be waited for.
///
///     QuorOsgUtils::ImageCapture images(viewer);
///     ...
///     std::future<QuorOsgUtils::CapturedImage> image = images.request(std::chrono::seconds(10));
///     // on any other thread than the one that draws:
///     if (image.get().status == QuorOsgUtils::ImageStatus::Captured) { ... }
///
/// Every future becomes ready: with the image at the end of the next frame that starts, or without one for the reasons
/// of `ImageStatus`, after the time at the latest. A future that is dropped does not block.
///
/// Requires that the camera draws into a frame-buffer object that is captured or could be: `CapturedCamera`, or what
/// `ScreenCaptureTool` requires. It reads the pixels of the viewport after the camera's draw, itself: it needs no
/// capture tool and uses none, so that `CaptureOp`s of the application are served as if it did not exist.
///
/// Threads: `request` and `withdraw` may be called from any thread. The thread that draws must not wait for a future,
/// because it would draw nothing until the time is up; between frames it may ask whether the future is ready. The first
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

  /// Requests an image of the next frame that starts, for at least 0 ms and at most 100 years. A viewer that draws on
  /// demand draws it: whenever the viewer looks for events (`osgViewer::ViewerBase::checkEvents`, which
  /// `checkNeedToDoFrame` and `run` call) while a request is pending, the view's device reports some, and requests a
  /// redraw of the view (`osgViewer::View::requestRedraw`) on that thread. So nothing is written to the viewer from the
  /// thread that calls `request`. An application with a loop that does neither requests redraws itself.
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
