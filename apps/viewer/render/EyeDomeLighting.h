#pragma once

#include <osg/Node>
#include <osg/Texture2D>

namespace QuorViewer {

/// Shades the cloud by depth alone: a pixel darkens by how much its neighbours stand out in front of it, so that edges
/// and relief show where points carry no normals. Works in both projections; the background stays as it is.
///
/// Draws after the cloud and before everything that must stay bright. It copies the depth drawn so far into `depthCopy`
/// and multiplies the colours in attachment 0, without reading them.
class EyeDomeLighting {
 public:
  explicit EyeDomeLighting(osg::Texture2D* depthCopy);

  osg::Node* node() { return _node; }
  bool isOn() const;
  void setOn(bool on);

 private:
  osg::ref_ptr<osg::Node> _node;
};

}  // namespace QuorViewer
