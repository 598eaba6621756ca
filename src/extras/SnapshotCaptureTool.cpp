#include "capture/GLConstants.h"
#include "extras/DrawnViews.h"
#include "extras/PixelBufferRing.h"
#include "extras/SnapshotPool.h"
#include "extras/SnapshotReader.h"

#include <QuorOsgUtils/SnapshotCaptureTool.h>

#include <osg/FrameStamp>
#include <osg/GraphicsContext>

#include <atomic>
#include <mutex>
#include <new>
#include <optional>
#include <stdexcept>
#include <utility>

namespace QuorOsgUtils {

/// The frame that has been drawn.
struct SnapshotCaptureTool::Drawn {
  const osg::State& state;
  const osg::GLExtensions& gl;
  const osg::FrameBufferObject& object;
  DrawnView view;
  PixelRectangle pixels;  // of the viewport, as far as they lie in the object
};

struct SnapshotCaptureTool::Private {
  /// A request that cannot be fulfilled, even because memory is exhausted, holds for the next frame. False if the
  /// object cannot be read.
  bool capture(const Drawn& drawn) {
    const SnapshotReader reader(drawn.state, drawn.gl, drawn.object);
    if (!reader.isComplete()) {
      return false;
    }
    Settle settle{*this};
    const Order order = _takeOrder();
    _ring.advance();
    if (order.readBack.framesLate <= 0) {
      _ring.cancel();
    }
    const bool isRead = !order.isWanted || _read(drawn, reader, order.readBack);
    const bool areFinished = _publishDue(drawn.state);
    settle.requestsAgain = !order.readBack.everyFrame && !(isRead && areFinished);
    return true;
  }

  void release(osg::State* state) {
    _ring.release(state);
    readsInProgress = 0;
  }

  osg::ref_ptr<DrawnViews> views = new DrawnViews;
  SnapshotPool pool;
  std::vector<unsigned char> colours;  // of requests
  std::atomic<bool> fillsFrameBuffer{false};
  std::atomic<std::size_t> readsInProgress{0};
  std::mutex mutex;  // for the next two
  ReadBack readBack;
  bool isRequested = false;

 private:
  struct Order {
    ReadBack readBack;
    bool isWanted;
  };

  /// At the end of a capture, however it ends.
  struct Settle {
    ~Settle() {
      const std::lock_guard<std::mutex> held(data.mutex);
      data.isRequested = data.isRequested || requestsAgain;
      data.readsInProgress = data._ring.size();
    }
    Private& data;
    bool requestsAgain = true;
  };

  /// A request that comes from now on asks for the next frame.
  Order _takeOrder() {
    const std::lock_guard<std::mutex> held(mutex);
    const bool isWanted = std::exchange(isRequested, false) || readBack.everyFrame;
    readsInProgress = _ring.size() + (isWanted ? 1 : 0);
    return {readBack, isWanted};
  }

  /// False if no pixel of the frame can be read.
  bool _read(const Drawn& drawn, const SnapshotReader& reader, const ReadBack& order) {
    const osg::ref_ptr<FrameSnapshot> snapshot = pool.take();
    const osg::FrameStamp* const stamp = drawn.state.getFrameStamp();
    snapshot->viewMatrix = drawn.view.view;
    snapshot->projectionMatrix = drawn.view.projection;
    snapshot->frameNumber = stamp ? stamp->getFrameNumber() : 0;
    snapshot->viewport = rectangleOf(drawn.view.viewport);
    snapshot->region = order.region ? intersection(*order.region, drawn.pixels) : drawn.pixels;
    if (snapshot->pixelCount() == 0) {
      return false;
    }
    prepareBuffers(*snapshot, order.buffers);
    if (order.framesLate > 0) {
      _ring.start(drawn.state, reader, snapshot, order.framesLate);
    } else {
      reader.read(*snapshot);
      _publish(snapshot);
    }
    return true;
  }

  /// False if one of them could not be read.
  bool _publishDue(const osg::State& state) {
    bool areFinished = true;
    while (const std::optional<osg::ref_ptr<FrameSnapshot>> due = _ring.finishDue(state)) {
      if (due->valid()) {
        _publish(*due);
      }
      areFinished = areFinished && due->valid();
    }
    return areFinished;
  }

  void _publish(const osg::ref_ptr<FrameSnapshot>& snapshot) {
    measureDepthRange(*snapshot);
    pool.publish(snapshot);
  }

  PixelBufferRing _ring;
};

SnapshotCaptureTool::SnapshotCaptureTool() : _data(std::make_unique<Private>()) {}

SnapshotCaptureTool::~SnapshotCaptureTool() = default;

void SnapshotCaptureTool::attachTo(osg::Camera& camera) {
  camera.setPostDrawCallback(this);
  camera.removeCullCallback(_data->views.get());
  camera.addCullCallback(_data->views.get());
}

osg::ref_ptr<const FrameSnapshot> SnapshotCaptureTool::latest() const {
  return _data->pool.latest();
}

osg::ref_ptr<const FrameSnapshot> SnapshotCaptureTool::waitForNext(const FrameSnapshot* seen,
                                                                   std::chrono::milliseconds limit) const {
  return _data->pool.waitForNext(seen, limit);
}

void SnapshotCaptureTool::setReadBack(const ReadBack& readBack) {
  const std::lock_guard<std::mutex> held(_data->mutex);
  _data->readBack = readBack;
}

ReadBack SnapshotCaptureTool::getReadBack() const {
  const std::lock_guard<std::mutex> held(_data->mutex);
  return _data->readBack;
}

void SnapshotCaptureTool::requestFrame() {
  const std::lock_guard<std::mutex> held(_data->mutex);
  _data->isRequested = true;
}

bool SnapshotCaptureTool::isFramePending() const {
  const std::lock_guard<std::mutex> held(_data->mutex);
  return _data->isRequested || _data->readsInProgress > 0;
}

void SnapshotCaptureTool::releaseGLObjects(osg::State* state) const {
  _data->release(state);
  ScreenCaptureTool::releaseGLObjects(state);
}

void SnapshotCaptureTool::setFillsFrameBuffer(bool fills) {
  _data->fillsFrameBuffer = fills;
}

void SnapshotCaptureTool::operator()(osg::RenderInfo& renderInfo) const {
  glEnable(kGLProgramPointSize);
  const osg::State* state = renderInfo.getState();
  if (!state || !state->getGraphicsContext() || !renderInfo.getCurrentCamera()) {
    return;
  }
  const osg::GLExtensions* gl = osg::GLExtensions::Get(state->getContextID(), true);
  const osg::FrameBufferObject* object = drawnObject(*state);
  if (!gl || !gl->glBindFramebuffer || !object) {
    return;
  }
  const DrawnView view = _data->views->of(*state, *renderInfo.getCurrentCamera());
  const Drawn drawn{*state, *gl, *object, view, drawnPixels(view.viewport, *object)};
  try {
    if (_data->capture(drawn)) {
      _fillFrameBuffer(renderInfo, *gl);
      _serveRequest(drawn);
    }
  } catch (const std::bad_alloc&) {
    return;
  } catch (const std::length_error&) {
    return;
  }
}

/// The base class reads from pixel (0, 0) on, so it gets no request to serve.
void SnapshotCaptureTool::_fillFrameBuffer(osg::RenderInfo& renderInfo, const osg::GLExtensions& gl) const {
  if (_data->fillsFrameBuffer) {
    const KeptBindings kept(gl);
    osg::ref_ptr<CaptureOp> noRequest;
    _capture(renderInfo, noRequest);
  }
}

void SnapshotCaptureTool::_serveRequest(const Drawn& drawn) const {
  auto& self = const_cast<SnapshotCaptureTool&>(*this);  // a served request is dropped, as in the base class
  const osg::ref_ptr<CaptureOp> op = self.getCaptureOp();
  if (!op) {
    return;
  }
  osg::ref_ptr<FrameSnapshot> image = new FrameSnapshot;
  image->region = drawn.pixels;
  image->colours.swap(_data->colours);
  prepareBuffers(*image, ReadBack::kColours);
  SnapshotReader(drawn.state, drawn.gl, drawn.object).read(*image);
  {
    const KeptBindings kept(drawn.gl);
    drawn.gl.glBindFramebuffer(kGLFramebuffer, drawn.object.getHandle(drawn.state.getContextID()));
    op->captureImage(image->region.width, image->region.height, image->colours);
  }
  op->block(0);
  _data->colours.swap(image->colours);
  if (self.getCaptureOp() == op.get()) {
    self.setCaptureOp(nullptr);
  }
}

}  // namespace QuorOsgUtils
