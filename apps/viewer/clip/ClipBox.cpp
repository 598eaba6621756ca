#include "viewer/clip/ClipBox.h"

namespace QuorViewer {

ClipBox::ClipBox(osg::Node* cloud) : _node(new osg::Group), _clipNode(new osg::ClipNode) {
  _clipNode->addChild(cloud);
  _node->addChild(_clipNode);
}

void ClipBox::place(const osg::BoundingBoxd& box) {
  if (_control) {
    _control->setBox(box);
  } else {
    _control = new ClipBoxControl(box, _clipNode);
    _control->setEscapeCancels(false);  // the viewer's key does
    _control->showHandles(_mode, _axisMask);
    _node->addChild(_control);
  }
  setOn(true);
}

void ClipBox::remove() {
  setOn(false);
  _node->removeChild(_control);
  _control = nullptr;
}

void ClipBox::setOn(bool on) {
  if (!_control) {
    return;
  }
  _control->setVisible(on);
  if (on) {
    _control->cut();
  } else {
    _control->uncut();
  }
}

void ClipBox::showHandles(ClipMode mode, int axisMask) {
  _mode = mode;
  _axisMask = axisMask;
  if (_control) {
    _control->showHandles(mode, axisMask);
  }
}

std::vector<osg::Plane> ClipBox::planes() const {
  return isOn() ? _control->planes() : std::vector<osg::Plane>();
}

}  // namespace QuorViewer
