#pragma once

#include <QuorOsgUtils/Export.h>

#include <osg/Quat>
#include <osg/Vec3d>
#include <osgGA/OrbitManipulator>

namespace QuorOsgUtils {

/// The base of all camera manipulators in this library. It adds to OSG's orbit manipulator a field of view, separate
/// pitch and yaw parts of the orbit rotation, and a view centre that is only stored for the application.
///
/// Frames: the orbit centre is in world units; the orbit rotation transforms view axes (x right, y up, −z ahead) to
/// world axes.
/// Ownership: hold instances in an `osg::ref_ptr`.
/// Threads: the viewer's event thread only.
/// GL: none is used.
class QUOR_OSG_UTILS_EXPORT SManipulatorBase : public osgGA::OrbitManipulator {
 public:
  /// An orbit manipulator with OSG's default settings and a view centre of (0, 0, 0).
  SManipulatorBase();

  /// Copies the orbit state shallowly, and the view centre.
  SManipulatorBase(const SManipulatorBase& other);
  ~SManipulatorBase() override;

  /// The vertical field of view used to frame the scene. Here π / 6 in radians, with a truncated π; a subclass may use
  /// another unit (`SPointCloudManipulator`: degrees), so check the concrete class (fixed by the interface).
  virtual double getFov();

  /// Replaces the pitch part of the orbit rotation (pitch × yaw). Does nothing here, so that an application may
  /// call it on any manipulator of the library.
  virtual void setPitchQuat(osg::Quat pitch);

  /// Replaces the yaw part of the orbit rotation. Does nothing here.
  virtual void setYawQuat(osg::Quat yaw);

  /// Replaces both parts of the orbit rotation. Does nothing here.
  virtual void setPitchWithYawQuat(osg::Quat pitch, osg::Quat yaw);

  ///@{
  /// The point last stored by `setViewCenter`; navigation never reads it. Drags and wheel steps of the point-cloud
  /// manipulators reset it to (0, 0, 0).
  osg::Vec3d getViewCenter();
  void setViewCenter(osg::Vec3d center);
  ///@}

  /// The unit vector that points to the right in the current view, in world axes.
  osg::Vec3d getViewRight();

 private:
  osg::Vec3d _viewCenter;
};

/// The common layer of the manipulators for lidar data. It adds only its type to `SManipulatorBase`.
class QUOR_OSG_UTILS_EXPORT SLidarManipulatorBase : public SManipulatorBase {
 public:
  /// The same as an `SManipulatorBase`.
  SLidarManipulatorBase();

  /// Copies the orbit state shallowly, and the view centre.
  SLidarManipulatorBase(const SLidarManipulatorBase& other);

  /// Copies, and leaves the source unchanged: a reference-counted object may have other holders.
  SLidarManipulatorBase(SLidarManipulatorBase&& other);  // NOLINT(performance-noexcept-move-constructor): it copies
  ~SLidarManipulatorBase() override;
};

}  // namespace QuorOsgUtils
