#include "capture/GLConstants.h"
#include "extras/Deadline.h"
#include "extras/DrawnViews.h"
#include "extras/SnapshotReader.h"

#include <QuorOsgUtils/ImageCapture.h>
#include <QuorOsgUtils/SnapshotCaptureTool.h>

#include <osg/FrameBufferObject>
#include <osg/GLExtensions>
#include <osg/State>

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <new>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace QuorOsgUtils {
namespace {

using Clock = std::chrono::steady_clock;

/// The frame's alpha has no meaning in an image. Throws if memory is exhausted.
osg::ref_ptr<osg::Image> createImage(int width, int height, const std::vector<unsigned char>& rgba) {
  osg::ref_ptr<osg::Image> image = new osg::Image;
  image->allocateImage(width, height, 1, GL_RGB, GL_UNSIGNED_BYTE);
  const unsigned char* from = rgba.data();
  for (int row = 0; row < height; ++row) {
    unsigned char* to = image->data(0, static_cast<unsigned int>(row));
    for (int pixel = 0; pixel < width; ++pixel, to += 3, from += 4) {
      std::memcpy(to, from, 3);
    }
  }
  return image;
}

/// Null if memory is exhausted or there are no pixels.
osg::ref_ptr<osg::Image> imageOf(int width, int height, const std::vector<unsigned char>& rgba) {
  try {
    return rgba.empty() ? nullptr : createImage(width, height, rgba);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace

/// The pending requests. Those that a frame has begun to serve are ended by that frame.
class ImageCapture::Requests : public osg::Referenced {
 public:
  std::future<CapturedImage> add(std::chrono::milliseconds limit) {
    const std::lock_guard<std::mutex> held(_mutex);
    Request request;
    request.deadline = deadlineAfter(limit);
    std::future<CapturedImage> image = request.promise.get_future();
    if (_isWatched()) {
      _pending.push_back(std::move(request));
      _changed.notify_all();
    } else {
      request.promise.set_value({ImageStatus::NotCapturable, nullptr});
    }
    return image;
  }

  void endAll(ImageStatus status) {
    const std::lock_guard<std::mutex> held(_mutex);
    _end(status, [](const Request&) { return true; });
  }

  void close() {
    endAll(ImageStatus::Closed);
    {
      const std::lock_guard<std::mutex> held(_mutex);
      _isClosed = true;
    }
    _changed.notify_all();
    if (_watch.joinable()) {
      _watch.join();
    }
  }

  bool arePending() {
    const std::lock_guard<std::mutex> held(_mutex);
    return !_pending.empty();
  }

  /// Lets the current frame serve what is pending.
  void begin() {
    const std::lock_guard<std::mutex> held(_mutex);
    for (Request& request : _pending) {
      request.isServed = true;
    }
  }

  /// Whether the current frame serves anything.
  bool areServed() {
    const std::lock_guard<std::mutex> held(_mutex);
    return std::any_of(_pending.begin(), _pending.end(), [](const Request& request) { return request.isServed; });
  }

  void give(int width, int height, const std::vector<unsigned char>& rgba) {
    const std::lock_guard<std::mutex> held(_mutex);
    for (Request& request : _pending) {
      if (request.isServed) {
        const osg::ref_ptr<osg::Image> image = imageOf(width, height, rgba);
        request.promise.set_value({image ? ImageStatus::Captured : ImageStatus::NotCapturable, image});
      }
    }
    _eraseServed();
  }

  /// Ends what the current frame has not served although it was to.
  void fail() {
    const std::lock_guard<std::mutex> held(_mutex);
    _end(ImageStatus::NotCapturable, [](const Request& request) { return request.isServed; });
  }

 private:
  struct Request {
    std::promise<CapturedImage> promise;
    Clock::time_point deadline;
    bool isServed = false;
  };

  /// Expects the mutex to be held. Starts the thread that watches the time; false if that fails.
  bool _isWatched() {
    try {
      if (!_watch.joinable()) {
        _watch = std::thread([this] { _watchTime(); });
      }
    } catch (const std::system_error&) {
      return false;
    }
    return true;
  }

  template <typename Which>
  void _end(ImageStatus status, const Which& which) {
    for (Request& request : _pending) {
      request.isServed = which(request);
      if (request.isServed) {
        request.promise.set_value({status, nullptr});
      }
    }
    _eraseServed();
  }

  void _eraseServed() {
    const auto isServed = [](const Request& request) { return request.isServed; };
    _pending.erase(std::remove_if(_pending.begin(), _pending.end(), isServed), _pending.end());
  }

  void _watchTime() {
    std::unique_lock<std::mutex> held(_mutex);
    while (!_isClosed) {
      if (_pending.empty()) {
        _changed.wait(held);
      } else {
        _changed.wait_until(held, _nextDeadline());
      }
      _endLate();
    }
  }

  Clock::time_point _nextDeadline() const {
    const auto earlier = [](const Request& a, const Request& b) { return a.deadline < b.deadline; };
    return std::min_element(_pending.begin(), _pending.end(), earlier)->deadline;
  }

  void _endLate() {
    const auto late = std::stable_partition(_pending.begin(), _pending.end(),
                                            [now = Clock::now()](const Request& r) { return r.deadline > now; });
    std::for_each(late, _pending.end(), [](Request& request) {
      request.promise.set_value({ImageStatus::TimedOut, nullptr});
    });
    _pending.erase(late, _pending.end());
  }

  std::mutex _mutex;
  std::condition_variable _changed;
  std::vector<Request> _pending;
  std::thread _watch;
  bool _isClosed = false;
};

/// Before the draw.
class ImageCapture::Begin : public osg::Camera::DrawCallback {
 public:
  explicit Begin(Requests* requests) : _requests(requests) {}

  void operator()(osg::RenderInfo& /*renderInfo*/) const override { _requests->begin(); }
  using osg::Camera::DrawCallback::operator();

  /// The window is closed.
  void releaseGLObjects(osg::State* state = nullptr) const override {
    _requests->endAll(ImageStatus::Closed);
    osg::Camera::DrawCallback::releaseGLObjects(state);
  }

 private:
  osg::ref_ptr<Requests> _requests;
};

/// After the draw and the capture tool: reads the colours, and leaves the GL state as it is.
class ImageCapture::Read : public osg::Camera::DrawCallback {
 public:
  explicit Read(Requests* requests) : _requests(requests), _views(new DrawnViews) {}

  DrawnViews* views() const { return _views; }

  void operator()(osg::RenderInfo& renderInfo) const override {
    const osg::State& state = *renderInfo.getState();
    const osg::GLExtensions* gl = osg::GLExtensions::Get(state.getContextID(), true);
    const osg::FrameBufferObject* object = drawnObject(state);
    if (!_requests->areServed() || !gl || !gl->glBindFramebuffer || !object) {
      return;
    }
    try {
      _read(state, *gl, *object, _views->of(state, *renderInfo.getCurrentCamera()));
    } catch (const std::bad_alloc&) {
      return;
    } catch (const std::length_error&) {
      return;
    }
  }
  using osg::Camera::DrawCallback::operator();

 private:
  void _read(const osg::State& state, const osg::GLExtensions& gl, const osg::FrameBufferObject& object,
             const DrawnView& view) const {
    const KeptBindings kept(gl);
    const SnapshotReader reader(state, gl, object);
    if (!reader.isComplete()) {
      return;
    }
    const osg::ref_ptr<FrameSnapshot> frame = new FrameSnapshot;
    frame->region = drawnPixels(view.viewport, object);
    prepareBuffers(*frame, ReadBack::kColours);
    GLint readBuffer = 0;
    glGetIntegerv(GL_READ_BUFFER, &readBuffer);
    reader.read(*frame);
    glReadBuffer(static_cast<GLenum>(readBuffer));
    _requests->give(frame->region.width, frame->region.height, frame->colours);
  }

  osg::ref_ptr<Requests> _requests;
  osg::ref_ptr<DrawnViews> _views;
};

/// At the end of the frame: ends what it could not serve.
class ImageCapture::End : public osg::Camera::DrawCallback {
 public:
  explicit End(Requests* requests) : _requests(requests) {}

  void operator()(osg::RenderInfo& /*renderInfo*/) const override { _requests->fail(); }
  using osg::Camera::DrawCallback::operator();

 private:
  osg::ref_ptr<Requests> _requests;
};

/// A viewer asks its views' devices for events on the thread that calls `frame`, also while it draws on demand. So
/// redraws are requested on that thread: `osgViewer::View::requestRedraw` has no lock. A request of this frame or of
/// the last one may be forgotten, so it is repeated until an image has been taken.
class ImageCapture::Wake : public osgGA::Device {
 public:
  Wake(osgViewer::View& view, Requests* requests) : _view(view), _requests(requests) {
    setCapabilities(RECEIVE_EVENTS);
  }

  bool checkEvents() override {
    const bool isNeeded = _requests->arePending();
    if (isNeeded) {
      _view.requestRedraw();
    }
    return isNeeded;
  }

 private:
  osgViewer::View& _view;
  osg::ref_ptr<Requests> _requests;
};

ImageCapture::ImageCapture(osgViewer::View& view)
    : _view(view),
      _camera(view.getCamera()),
      _requests(new Requests),
      _begin(new Begin(_requests)),
      _read(new Read(_requests)),
      _end(new End(_requests)),
      _wake(new Wake(view, _requests)) {
  _camera->addCullCallback(_read->views());
  _camera->addPreDrawCallback(_begin);
  _camera->addPostDrawCallback(_read);
  _camera->addFinalDrawCallback(_end);
  _view.addDevice(_wake);
}

ImageCapture::~ImageCapture() {
  _view.removeDevice(_wake);
  _camera->removeFinalDrawCallback(_end);
  _camera->removePostDrawCallback(_read);
  _camera->removePreDrawCallback(_begin);
  _camera->removeCullCallback(_read->views());
  _requests->close();
}

std::future<CapturedImage> ImageCapture::request(std::chrono::milliseconds limit) {
  return _requests->add(limit);
}

void ImageCapture::withdraw() {
  _requests->endAll(ImageStatus::Withdrawn);
}

}  // namespace QuorOsgUtils
