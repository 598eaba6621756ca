#pragma once

#include <QuorOsgUtils/ClipBoxControl.h>

#include <osg/ClipNode>
#include <osg/Group>
#include <osg/Plane>

#include <vector>

namespace QuorViewer {

using QuorOsgUtils::ClipBoxControl;
/// Which handles of the box are shown; the numeric values are the library's.
using ClipMode = ClipBoxControl::CutterType;

/// The clip box in the scene: clips the cloud, and only the cloud, and shows the handles that change it. When off, the
/// whole cloud is visible, no handle is visible, and the box keeps its pose.
class ClipBox {
 public:
  /// Adds the cloud to the box's clip node. The cloud's program must write `gl_ClipVertex`.
  explicit ClipBox(osg::Node* cloud);

  /// The cloud and the handles, to be added to the scene.
  osg::Node* node() { return _node; }

  /// Replaces the box with one that is rotated 0° and switches it on. Each side is at least
  /// `ClipBoxControl::leastExtent` of the longest.
  void place(const osg::BoundingBoxd& box);
  bool isPlaced() const { return _control.valid(); }
  /// Restores the state before the first `place`.
  void remove();
  /// No effect before the first `place`.
  void setOn(bool on);
  /// Those that clip the cloud, relative to the local origin; what is on the negative side is clipped. None if off.
  std::vector<osg::Plane> planes() const;
  bool isOn() const { return _control && _control->isVisible(); }
  bool isDragged() const { return isOn() && _control->isDragged(); }
  /// Ends the drag of a handle and restores the box that it began with. False if no handle is dragged.
  bool cancelDrag() { return isOn() && _control->cancelDrag(); }

  /// Selects the handles that are shown. Bits 0, 1 and 2 of the mask are the box's axes X, Y and Z.
  void showHandles(ClipMode mode, int axisMask);
  ClipMode mode() const { return _mode; }
  int axisMask() const { return _axisMask; }

  /// Highlights the handle under the pointer, if the box is on. True if this changes the image.
  bool highlightUnderPointer(const osgGA::GUIEventAdapter& ea, osgViewer::View& view) {
    return isOn() && _control->highlightUnderPointer(ea, view);
  }
  /// True if a handle was highlighted.
  bool removeHighlight() { return _control && _control->removeHighlight(); }

  /// The current box, whether on or off. It must have been placed.
  const ClipBoxControl& control() const { return *_control; }

 private:
  osg::ref_ptr<osg::Group> _node;
  osg::ref_ptr<osg::ClipNode> _clipNode;
  osg::ref_ptr<ClipBoxControl> _control;
  ClipMode _mode = ClipBoxControl::CUTTER_SCALE;
  int _axisMask = 7;
};

}  // namespace QuorViewer
