#include "support/ExposedBoxCutter.h"

#include <osgGA/EventVisitor>

#include <vector>

namespace {

using namespace QuorTests;
using Cutter = QuorOsgUtils::BoxCutterDragger;
using Event = osgGA::GUIEventAdapter;

/// Counts its calls.
struct CountingCallback : osg::NodeCallback {
  void operator()(osg::Node*, osg::NodeVisitor*) override { ++calls; }

  int calls = 0;
};

/// An action adapter that is not a view.
struct NoView : osgGA::GUIActionAdapter {
  void requestRedraw() override { ++redraws; }
  void requestContinuousUpdate(bool /*needed*/) override {}
  void requestWarpPointer(float /*x*/, float /*y*/) override {}

  int redraws = 0;
};

/// Records the events that reach the public `handle` and handles those of one type.
class NotingBoxCutter : public ExposedBoxCutter {
 public:
  using ExposedBoxCutter::ExposedBoxCutter;

  bool handle(const Event& ea, osgGA::GUIActionAdapter& aa) override {
    _events.push_back(&ea);
    _actions = &aa;
    return ea.getEventType() == Event::PUSH;
  }

  std::vector<const Event*> _events;
  const osgGA::GUIActionAdapter* _actions = nullptr;

 protected:
  using ExposedBoxCutter::handle;
};

/// A box in a scene, with a child that wants events, and an event visitor with a drag and a press in its list.
class BoxCutterTraversalTest : public ::testing::Test {
 protected:
  BoxCutterTraversalTest() {
    _root->addChild(_cutter);
    _child->setEventCallback(_callback);
    _cutter->addChild(_child);
    _drag->setEventType(Event::DRAG);
    _push->setEventType(Event::PUSH);
    _visitor->setActionAdapter(&_actions);
    _visitor->addEvent(_drag);
    _visitor->addEvent(new osgGA::Event);
    _visitor->addEvent(_push);
  }

  osg::ref_ptr<osg::Group> _root = new osg::Group;
  osg::ref_ptr<NotingBoxCutter> _cutter =
      new NotingBoxCutter(osg::BoundingBoxf(0.0f, 0.0f, 0.0f, 1.0f, 1.0f, 1.0f), new osg::ClipNode);
  osg::ref_ptr<osg::Group> _child = new osg::Group;
  osg::ref_ptr<CountingCallback> _callback = new CountingCallback;
  osg::ref_ptr<osgGA::EventVisitor> _visitor = new osgGA::EventVisitor;
  osg::ref_ptr<Event> _drag = new Event;
  osg::ref_ptr<Event> _push = new Event;
  NoView _actions;
};

TEST_F(BoxCutterTraversalTest, eachPointerEventReachesHandleInItsOrderWithTheVisitorsActions) {
  _cutter->setHandleEvents(true);
  _root->accept(*_visitor);
  EXPECT_EQ(_cutter->_events, (std::vector<const Event*>{_drag, _push}));
  EXPECT_EQ(_cutter->_actions, &_actions);
}

TEST_F(BoxCutterTraversalTest, onlyEventsForWhichHandleReturnsTrueAreMarkedHandled) {
  _cutter->setHandleEvents(true);
  _root->accept(*_visitor);
  EXPECT_TRUE(_push->getHandled());
  EXPECT_FALSE(_drag->getHandled());
}

TEST_F(BoxCutterTraversalTest, whileEventsAreEnabledAnEventVisitorDoesNotReachTheChildren) {
  _cutter->setHandleEvents(true);
  _root->accept(*_visitor);
  EXPECT_EQ(_callback->calls, 0);
  _visitor->getEvents().clear();
  _root->accept(*_visitor);
  EXPECT_EQ(_callback->calls, 0);
}

TEST_F(BoxCutterTraversalTest, whileEventsAreDisabledAnEventVisitorReachesTheChildrenOnly) {
  _root->accept(*_visitor);
  EXPECT_EQ(_callback->calls, 1);
  EXPECT_TRUE(_cutter->_events.empty());
  EXPECT_FALSE(_push->getHandled());
}

TEST_F(BoxCutterTraversalTest, turningEventsOffLeavesTheChildItsEvents) {
  EXPECT_EQ(_cutter->getNumChildrenRequiringEventTraversal(), 1U);
  _cutter->setHandleEvents(true);
  EXPECT_EQ(_cutter->getNumChildrenRequiringEventTraversal(), 2U);
  _cutter->setHandleEvents(false);
  EXPECT_EQ(_cutter->getNumChildrenRequiringEventTraversal(), 1U);
  _root->accept(*_visitor);
  EXPECT_EQ(_callback->calls, 1);
}

TEST_F(BoxCutterTraversalTest, anyOtherVisitorReachesTheChildrenEvenWhileEventsAreEnabled) {
  struct Finder : osg::NodeVisitor {
    explicit Finder(const osg::Node* wanted) : NodeVisitor(TRAVERSE_ALL_CHILDREN), _wanted(wanted) {}
    void apply(osg::Node& node) override {
      _found = _found || &node == _wanted;
      traverse(node);
    }
    const osg::Node* _wanted;
    bool _found = false;
  };
  _cutter->setHandleEvents(true);
  Finder finder(_child);
  _root->accept(finder);
  EXPECT_TRUE(finder._found);
  EXPECT_TRUE(_cutter->_events.empty());
}

TEST_F(BoxCutterTraversalTest, aVisitorWithoutActionsDoesNoHarm) {
  _cutter->setHandleEvents(true);
  _visitor->setActionAdapter(nullptr);
  _root->accept(*_visitor);
  EXPECT_TRUE(_cutter->_events.empty());
  EXPECT_FALSE(_push->getHandled());
}

TEST_F(BoxCutterTraversalTest, eventsWhoseActionsAreNoViewAreLeftToOthers) {
  osg::ref_ptr<ExposedBoxCutter> cutter =
      new ExposedBoxCutter(osg::BoundingBoxf(0.0f, 0.0f, 0.0f, 1.0f, 1.0f, 1.0f), nullptr);
  cutter->setType(Cutter::CUTTER_SCALE, 7);
  cutter->setHandleEvents(true);
  cutter->accept(*_visitor);
  EXPECT_FALSE(_push->getHandled());
  EXPECT_FALSE(cutter->_draggerActive);
  EXPECT_EQ(cutter->_screenScale, 100.0);
  EXPECT_EQ(_actions.redraws, 0);
}

TEST_F(BoxCutterTraversalTest, aCopyMadeWhileEventsAreEnabledReceivesNoneUntilTheyAreDisabledAndEnabled) {
  const osg::ref_ptr<NotingBoxCutter> source =
      new NotingBoxCutter(osg::BoundingBoxf(0.0f, 0.0f, 0.0f, 1.0f, 1.0f, 1.0f), nullptr);
  source->setHandleEvents(true);
  const osg::ref_ptr<NotingBoxCutter> copy = new NotingBoxCutter(*source);
  EXPECT_TRUE(copy->_handleEvents);
  EXPECT_EQ(copy->getNumChildrenRequiringEventTraversal(), 0U);
  _root->addChild(copy);

  copy->setHandleEvents(true);
  _root->accept(*_visitor);
  EXPECT_TRUE(copy->_events.empty());
  copy->setHandleEvents(false);
  EXPECT_EQ(copy->getNumChildrenRequiringEventTraversal(), 0U);
  copy->setHandleEvents(true);
  _root->accept(*_visitor);
  EXPECT_EQ(copy->_events, (std::vector<const Event*>{_drag, _push}));
}

}  // namespace
