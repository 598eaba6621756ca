#pragma once

#include <QuorOsgUtils/ScreenCaptureTool.h>

#include <osg/Camera>
#include <osg/FrameBufferObject>
#include <osg/StateSet>
#include <osg/Texture2D>

namespace QuorViewer {

/// The contents of each attachment, besides the visible colours in attachment 0.
namespace Attachment {
constexpr unsigned int kIdentifiers = 1;  ///< unsigned: scan (0: background), low and high 32 bits of the index, 1
constexpr unsigned int kPositions = 2;    ///< float: x, y, z relative to the local origin, 1
constexpr unsigned int kValues = 3;       ///< float: intensity, 0, 0, 1
constexpr unsigned int kCodes = 4;        ///< signed: low 32 bits of the index, class, return number, number of returns
constexpr unsigned int kCount = 5;
}  // namespace Attachment

/// The off-screen frame that a window's camera draws into. It is captured after each draw and then copied to the
/// window.
///
/// The frame-buffer object is an attribute of the camera's state set, because the capture tool reads the object that
/// the state applied last. It follows the size of the camera's viewport. Nodes below the camera write colours only;
/// nodes that have values for the other attachments enable them with `writeAllAttachments`. Nodes without a program of
/// their own are drawn in their unlit colours. Expects one draw thread. The camera keeps what it needs; the target may
/// be destroyed before it.
class CaptureTarget {
 public:
  /// Replaces the camera's clear and its pre-draw, post-draw and final-draw callbacks.
  explicit CaptureTarget(osg::Camera& camera);

  /// Lets nodes under this state write to attachments 1 to 4 too.
  static void writeAllAttachments(osg::StateSet& stateSet);

  QuorOsgUtils::ScreenCaptureTool& tool() { return *_tool; }
  /// A texture of the frame's size, for passes that read the depth drawn so far.
  osg::Texture2D* depthCopy() { return _depthCopy; }
  /// Number of errors that GL has reported in the frames drawn so far.
  unsigned int glErrorCount() const;

 private:
  osg::ref_ptr<QuorOsgUtils::ScreenCaptureTool> _tool;
  osg::ref_ptr<osg::Texture2D> _depthCopy;
  osg::ref_ptr<osg::Camera::DrawCallback> _present;
};

}  // namespace QuorViewer
