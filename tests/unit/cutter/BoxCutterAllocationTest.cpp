#include "support/AllocationHook.h"
#include "support/BoxCutterFixture.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <vector>

namespace {

using namespace QuorTests;

/// Counts the allocations of the moves of a drag.
class BoxCutterAllocationTest : public BoxCutterFixture {
 protected:
  using Events = std::vector<osg::ref_ptr<Event>>;

  /// From one window position to another in steps.
  Events movesBetween(const osg::Vec2d& from, const osg::Vec2d& to) {
    constexpr int kSteps = 20;
    Events events;
    for (int i = 1; i <= kSteps; ++i) {
      events.push_back(makeEvent(Event::DRAG, 0, kLeft, from + (to - from) * (double(i) / kSteps)));
    }
    return events;
  }

  /// Of the second half: the clip node gets its planes with the first move.
  std::size_t allocationsOfDrag(const osg::Vec2d& from, const osg::Vec2d& to) {
    const osg::Vec2d middle = (from + to) * 0.5;
    const Events first = movesBetween(from, middle);
    const Events second = movesBetween(middle, to);
    EXPECT_TRUE(push(from));
    sendAll(first);
    const AllocationCount allocations;
    sendAll(second);
    return allocations.value();
  }

  void sendAll(const Events& events) {
    for (const osg::ref_ptr<Event>& event : events) {
      EXPECT_TRUE(send(*event));
    }
  }
};

TEST_F(BoxCutterAllocationTest, aDraggedFaceAllocatesNothing) {
  showOnly(Cutter::CUTTER_SCALE, 0);
  const std::array<float, 6> before = extents();
  EXPECT_EQ(allocationsOfDrag(cone(), beyond()), 0U);
  EXPECT_NE(extents(), before);
  expectPlanesFitBox();
}

TEST_F(BoxCutterAllocationTest, aDraggedArrowAllocatesNothing) {
  showOnly(Cutter::CUTTER_TRANSLATE, 0);
  settleHandles();
  const osg::Matrixd before = _box->getMatrix();
  const osg::Vec2d from = toWindow(shaftInWorld(0));
  EXPECT_EQ(allocationsOfDrag(from, toWindow(shaftInWorld(0, 0.9))), 0U);
  EXPECT_NE(_box->getMatrix(), before);
  expectPlanesFitBox();
}

TEST_F(BoxCutterAllocationTest, aDraggedRingAllocatesNothing) {
  showOnly(Cutter::CUTTER_ROTATE, 2);
  settleHandles();
  const osg::Matrixd before = _box->getMatrix();
  const RingOracle ring = ringOracle(2);
  EXPECT_EQ(allocationsOfDrag(toWindow(ringInWorld(ring, 0.3)), toWindow(ringInWorld(ring, 0.9))), 0U);
  EXPECT_NE(_box->getMatrix(), before);
  expectPlanesFitBox();
}

}  // namespace
