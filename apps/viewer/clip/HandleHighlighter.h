#pragma once

#include "viewer/clip/ClipBox.h"

#include <osgGA/GUIEventHandler>
#include <osgViewer/View>

namespace QuorViewer {

/// Highlights the handle of the clip box under the pointer, and the one being dragged. Requests a redraw only when the
/// highlight changes, and marks no event as handled.
class HandleHighlighter : public osgGA::GUIEventHandler {
 public:
  /// `box` outlives the handler.
  explicit HandleHighlighter(ClipBox& box) : _box(box) {}

  bool handle(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) override;
  /// Call it after each frame: a new view may have brought another handle under the pointer.
  void followView(osgViewer::View& view);

 private:
  bool _update(osgViewer::View& view);

  ClipBox& _box;
  osg::ref_ptr<const osgGA::GUIEventAdapter> _latest;  // of the pointer
};

}  // namespace QuorViewer
