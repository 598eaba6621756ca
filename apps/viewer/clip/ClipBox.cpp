#include "viewer/clip/ClipBox.h"

#include <osg/NodeVisitor>

namespace QuorViewer {
namespace {

// Draws another group's children a second time without being their parent: events and intersectors reach them once, and
// they keep a single path to the root.
class SecondPass : public osg::Group {
 public:
  explicit SecondPass(osg::Group* parent) : _parent(parent) { setCullingActive(false); }
  void traverse(osg::NodeVisitor& visitor) override {
    if (visitor.getVisitorType() == osg::NodeVisitor::CULL_VISITOR) {
      _parent->traverse(visitor);
    }
  }

 private:
  osg::ref_ptr<osg::Group> _parent;
};

void removePlanes(osg::ClipNode& clipNode) {
  while (clipNode.getNumClipPlanes() > 0) {
    clipNode.removeClipPlane(clipNode.getNumClipPlanes() - 1);
  }
}

}  // namespace

ClipBox::ClipBox(osg::Node* cloud)
    : _node(new osg::Group),
      _clipNode(new osg::ClipNode),
      _handleParent(new osg::Group),
      _secondRingPass(new SecondPass(_handleParent)) {
  ClipHandles::setUpState(*_handleParent->getOrCreateStateSet());
  ClipHandles::setUpStateOfSecondRingPass(*_secondRingPass->getOrCreateStateSet());
  _clipNode->addChild(cloud);
  _node->addChild(_clipNode);
  _node->addChild(_handleParent);
  _node->addChild(_secondRingPass);
}

void ClipBox::place(const osg::BoundingBoxf& box) {
  setOn(false);
  _handles = new ClipHandles(box, _clipNode);
  setOn(true);
}

void ClipBox::remove() {
  setOn(false);
  _handles = nullptr;
}

void ClipBox::setOn(bool on) {
  if (!_handles || on == isOn()) {
    return;
  }
  _handles->setHandleEvents(on);
  if (on) {
    _handleParent->addChild(_handles);
    _updateHandles();
    _handles->applyClipPlane();
  } else {
    _handleParent->removeChild(_handles);
    removePlanes(*_clipNode);
  }
}

void ClipBox::showHandles(ClipMode mode, int axisMask) {
  _mode = mode;
  _axisMask = axisMask;
  if (_handles) {
    _updateHandles();
  }
}

void ClipBox::_updateHandles() {
  _handles->setType(_mode, _axisMask);
  _secondRingPass->setNodeMask(_mode == ClipHandles::CUTTER_ROTATE ? ~0U : 0U);
}

}  // namespace QuorViewer
