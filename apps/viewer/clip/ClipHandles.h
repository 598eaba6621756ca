#pragma once

#include <QuorOsgUtils/BoxCutterDragger.h>

#include <osg/StateSet>

#include <cstddef>

namespace QuorViewer {

/// Which handles of the box are shown; the numeric values are the library's.
using ClipMode = QuorOsgUtils::BoxCutterDragger::CutterType;

/// The start and end points of a handle drag, in scene coordinates (relative to the local origin).
struct HandlePath {
  osg::Vec3d from;
  osg::Vec3d to;
};

/// The library's clip box, adapted to this viewer's frame buffer: shader programs replace the fixed-function state that
/// OpenGL rejects there, and the handles write no depth, so that the captured depth contains only the cloud.
///
/// A cone or an arrow that points at the eye ignores presses: a pointer move of one pixel would move the handle by a
/// huge distance.
///
/// Cones are drawn on top of everything; points occlude lines. The rings must be drawn twice: before the cloud with
/// `setUpState`, and after it with `setUpStateOfSecondRingPass`, which draws only the half in front of the disc.
class ClipHandles : public QuorOsgUtils::BoxCutterDragger {
 public:
  /// `clipNode` must have no planes; `applyClipPlane` adds them.
  ClipHandles(const osg::BoundingBoxf& box, osg::ClipNode* clipNode);

  /// State for a parent of the handles.
  static void setUpState(osg::StateSet& state);
  static void setUpStateOfSecondRingPass(osg::StateSet& state);

  using BoxCutterDragger::applyClipPlane;
  using BoxCutterDragger::handle;
  const osg::BoundingBoxf& box() const { return _box; }
  bool isDragged() const { return _draggerActive; }

  /// The drag path that moves a face (0 to 5: low x, high x, low y, …) into the box by a fraction of the box's extent.
  /// Valid only after the first frame that shows the handles, because they have no size before it.
  HandlePath pathOfFace(std::size_t face, double share) const;
  /// The drag path that moves the box along an axis by a fraction of its extent.
  HandlePath pathOfAxis(std::size_t axis, double share) const;
  /// The drag path that rotates the box. It starts on the ring, near the ring point closest to the eye.
  HandlePath pathOfRing(std::size_t axis, double degrees, const osg::Vec3d& eye) const;

 protected:
  bool handle(const QuorOsgUtils::BoxPointerInfo& pointer, const osgGA::GUIEventAdapter& ea,
              osgGA::GUIActionAdapter& aa) override;

 private:
  bool _pointsAtEye(const QuorOsgUtils::BoxPointerInfo& pointer) const;
  osg::Vec3d _directionOf(std::size_t axis) const;
  double _extentAlong(std::size_t axis) const;
};

}  // namespace QuorViewer
