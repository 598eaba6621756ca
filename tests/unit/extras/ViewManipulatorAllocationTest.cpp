#include "support/AllocationHook.h"

#include <QuorOsgUtils/ViewManipulator.h>

#include <osg/Group>
#include <osgViewer/View>

#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

namespace {

using namespace QuorTests;
using namespace QuorOsgUtils;
using Event = osgGA::GUIEventAdapter;

/// A view at an offset in its window, without a capture: everything is background.
class ViewManipulatorAllocationTest : public testing::Test {
 protected:
  using Events = std::vector<osg::ref_ptr<Event>>;

  static constexpr int kRight = Event::RIGHT_MOUSE_BUTTON;
  static constexpr int kMiddle = Event::MIDDLE_MOUSE_BUTTON;

  ViewManipulatorAllocationTest() {
    osg::Camera& camera = *_view->getCamera();
    camera.setViewport(100, 50, 300, 200);
    camera.setProjectionMatrixAsPerspective(60.0, 1.5, 1.0, 1000.0);
    _view->setSceneData(new osg::Group);
    _view->setCameraManipulator(_manipulator, false);
    _manipulator->setTransformation({0.0, -50.0, 0.0}, {}, {0.0, 0.0, 1.0});
  }

  static osg::ref_ptr<Event> makeEvent(Event::EventType type, int buttons, float x, float y) {
    osg::ref_ptr<Event> event = new Event;
    event->setEventType(type);
    event->setMouseYOrientation(Event::Y_INCREASING_UPWARDS);
    event->setInputRange(0.0f, 0.0f, 800.0f, 600.0f);
    event->setButton(buttons);
    event->setButtonMask(buttons);
    event->setX(x);
    event->setY(y);
    event->addPointerData(new osgGA::PointerData(nullptr, x, 0.0f, 800.0f, y, 0.0f, 600.0f));
    return event;
  }
  static Events dragsOf(int buttons) {
    Events events{makeEvent(Event::PUSH, buttons, 200.0f, 150.0f)};
    for (int i = 0; i < 50; ++i) {
      events.push_back(makeEvent(Event::DRAG, buttons, 200.0f + float(i), 150.0f - float(i)));
    }
    events.push_back(makeEvent(Event::RELEASE, 0, 250.0f, 100.0f));
    return events;
  }

  /// Counts the second pass: the first one fills buffers that are kept.
  std::size_t allocationsOf(const Events& events) {
    sendAll(events);
    const AllocationCount allocations;
    sendAll(events);
    return allocations.value();
  }
  void sendAll(const Events& events) {
    for (const osg::ref_ptr<Event>& event : events) {
      _manipulator->handle(*event, *_view);
    }
  }

  osg::ref_ptr<osgViewer::View> _view = new osgViewer::View;
  osg::ref_ptr<ViewOrbitManipulator> _manipulator = new ViewOrbitManipulator;
};

TEST_F(ViewManipulatorAllocationTest, anOrbitAllocatesNothing) {
  const osg::Matrixd before = _manipulator->getMatrix();
  EXPECT_EQ(allocationsOf(dragsOf(kRight)), 0U);
  EXPECT_NE(_manipulator->getMatrix(), before);
}

TEST_F(ViewManipulatorAllocationTest, aPanAllocatesNothing) {
  const osg::Matrixd before = _manipulator->getMatrix();
  EXPECT_EQ(allocationsOf(dragsOf(kMiddle)), 0U);
  EXPECT_NE(_manipulator->getMatrix(), before);
}

TEST_F(ViewManipulatorAllocationTest, theWheelAllocatesNothing) {
  Events events;
  for (int i = 0; i < 100; ++i) {
    events.push_back(makeEvent(Event::SCROLL, 0, 200.0f, 150.0f));
    events.back()->setScrollingMotion(i < 50 ? Event::SCROLL_UP : Event::SCROLL_DOWN);
  }
  const osg::Matrixd before = _manipulator->getMatrix();
  sendAll({events.begin(), events.begin() + 50});
  EXPECT_NE(_manipulator->getMatrix(), before);
  sendAll({events.begin() + 50, events.end()});
  EXPECT_EQ(allocationsOf(events), 0U);
}

/// Uses the base class, which only records what it is given.
class EventRecorder : public PreciseOrbitManipulator {
 public:
  using PreciseOrbitManipulator::PreciseOrbitManipulator;

  bool handle(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& /*aa*/) override {
    received = &ea;
    return true;
  }

  osg::ref_ptr<const Event> received;

 protected:
  ~EventRecorder() override = default;
};

/// Each value depends on the number.
osg::ref_ptr<Event> eventWithAllValues(int number) {
  osg::ref_ptr<Event> event = new Event;
  const auto value = static_cast<float>(100 * number);
  event->setEventType(number % 2 == 0 ? Event::SCROLL : Event::DRAG);
  event->setTime(value);
  event->setHandled(number % 2 == 1);
  event->setX(value + 1.0f);
  event->setY(value + 2.0f);
  event->setWindowRectangle(number, number + 1, number + 2, number + 3, false);
  event->setMouseYOrientation(number % 2 == 0 ? Event::Y_INCREASING_UPWARDS : Event::Y_INCREASING_DOWNWARDS);
  event->setKey('a' + number);
  event->setUnmodifiedKey('b' + number);
  event->setModKeyMask(number);
  event->setButton(number);
  event->setButtonMask(number + 1);
  event->setScrollingMotion(number % 2 == 0 ? Event::SCROLL_DOWN : Event::SCROLL_UP);
  event->setScrollingDeltaX(value + 3.0f);
  event->setScrollingDeltaY(value + 4.0f);
  event->setPenPressure(value + 5.0f);
  event->setPenTiltX(value + 6.0f);
  event->setPenTiltY(value + 7.0f);
  event->setPenRotation(value + 8.0f);
  event->setTabletPointerType(number % 2 == 0 ? Event::PEN : Event::ERASER);
  return event;
}

void expectSameKeysAndWindow(const Event& a, const Event& b) {
  EXPECT_EQ(a.getEventType(), b.getEventType());
  EXPECT_EQ(a.getTime(), b.getTime());
  EXPECT_EQ(a.getHandled(), b.getHandled());
  EXPECT_EQ(a.getWindowX(), b.getWindowX());
  EXPECT_EQ(a.getWindowY(), b.getWindowY());
  EXPECT_EQ(a.getWindowWidth(), b.getWindowWidth());
  EXPECT_EQ(a.getWindowHeight(), b.getWindowHeight());
  EXPECT_EQ(a.getKey(), b.getKey());
  EXPECT_EQ(a.getUnmodifiedKey(), b.getUnmodifiedKey());
  EXPECT_EQ(a.getModKeyMask(), b.getModKeyMask());
}

void expectSamePointer(const Event& a, const Event& b) {
  EXPECT_EQ(a.getX(), b.getX());
  EXPECT_EQ(a.getY(), b.getY());
  EXPECT_EQ(a.getMouseYOrientation(), b.getMouseYOrientation());
  EXPECT_EQ(a.getButton(), b.getButton());
  EXPECT_EQ(a.getButtonMask(), b.getButtonMask());
  EXPECT_EQ(a.getScrollingMotion(), b.getScrollingMotion());
  EXPECT_EQ(a.getScrollingDeltaX(), b.getScrollingDeltaX());
  EXPECT_EQ(a.getScrollingDeltaY(), b.getScrollingDeltaY());
  EXPECT_EQ(a.getPenPressure(), b.getPenPressure());
  EXPECT_EQ(a.getPenTiltX(), b.getPenTiltX());
  EXPECT_EQ(a.getPenTiltY(), b.getPenTiltY());
  EXPECT_EQ(a.getPenRotation(), b.getPenRotation());
  EXPECT_EQ(a.getTabletPointerType(), b.getTabletPointerType());
}

TEST_F(ViewManipulatorAllocationTest, anEventIsPassedOnWithAllItsValuesInTheRangeOfTheView) {
  const osg::ref_ptr<ViewManipulator<EventRecorder>> manipulator = new ViewManipulator<EventRecorder>;
  for (int number = 0; number < 4; ++number) {  // also when an earlier copy is used again
    SCOPED_TRACE(number);
    const osg::ref_ptr<Event> event = eventWithAllValues(number);
    manipulator->handle(*event, *_view);
    const Event& copy = *manipulator->received;
    ASSERT_NE(&copy, event.get());
    expectSameKeysAndWindow(copy, *event);
    expectSamePointer(copy, *event);
    EXPECT_EQ(copy.getXmin(), 100.0f);
    EXPECT_EQ(copy.getXmax(), 400.0f);
    EXPECT_EQ(copy.getYmin(), 50.0f);
    EXPECT_EQ(copy.getYmax(), 250.0f);
  }
}

TEST_F(ViewManipulatorAllocationTest, theTouchesOfAnEventArePassedOnAndNotThoseOfAnEarlierOne) {
  const osg::ref_ptr<ViewManipulator<EventRecorder>> manipulator = new ViewManipulator<EventRecorder>;
  for (int number = 0; number < 4; ++number) {
    SCOPED_TRACE(number);
    const osg::ref_ptr<Event> event = eventWithAllValues(number);
    const bool isTouch = number % 2 == 0;
    if (isTouch) {
      event->addTouchPoint(7, Event::TOUCH_MOVED, 30.0f, 40.0f);
    }
    manipulator->handle(*event, *_view);
    ASSERT_EQ(manipulator->received->isMultiTouchEvent(), isTouch);
    if (isTouch) {
      EXPECT_EQ(manipulator->received->getTouchData()->get(0).x, 30.0f);
    }
  }
}

}  // namespace
