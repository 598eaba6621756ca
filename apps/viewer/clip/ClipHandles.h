#pragma once

#include <QuorOsgUtils/BoxCutterDragger.h>

#include <osg/StateSet>

#include <cstddef>

namespace QuorViewer {

/// Which handles of the box, and which numbers they have.
using ClipMode = QuorOsgUtils::BoxCutterDragger::CutterType;

/// From where to where a pointer goes to drag a handle, in the frame of the scene.
struct HandlePath {
  osg::Vec3d from;
  osg::Vec3d to;
};

/// The library's clip box, dressed for this viewer's frame: programs in place of the fixed-function state that OpenGL
/// refuses there, and no traces in the captured depth, which belongs to the cloud alone.
///
/// A cone or an arrow that points at the eye takes no press: there, a pixel's move of the pointer would be a
/// kilometre's on the handle.
///
/// Cones stand before everything; lines hide behind points. The rings are meant to be drawn twice: before the cloud
/// with `setUpState`, and after it with `setUpStateOfRingsAgain`, where only what stands before the disc appears.
class ClipHandles : public QuorOsgUtils::BoxCutterDragger {
 public:
  /// `clipNode` comes without planes, and gets them from `applyClipPlane`.
  ClipHandles(const osg::BoundingBoxf& box, osg::ClipNode* clipNode);

  /// State for a parent of the handles.
  static void setUpState(osg::StateSet& state);
  static void setUpStateOfRingsAgain(osg::StateSet& state);

  using BoxCutterDragger::applyClipPlane;
  using BoxCutterDragger::handle;
  const osg::BoundingBoxf& box() const { return _box; }
  bool isDragged() const { return _draggerActive; }

  /// Pushes a face (0 to 5: low and high x, y, z) into the box by a share of its extent. Handles have their size from
  /// the first frame that shows them on, and before it there is no path.
  HandlePath pathOfFace(std::size_t face, double share) const;
  /// Moves the box along its axis by a share of its extent.
  HandlePath pathOfAxis(std::size_t axis, double share) const;
  /// Turns the box, by a place of the ring near the one that is nearest to the eye.
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
