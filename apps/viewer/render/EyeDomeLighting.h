#pragma once

#include <osg/Node>
#include <osg/ref_ptr>

namespace QuorViewer {

/// Shades the cloud by depth alone: a pixel is darkened by how far its neighbours are in front of it, so that edges and
/// relief are visible although points have no normals. Works in both projections; the background stays unchanged.
///
/// Draws after the cloud and before everything that must not be shaded. It copies the depth drawn so far into
/// a texture and multiplies the colours in attachment 0, without reading them.
class EyeDomeLighting {
 public:
  EyeDomeLighting();

  osg::Node* node() { return _node; }
  bool isOn() const;
  void setOn(bool on);

 private:
  osg::ref_ptr<osg::Node> _node;
};

}  // namespace QuorViewer
