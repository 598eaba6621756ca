#pragma once

#include <osg/Node>

namespace QuorViewer {

/// The backdrop: a dim vertical gradient, behind everything, leaving the depth untouched.
osg::ref_ptr<osg::Node> createBackground();

}  // namespace QuorViewer
