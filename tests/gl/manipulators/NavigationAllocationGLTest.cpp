#include "support/AllocationHook.h"
#include "support/CapturedManipulatorFixture.h"

#include <vector>

namespace {

using namespace QuorTests;

class NavigationAllocationGLTest : public CapturedManipulatorFixture {
 protected:
  using Events = std::vector<osg::ref_ptr<Event>>;

  void SetUp() override {
    CapturedManipulatorFixture::SetUp();
    paint(0, 0, kWidth, kHeight / 2, depthAtDistance(40.0));
    CapturedManipulatorFixture::draw();
  }

  Events dragsOf(int buttons) {
    Events events{makeEvent(Event::PUSH, buttons, 400.0, 300.0)};
    for (int i = 0; i < 100; ++i) {
      events.push_back(makeEvent(Event::DRAG, buttons, 400.0 + i, 310.0 - i));
    }
    events.push_back(makeEvent(Event::RELEASE, 0, 500.0, 200.0));
    return events;
  }

  Events wheelNotches() {
    Events events;
    for (int i = 0; i < 100; ++i) {
      events.push_back(makeEvent(Event::SCROLL, 0, 400.0 + i, 300.0 - i));
      events.back()->setScrollingMotion(i % 2 == 0 ? Event::SCROLL_UP : Event::SCROLL_DOWN);
    }
    return events;
  }

  void sendAll(const Events& events) {
    for (const auto& event : events) {
      send(*event);
    }
  }

  /// Counts the second pass: the first one fills buffers that are kept.
  std::size_t allocationsOf(const Events& events) {
    sendAll(events);
    const AllocationCount allocations;
    sendAll(events);
    return allocations.value();
  }
};

TEST_F(NavigationAllocationGLTest, theCounterSeesTheLibrarysAllocations) {
  const AllocationCount allocations;
  const osg::ref_ptr<OpenManipulator> manipulator = new OpenManipulator(_viewer);
  // The manipulator itself, and the many parts of the marker that the library creates.
  EXPECT_GT(allocations.value(), 20U);
}

TEST_F(NavigationAllocationGLTest, rotatingAllocatesNothing) {
  EXPECT_EQ(allocationsOf(dragsOf(kRight)), 0U);
}

TEST_F(NavigationAllocationGLTest, panningAllocatesNothing) {
  EXPECT_EQ(allocationsOf(dragsOf(kMiddle)), 0U);
}

TEST_F(NavigationAllocationGLTest, panningInAnOrthographicViewAllocatesNothing) {
  useOrthographic(60.0);
  EXPECT_EQ(allocationsOf(dragsOf(kMiddle)), 0U);
}

TEST_F(NavigationAllocationGLTest, rotatingAboutAStationAllocatesNothing) {
  _manipulator->setStationModel(true);
  EXPECT_EQ(allocationsOf(dragsOf(kRight)), 0U);
}

TEST_F(NavigationAllocationGLTest, theWheelAllocatesNothing) {
  EXPECT_EQ(allocationsOf(wheelNotches()), 0U);
  useOrthographic(60.0);
  EXPECT_EQ(allocationsOf(wheelNotches()), 0U);
  usePerspective();
  _manipulator->setStationModel(true);
  EXPECT_EQ(allocationsOf(wheelNotches()), 0U);
}

}  // namespace
