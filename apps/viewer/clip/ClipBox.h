#pragma once

#include "viewer/clip/ClipHandles.h"

#include <osg/ClipNode>
#include <osg/Group>

#include <vector>

namespace QuorViewer {

/// The clip box in the scene: clips the cloud, and only the cloud, and shows the handles that change it. When off, the
/// whole cloud is visible, no handle is in the scene, and the box keeps its pose.
class ClipBox {
 public:
  /// Adds the cloud to the box's clip node. The cloud's program must write `gl_ClipVertex`.
  explicit ClipBox(osg::Node* cloud);

  /// The cloud and the handles, to be added to the scene.
  osg::Node* node() { return _node; }

  /// Replaces the box with one that is rotated 0° and switches it on. Each side is at least `kLeastClipExtent`.
  void place(const osg::BoundingBoxf& box);
  bool isPlaced() const { return _handles.valid(); }
  /// Restores the state before the first `place`.
  void remove();
  /// No effect before the first `place`.
  void setOn(bool on);
  bool isOn() const { return _handleParent->getNumChildren() > 0; }
  bool isDragged() const { return isOn() && _handles->isDragged(); }

  /// Selects the handles that are shown. Bits 0, 1 and 2 of the mask are the box's axes X, Y and Z.
  void showHandles(ClipMode mode, int axisMask);
  ClipMode mode() const { return _mode; }
  int axisMask() const { return _axisMask; }

  /// The handles of the current box, whether on or off. The box must have been placed.
  const ClipHandles& handles() const { return *_handles; }

 private:
  void _updateHandles();

  osg::ref_ptr<osg::Group> _node;
  osg::ref_ptr<osg::ClipNode> _clipNode;
  osg::ref_ptr<osg::Group> _handleParent;
  osg::ref_ptr<osg::Group> _secondRingPass;
  osg::ref_ptr<ClipHandles> _handles;
  ClipMode _mode = ClipHandles::CUTTER_SCALE;
  int _axisMask = 7;
};

}  // namespace QuorViewer
