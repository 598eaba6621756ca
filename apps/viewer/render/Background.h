#pragma once

#include <osg/Node>

namespace QuorViewer {

/// The background: a dim vertical gradient behind everything. It writes no depth.
osg::ref_ptr<osg::Node> createBackground();

}  // namespace QuorViewer
