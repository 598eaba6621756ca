#pragma once

#include <QuorOsgUtils/BoxCutterDragger.h>

#include <osg/StateSet>

#include <cstddef>

namespace QuorViewer {

/// Which handles of the box are shown; the numeric values are the library's.
using ClipMode = QuorOsgUtils::BoxCutterDragger::CutterType;

/// The start and the end of a handle drag, in the frame of the scene.
struct HandlePath {
  osg::Vec3d from;
  osg::Vec3d to;
};

/// The library's clip box, adapted to this viewer's frame buffer: programs replace the fixed-function state that OpenGL
/// rejects there, and the captured depth is left to the cloud alone.
///
/// A cone or an arrow that points at the eye ignores presses: a pointer move of one pixel would move the handle by a
/// huge distance.
///
/// Cones are in front of everything; lines are hidden behind points. The rings are meant to be drawn twice: before the
/// cloud with `setUpState`, and after it with `setUpStateOfRingsAgain`, which shows only the half in front of the disc.
class ClipHandles : public QuorOsgUtils::BoxCutterDragger {
 public:
  /// `clipNode` starts without planes; `applyClipPlane` adds them.
  ClipHandles(const osg::BoundingBoxf& box, osg::ClipNode* clipNode);

  /// State for a parent of the handles.
  static void setUpState(osg::StateSet& state);
  static void setUpStateOfRingsAgain(osg::StateSet& state);

  using BoxCutterDragger::applyClipPlane;
  using BoxCutterDragger::handle;
  const osg::BoundingBoxf& box() const { return _box; }
  bool isDragged() const { return _draggerActive; }

  /// Pushes a face (0 to 5: low and high x, y, z) into the box by a fraction of its extent. Handles have a size from
  /// the first frame that shows them; before that there is no path.
  HandlePath pathOfFace(std::size_t face, double share) const;
  /// Moves the box along its axis by a fraction of its extent.
  HandlePath pathOfAxis(std::size_t axis, double share) const;
  /// Rotates the box, from a point on the ring near the one closest to the eye.
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
