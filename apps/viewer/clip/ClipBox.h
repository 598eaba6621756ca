#pragma once

#include "viewer/clip/ClipHandles.h"

#include <osg/ClipNode>
#include <osg/Group>

#include <vector>

namespace QuorViewer {

/// The clip box in the scene: cuts the cloud, and only the cloud, and shows the handles that change it. Off, the whole
/// cloud shows, no handle is in the scene, and the box keeps its place.
class ClipBox {
 public:
  /// The cloud goes into the box' clip node. Its program writes `gl_ClipVertex`.
  explicit ClipBox(osg::Node* cloud);

  /// The cloud and the handles, for the scene.
  osg::Node* node() { return _node; }

  /// A box that is not turned, on at once, in place of the one before. Sides of at least `kLeastClipExtent`.
  void place(const osg::BoundingBoxf& box);
  bool isPlaced() const { return _handles.valid(); }
  /// As before the first `place`.
  void remove();
  /// Without effect before the first `place`.
  void setOn(bool on);
  bool isOn() const { return _handleParent->getNumChildren() > 0; }
  bool isDragged() const { return isOn() && _handles->isDragged(); }

  /// Which handles are shown. Bits 0, 1 and 2 of the mask are the box' axes X, Y and Z.
  void showHandles(ClipMode mode, int axisMask);
  ClipMode mode() const { return _mode; }
  int axisMask() const { return _axisMask; }

  /// Of the box at hand, on or off. Expects that it has been placed.
  const ClipHandles& handles() const { return *_handles; }

 private:
  void _updateHandles();

  osg::ref_ptr<osg::Group> _node;
  osg::ref_ptr<osg::ClipNode> _clipNode;
  osg::ref_ptr<osg::Group> _handleParent;
  osg::ref_ptr<osg::Group> _ringsAgain;
  osg::ref_ptr<ClipHandles> _handles;
  ClipMode _mode = ClipHandles::CUTTER_SCALE;
  int _axisMask = 7;
};

}  // namespace QuorViewer
