#pragma once

#include <osgManipulator/Projector>

namespace QuorOsgUtils {

/// Finds the same points as its base, but allocates nothing.
class DragLineProjector : public osgManipulator::LineProjector {
 public:
  using LineProjector::LineProjector;

  /// The point of the line that is closest to the pointer's line of sight, in the line's frame. False if they are
  /// parallel or the line has no length.
  bool project(const osgManipulator::PointerInfo& pointer, osg::Vec3d& point) const override;

 protected:
  ~DragLineProjector() override = default;
};

}  // namespace QuorOsgUtils
