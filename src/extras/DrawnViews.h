#pragma once

#include "capture/CaptureViewport.h"

#include <osg/Camera>
#include <osg/CullStack>
#include <osg/Matrixd>
#include <osg/NodeCallback>
#include <osg/State>
#include <osg/StateSet>
#include <osg/Transform>
#include <osg/Viewport>
#include <osg/ref_ptr>

#include <array>
#include <cstddef>
#include <mutex>
#include <optional>

namespace QuorOsgUtils {

/// The matrices and the viewport that a frame is drawn with.
struct DrawnView {
  osg::Matrixd view;
  osg::Matrixd projection;
  std::optional<CaptureViewport> viewport;  // nothing if it cannot be captured
};

/// A cull callback of a camera that lets draw callbacks find the matrices and the viewport of the frame being drawn.
///
/// While a frame is drawn on its own thread, the camera may already have the matrices of the next one. The render
/// stage's view matrix, which the `osg::State` has during the draw, is the one of the drawn frame. The state's
/// projection matrix is that of the node drawn last, which is another one for text under an `osg::Projection`. So the
/// cull keeps the matrices of the latest frames, and the draw finds its own by the identity of the view matrix. The
/// projection gets its final near and far planes after the camera's cull callback, but before the draw.
///
/// The viewport of GL is that of the node drawn last, too, and OSG draws with the camera's own viewport object, which
/// the event thread may have changed since the cull: the projection would then belong to a viewport of another shape or
/// place. So the nodes of the camera get a copy of the viewport that they were culled with.
class DrawnViews : public osg::NodeCallback {
 public:
  void operator()(osg::Node* camera, osg::NodeVisitor* visitor) override;

  /// On the draw thread, in a callback of the camera. Without a known frame, because the camera was culled without this
  /// callback, these are the state's own matrices and the camera's viewport.
  DrawnView of(const osg::State& state, const osg::Camera& camera) const;

 private:
  struct Culled {
    osg::ref_ptr<const osg::RefMatrix> view;
    osg::ref_ptr<const osg::RefMatrix> projection;
    std::optional<CaptureViewport> viewport;
    osg::ref_ptr<const osg::StateSet> state;  // with that viewport
  };

  /// Keeps what the camera is culled with. The state set belongs to this object.
  const osg::StateSet* _keep(osg::CullStack& stack, const osg::Viewport& viewport);
  /// Expects the mutex to be held. The state set of the last cull, if its viewport is the same.
  osg::ref_ptr<const osg::StateSet> _stateFor(const osg::Viewport& viewport) const;

  // Two eyes, of a frame that is drawn, one that waits for it, and one that is culled.
  static constexpr std::size_t kKept = 6;

  mutable std::mutex _mutex;
  std::array<Culled, kKept> _culled;
  std::size_t _next = 0;
};

}  // namespace QuorOsgUtils
