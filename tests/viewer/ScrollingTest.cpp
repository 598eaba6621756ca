#include "viewer/ui/HelpScroller.h"
#include "viewer/ui/PointerHandler.h"
#include "viewer/ui/Scrolling.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

namespace {

using namespace QuorViewer;
using Event = osgGA::GUIEventAdapter;

class ScrollingTest : public testing::Test {
 protected:
  struct Actions : osgGA::GUIActionAdapter {
    void requestRedraw() override { ++redraws; }
    void requestContinuousUpdate(bool /*needed*/) override {}
    void requestWarpPointer(float /*x*/, float /*y*/) override {}
    int redraws = 0;
  };

  static osg::ref_ptr<Event> notch(Event::ScrollingMotion motion) {
    const osg::ref_ptr<Event> event = new Event;
    event->setEventType(Event::SCROLL);
    event->setScrollingMotion(motion);
    return event;
  }
  /// As from a touchpad.
  static osg::ref_ptr<Event> delta(float x, float y) {
    const osg::ref_ptr<Event> event = notch(Event::SCROLL_NONE);
    event->setScrollingMotionDelta(x, y);  // sets SCROLL_2D
    return event;
  }
  static std::vector<osg::ref_ptr<Event>> toASide() {
    return {notch(Event::SCROLL_LEFT), notch(Event::SCROLL_RIGHT), delta(3.0f, 0.0f),
            delta(3.0f, std::numeric_limits<float>::quiet_NaN())};
  }

  Actions _actions;
};

TEST_F(ScrollingTest, theDirectionIsThatOfTheWheelOrOfTheVerticalDelta) {
  EXPECT_EQ(scrollDirection(*notch(Event::SCROLL_UP)), 1);
  EXPECT_EQ(scrollDirection(*notch(Event::SCROLL_DOWN)), -1);
  EXPECT_EQ(scrollDirection(*delta(-5.0f, 0.125f)), 1);
  EXPECT_EQ(scrollDirection(*delta(5.0f, -0.125f)), -1);
  for (const osg::ref_ptr<Event>& event : toASide()) {
    EXPECT_EQ(scrollDirection(*event), 0);
  }
}

TEST_F(ScrollingTest, scrollingToASideDoesNotNavigateAndDrawsNoFrame) {
  std::vector<bool> navigated;
  const osg::ref_ptr<PointerHandler> handler =
      new PointerHandler([](int, int) {}, [&](bool byWheel) { navigated.push_back(byWheel); });
  for (const osg::ref_ptr<Event>& event : toASide()) {
    EXPECT_FALSE(handler->handle(*event, _actions));
  }
  EXPECT_TRUE(navigated.empty());
  EXPECT_EQ(_actions.redraws, 0);
  handler->handle(*delta(3.0f, 0.125f), _actions);
  EXPECT_EQ(navigated, std::vector<bool>{true});
  EXPECT_EQ(_actions.redraws, 1);
}

TEST_F(ScrollingTest, scrollingToASideDoesNotScrollTheHelp) {
  constexpr int kRows = 60;  // more than fit
  Hud hud(Hud::HelpRows(kRows, {"K", "an effect"}));
  hud.resize(600, 300);
  hud.showHelp(true);
  const osg::ref_ptr<HelpScroller> handler = new HelpScroller(hud);
  for (const osg::ref_ptr<Event>& event : toASide()) {
    EXPECT_FALSE(handler->handle(*event, _actions));
  }
  EXPECT_EQ(_actions.redraws, 0);
  EXPECT_TRUE(handler->handle(*delta(0.0f, -1.0f), _actions));
}

}  // namespace
