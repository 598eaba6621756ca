#include "support/ManipulatorFixture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using namespace QuorTests;
using QuorOsgUtils::PivotFallback;

/// Without a capture tool there is no depth: everything is background.
using PreciseOrbitTest = NavigationFixture<OpenPreciseOrbit>;
using PrecisePivotTest = NavigationFixture<OpenPrecisePivot>;

TEST_F(PreciseOrbitTest, theOptionsHaveTheirDocumentedDefaults) {
  EXPECT_EQ(_manipulator->getPivotFallbacks(),
            (std::vector<PivotFallback>{PivotFallback::NearbyPixels, PivotFallback::LastPivot,
                                        PivotFallback::SceneBounds, PivotFallback::OrbitCentre}));
  EXPECT_EQ(_manipulator->getSearchRadius(), 32);
  EXPECT_EQ(_manipulator->getRotationSpeed(), 90.0);
  EXPECT_EQ(_manipulator->getLeastZoomDistance(), 0.0);
  EXPECT_EQ(_manipulator->getScrollUnitsPerNotch(), 1.0);
  EXPECT_EQ(_manipulator->getWheelZoomFactor(), 20.0);
  EXPECT_FALSE(_manipulator->getSceneBounds().valid());
  EXPECT_FALSE(_manipulator->getLastScenePoint());
}

TEST_F(PreciseOrbitTest, aCopyHasTheSameOptionsAndThePose) {
  _manipulator->setRotationSpeed(45.0);
  _manipulator->setSearchRadius(5);
  _manipulator->setLeastZoomDistance(0.25);
  _manipulator->setScrollUnitsPerNotch(120.0);
  _manipulator->setPivotFallbacks({PivotFallback::OrbitCentre});
  _manipulator->setSceneBounds(osg::BoundingBoxd(0.0, 0.0, 0.0, 1.0, 2.0, 3.0));
  const osg::ref_ptr<OpenPreciseOrbit> copy = new OpenPreciseOrbit(*_manipulator);
  EXPECT_EQ(copy->getRotationSpeed(), 45.0);
  EXPECT_EQ(copy->getSearchRadius(), 5);
  EXPECT_EQ(copy->getLeastZoomDistance(), 0.25);
  EXPECT_EQ(copy->getScrollUnitsPerNotch(), 120.0);
  EXPECT_EQ(copy->getPivotFallbacks(), std::vector<PivotFallback>{PivotFallback::OrbitCentre});
  EXPECT_EQ(copy->getSceneBounds().yMax(), 2.0);
  EXPECT_EQ(copy->getMatrix(), _manipulator->getMatrix());
}

TEST_F(PreciseOrbitTest, withoutACaptureToolTheZoomApproachesTheOrbitCentre) {
  scroll(Event::SCROLL_UP, 400.0, 300.0);
  EXPECT_NEAR(eye().y(), -80.0, 1e-6);
  scroll(Event::SCROLL_DOWN, 400.0, 300.0);
  EXPECT_NEAR(eye().y(), -100.0, 1e-6);
}

TEST_F(PreciseOrbitTest, aWheelFactorOutOfRangeIsLimited) {
  for (const auto& [percent, distance] : {std::pair{0.0, 99.0}, {-5.0, 99.0}, {100.0, 10.0}, {1e9, 10.0}}) {
    lookAt(osg::Vec3d(0.0, -100.0, 0.0), osg::Vec3d());
    _manipulator->setWheelZoomFactor(percent);
    scroll(Event::SCROLL_UP, 400.0, 300.0);
    EXPECT_NEAR(-eye().y(), distance, 1e-6) << percent;
  }
  _manipulator->setWheelZoomFactor(std::numeric_limits<double>::quiet_NaN());
  scroll(Event::SCROLL_UP, 400.0, 300.0);
  EXPECT_TRUE(std::isfinite(eye().y()));
}

TEST_F(PreciseOrbitTest, theSceneOfTheManipulatorLimitsAZoomOutUnlessBoundsAreSet) {
  const osg::ref_ptr<osg::Group> scene = new osg::Group;
  scene->setInitialBound(osg::BoundingSphere(osg::Vec3(), 10.0f));
  _manipulator->setNode(scene);
  lookAt(osg::Vec3d(0.0, -100.0, 0.0), osg::Vec3d());
  for (int count = 0; count < 50; ++count) {
    scroll(Event::SCROLL_DOWN, 400.0, 300.0);
  }
  EXPECT_NEAR(eye().length(), 8.0 * std::sqrt(3.0) * 10.0, 1e-4);
}

TEST_F(PreciseOrbitTest, eventsWithoutAViewportChangeNothing) {
  camera().setViewport(nullptr);
  const osg::Matrixd before = _manipulator->getMatrix();
  push(kMiddle, 400.0, 300.0);
  drag(kMiddle, 500.0, 300.0);
  scroll(Event::SCROLL_UP, 400.0, 300.0);
  EXPECT_EQ(_manipulator->getMatrix(), before);
}

TEST_F(PreciseOrbitTest, aSpeedThatIsNotFiniteTurnsNothing) {
  _manipulator->setRotationSpeed(std::numeric_limits<double>::infinity());
  const osg::Quat before = _manipulator->getRotation();
  push(kRight, 400.0, 300.0);
  drag(kRight, 500.0, 300.0);
  EXPECT_EQ(_manipulator->getRotation(), before);
  expectNear(eye(), osg::Vec3d(0.0, -100.0, 0.0), 1e-9);
}

TEST_F(PreciseOrbitTest, aDragThatChangesTheViewRequestsARedraw) {
  struct Requests : osgGA::GUIActionAdapter {
    explicit Requests(osgViewer::Viewer& shown) : viewer(shown) {}
    osg::View* asView() override { return &viewer; }
    void requestRedraw() override { ++redraws; }
    void requestContinuousUpdate(bool) override {}
    void requestWarpPointer(float, float) override {}
    osgViewer::Viewer& viewer;
    int redraws = 0;
  } requests(*_viewer);
  const auto requestsOf = [&](Event::EventType type, int buttons, double x) {
    const int before = requests.redraws;
    _manipulator->handle(*makeEvent(type, buttons, x, 300.0), requests);
    return requests.redraws - before;
  };
  for (const int button : {kMiddle, kRight}) {
    requestsOf(Event::PUSH, button, 400.0);
    EXPECT_GT(requestsOf(Event::DRAG, button, 420.0), 0);
    EXPECT_GT(requestsOf(Event::RELEASE, 0, 420.0), 0) << "the marker goes";
  }
  EXPECT_EQ(requestsOf(Event::MOVE, 0, 500.0), 0);
  const osg::ref_ptr<Event> wheel = makeEvent(Event::SCROLL, 0, 400.0, 300.0);
  wheel->setScrollingMotion(Event::SCROLL_UP);
  const int before = requests.redraws;
  _manipulator->handle(*wheel, requests);
  EXPECT_GT(requests.redraws, before);
}

TEST_F(PrecisePivotTest, withoutACaptureToolAPressTakesTheBoundsOfTheScene) {
  _manipulator->setSceneBounds(osg::BoundingBoxd(-10.0, 20.0, -10.0, 10.0, 40.0, 10.0));
  push(kRight, 399.5, 299.5);  // the ray through the middle of the view
  expectNear(_manipulator->_pivotPoint, osg::Vec3d(0.0, 30.0, 0.0), 1e-6);
}

}  // namespace
