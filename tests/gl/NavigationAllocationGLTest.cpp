#include "support/CapturedManipulatorFixture.h"

#include <cstdlib>
#include <new>
#include <vector>

namespace {

// Of this thread: the driver's own threads may still be at work on the last frame.
thread_local bool isCounting = false;
thread_local int allocations = 0;

}  // namespace

// All of the program's allocations, the libraries' included.
void* operator new(std::size_t size) {
  if (isCounting) ++allocations;
  if (void* memory = std::malloc(size > 0 ? size : 1)) return memory;
  throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
  std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

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
    for (int i = 0; i < 100; ++i) events.push_back(makeEvent(Event::DRAG, buttons, 400.0 + i, 310.0 - i));
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
    for (const auto& event : events) send(*event);
  }

  /// Of a second round: the first one fills what stays.
  int allocationsOf(const Events& events) {
    sendAll(events);
    allocations = 0;
    isCounting = true;
    sendAll(events);
    isCounting = false;
    return allocations;
  }
};

TEST_F(NavigationAllocationGLTest, theCounterSeesTheLibrarysAllocations) {
  isCounting = true;
  const osg::ref_ptr<OpenManipulator> manipulator = new OpenManipulator(_viewer);
  isCounting = false;
  // The manipulator itself, and in the library the marker's many parts.
  EXPECT_GT(allocations, 20);
}

TEST_F(NavigationAllocationGLTest, rotatingAllocatesNothing) {
  EXPECT_EQ(allocationsOf(dragsOf(kRight)), 0);
}

TEST_F(NavigationAllocationGLTest, panningAllocatesNothing) {
  EXPECT_EQ(allocationsOf(dragsOf(kMiddle)), 0);
}

TEST_F(NavigationAllocationGLTest, panningInAnOrthographicViewAllocatesNothing) {
  useOrthographic(60.0);
  EXPECT_EQ(allocationsOf(dragsOf(kMiddle)), 0);
}

TEST_F(NavigationAllocationGLTest, turningAboutAStationAllocatesNothing) {
  _manipulator->setStationModel(true);
  EXPECT_EQ(allocationsOf(dragsOf(kRight)), 0);
}

TEST_F(NavigationAllocationGLTest, theWheelAllocatesNothing) {
  EXPECT_EQ(allocationsOf(wheelNotches()), 0);
  useOrthographic(60.0);
  EXPECT_EQ(allocationsOf(wheelNotches()), 0);
  usePerspective();
  _manipulator->setStationModel(true);
  EXPECT_EQ(allocationsOf(wheelNotches()), 0);
}

}  // namespace
