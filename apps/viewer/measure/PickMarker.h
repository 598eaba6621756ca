#pragma once

#include <osg/Geometry>
#include <osg/Node>
#include <osg/Vec3d>

namespace QuorViewer {

/// Rings of constant size in pixels at the last two picked points, and a line between them. Always on top of the cloud.
/// Positions are relative to the local origin.
class PickMarker {
 public:
  PickMarker();

  osg::Node* node() { return _node; }
  /// Marks `point`; the previously marked point becomes the other end of the line.
  void mark(const osg::Vec3d& point);
  void clear();

 private:
  void _show(unsigned int count);

  osg::ref_ptr<osg::Group> _node;
  osg::ref_ptr<osg::Vec3Array> _points;  // the latest last, so that its ring is drawn on top
  osg::ref_ptr<osg::DrawArrays> _rings;
  osg::ref_ptr<osg::DrawArrays> _line;
  unsigned int _count = 0;
};

}  // namespace QuorViewer
