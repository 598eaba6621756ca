#include "viewer/navigate/ViewHistory.h"
#include "viewer/navigate/ViewTransition.h"

#include <gtest/gtest.h>

namespace {

using namespace QuorViewer;
using QuorOsgUtils::ViewPreset;

View viewAt(double x) {
  return {{osg::Vec3d(x, 0.0, 0.0), 10.0, rotationOf(ViewPreset::Front)}, 5.0};
}

double placeOf(const std::optional<View>& view) {
  return view ? view->pose.centre.x() : -1.0;
}

TEST(ViewHistoryTest, goesBackThroughTheViewsAndForwardAgain) {
  ViewHistory history;
  history.leave(viewAt(1));
  history.leave(viewAt(2));
  EXPECT_EQ(placeOf(history.back(viewAt(3))), 2);
  EXPECT_EQ(placeOf(history.back(viewAt(2))), 1);
  EXPECT_FALSE(history.back(viewAt(1)));
  EXPECT_EQ(placeOf(history.forward(viewAt(1))), 2);
  EXPECT_EQ(placeOf(history.forward(viewAt(2))), 3);
  EXPECT_FALSE(history.forward(viewAt(3)));
}

TEST(ViewHistoryTest, aNewViewDropsTheViewsAhead) {
  ViewHistory history;
  history.leave(viewAt(1));
  history.back(viewAt(2));
  history.leave(viewAt(7));
  EXPECT_FALSE(history.forward(viewAt(8)));
  EXPECT_EQ(placeOf(history.back(viewAt(8))), 7);
}

TEST(ViewHistoryTest, viewsThatLookTheSameAreStoredOnceAndSkipped) {
  ViewHistory history;
  history.leave(viewAt(1));
  history.leave(viewAt(2));
  history.leave(viewAt(2.0 + 1e-7));
  EXPECT_EQ(placeOf(history.back(viewAt(2))), 1);
}

TEST(ViewHistoryTest, theDepthOfTheCentreIsNoPartOfAPicture) {
  const View view = viewAt(1);
  View nearer = view;
  nearer.pose.centre -= view.pose.direction() * 4.0;
  nearer.pose.distance -= 4.0;
  nearer.height *= 0.6;
  EXPECT_TRUE(isSameView(view, nearer)) << "the same eye in perspective";
  nearer.pose.distance += 4.0;
  EXPECT_FALSE(isSameView(view, nearer)) << "the eye went back";
  View orthographic = view;
  orthographic.orthographic = true;
  orthographic.pose.distance = 50.0;
  EXPECT_TRUE(isSameView(orthographic, view));
  orthographic.height *= 1.1;
  EXPECT_FALSE(isSameView(orthographic, view));
}

TEST(ViewHistoryTest, clearForgetsAllViews) {
  ViewHistory history;
  history.leave(viewAt(1));
  history.back(viewAt(2));
  history.leave(viewAt(3));
  history.clear();
  EXPECT_FALSE(history.back(viewAt(4)));
  EXPECT_FALSE(history.forward(viewAt(4)));
}

TEST(ViewTransitionTest, itStartsAtTheFirstViewAndEndsExactlyAtTheLast) {
  using namespace std::chrono_literals;
  ViewTransition transition;
  const ViewTransition::Time start{};
  const View from = viewAt(0);
  View to = viewAt(8);
  to.height = 9.0;
  transition.start(from, to, to.pose.centre, start);
  EXPECT_TRUE(isSameView(transition.advance(start), from));
  const View between = transition.advance(start + 125ms);
  EXPECT_NEAR(between.pose.centre.x(), 4.0, 1e-9);
  EXPECT_NEAR(between.height, 7.0, 1e-9);
  EXPECT_TRUE(transition.isRunning());
  const View last = transition.advance(start + 3s);
  EXPECT_EQ(last.pose.centre, to.pose.centre);
  EXPECT_EQ(last.height, 9.0);
  EXPECT_FALSE(transition.isRunning());
}

}  // namespace
