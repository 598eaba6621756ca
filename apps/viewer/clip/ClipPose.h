#pragma once

#include <QuorOsgUtils/ClipBoxControl.h>

#include <osg/BoundingBox>
#include <osg/Matrixd>
#include <osg/Vec3d>

#include <string>

namespace QuorViewer {

/// The pose of a clip box, for display.
struct ClipPose {
  osg::Vec3d size;    ///< along the axes of the box, in world units
  osg::Vec3d centre;  ///< in world coordinates
  double degrees = 0.0;
  osg::Vec3d axis = {0.0, 0.0, 1.0};  ///< rotation axis, unit length; positive angles are counter-clockwise
};

/// The pose of a box under a matrix that translates and rotates but does not scale. `origin` is added to give world
/// coordinates.
ClipPose poseOf(const osg::BoundingBoxd& box, const osg::Matrixd& matrix, const osg::Vec3d& origin);
ClipPose poseOf(const QuorOsgUtils::ClipBoxState& state, const osg::Vec3d& origin);

/// For the window: "Box  12.00 × 4.50 × 3.00      centre  …      rotated 30.0° about Z". A thin box has more decimals.
std::string statusText(const ClipPose& pose);
/// For the standard output: "clip size x y z centre x y z rotation degrees x y z".
std::string outputText(const ClipPose& pose);

/// A box around all of `content`, enlarged by a margin, so that nothing is clipped and each face can be dragged. The
/// margin is a small fraction of the content's size: the box around flat content is thin. Expects valid bounds.
osg::BoundingBoxd boxAround(const osg::BoundingBox& content);

}  // namespace QuorViewer
