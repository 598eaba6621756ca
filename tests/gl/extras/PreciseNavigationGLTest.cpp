#include "support/CapturedManipulatorFixture.h"
#include "support/NotifyRecorder.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

namespace {

using namespace QuorTests;
using QuorOsgUtils::PivotFallback;

constexpr double kShare = 0.2;
constexpr double kLeast = 0.05;
/// The centre of an event's pixel, from the event's position.
constexpr double kHalfPixel = 0.5;

/// A rectangle of the scene at right angles to the Y axis.
struct Wall {
  double y;
  double xMin, xMax, zMin, zMax;
};

const Wall kBigWall{0.0, -500.0, 500.0, -500.0, 500.0};

/// A scene of walls, seen along +Y from 100 units in front of Y = 0. A turned view shows an empty scene.
template <typename Manipulator>
class WallsFixture : public CapturedNavigationFixture<Manipulator> {
 protected:
  using Base = CapturedNavigationFixture<Manipulator>;
  using Event = typename Base::Event;

  void SetUp() override {
    Base::SetUp();
    this->_manipulator->setSceneBounds(osg::BoundingBoxd(-50.0, -50.0, -50.0, 50.0, 50.0, 50.0));
    this->_manipulator->setLeastZoomDistance(kLeast);
    setNearPlane(0.01);
  }

  void setNearPlane(double zNear) {
    const double top = zNear * std::tan(osg::DegreesToRadians(30.0));
    const double right = top * this->kWidth / this->kHeight;
    this->camera().setProjectionMatrixAsFrustum(-right, right, -top, top, zNear, this->kFar);
  }

  void show(std::vector<Wall> walls) {
    _walls = std::move(walls);
    drawScene();
  }

  /// What the viewer does in a frame after the events.
  void drawScene() {
    this->updateCamera();
    this->clearPainting();
    std::sort(_walls.begin(), _walls.end(), [](const Wall& a, const Wall& b) { return a.y > b.y; });
    for (const Wall& wall : _walls) {
      _paint(wall);
    }
    this->draw();
  }

  void notch(typename Event::ScrollingMotion motion, double x, double y) {
    this->scroll(motion, x, y);
    drawScene();
  }

  /// The distance of the eye from a wall at Y = `y`.
  double distanceTo(double y) const { return y - this->eye().y(); }

  osg::Vec3d pointOn(const Wall& wall, double x, double y) {
    return this->worldAtDistance(x + kHalfPixel, y + kHalfPixel, distanceTo(wall.y));
  }

  /// How many pixels a world point is from the centre of an event's pixel.
  double pixelsFrom(const osg::Vec3d& world, double x, double y) {
    const osg::Vec3d window = this->toWindow(world);
    return std::hypot(window.x() - (x + kHalfPixel), window.y() - (y + kHalfPixel));
  }

 private:
  void _paint(const Wall& wall) {
    const double distance = distanceTo(wall.y);
    const float depth = distance > 0.0 ? this->depthAtDistance(distance) : -1.0f;
    if (!(depth >= 0.0f && depth < 1.0f)) {
      return;
    }
    const osg::Vec3d low = this->toWindow(osg::Vec3d(wall.xMin, wall.y, wall.zMin));
    const osg::Vec3d high = this->toWindow(osg::Vec3d(wall.xMax, wall.y, wall.zMax));
    const auto pixel = [](double position, int size) {
      return static_cast<int>(std::clamp(std::round(position), 0.0, static_cast<double>(size)));
    };
    const int left = pixel(low.x(), this->kWidth);
    const int bottom = pixel(low.y(), this->kHeight);
    this->paint(left, bottom, pixel(high.x(), this->kWidth) - left, pixel(high.y(), this->kHeight) - bottom, depth);
  }

  std::vector<Wall> _walls;
};

using PreciseOrbitGLTest = WallsFixture<OpenPreciseOrbit>;
using PrecisePivotGLTest = WallsFixture<OpenPrecisePivot>;

constexpr auto kUp = osgGA::GUIEventAdapter::SCROLL_UP;
constexpr auto kDown = osgGA::GUIEventAdapter::SCROLL_DOWN;

TEST_F(PreciseOrbitGLTest, aNotchTakesAShareOfTheDistanceToTheSceneUnderThePointer) {
  show({kBigWall});
  const osg::Vec3d target = pointOn(kBigWall, 600.0, 200.0);
  const osg::Vec3d before = eye();
  notch(kUp, 600.0, 200.0);
  EXPECT_NEAR((eye() - (target + (before - target) * (1.0 - kShare))).length(), 0.0, 0.1);
  EXPECT_LT(pixelsFrom(target, 600.0, 200.0), 1.0);
  expectNear(viewDirection(), osg::Vec3d(0.0, 1.0, 0.0), 1e-12);
}

TEST_F(PreciseOrbitGLTest, aPlainCaptureToolAwayFromTheOriginIsReportedOnce) {
  camera().setViewport(100, 50, kWidth - 100, kHeight - 50);
  show({kBigWall});
  const NotifyRecorder recorder(osg::WARN);
  for (int press = 0; press < 3; ++press) {
    push(kRight, 400.0, 300.0);
    release(kRight, 400.0, 300.0);
  }
  ASSERT_EQ(recorder.entries().size(), 1U);
  EXPECT_NE(recorder.entries()[0].text.find("does not start at (0, 0). Use a CapturedCamera and a ViewManipulator"),
            std::string::npos);
}

TEST_F(PreciseOrbitGLTest, manyNotchesConvergeOnTheSceneAndDoNotPassIt) {
  show({kBigWall});
  double expected = distanceTo(0.0);
  for (int count = 0; count < 30; ++count) {
    notch(kUp, 400.0, 300.0);
    expected *= 1.0 - kShare;
    EXPECT_NEAR(distanceTo(0.0), expected, 1e-3 * expected + 2e-3) << count;
  }
}

TEST_F(PreciseOrbitGLTest, furtherNotchesPassThroughTheSceneInSmallStepsAndGoOnToWhatIsBehind) {
  const Wall behind{60.0, -500.0, 500.0, -500.0, 500.0};
  show({kBigWall, behind});
  double least = 1.0;
  double before = distanceTo(0.0);
  for (int count = 0; count < 50 && distanceTo(0.0) > -1.0; ++count) {
    notch(kUp, 400.0, 300.0);
    least = std::min(least, before - distanceTo(0.0));
    before = distanceTo(0.0);
  }
  EXPECT_LT(distanceTo(0.0), 0.0);
  EXPECT_NEAR(least, -std::log(1.0 - kShare) * kLeast, 1e-4);
  for (int count = 0; count < 20; ++count) {
    notch(kUp, 400.0, 300.0);
  }
  EXPECT_GT(distanceTo(60.0), 0.0);
  EXPECT_LT(distanceTo(60.0), 60.0 * std::pow(1.0 - kShare, 18));
}

TEST_F(PreciseOrbitGLTest, asManyNotchesBackReturnToTheSamePlace) {
  show({kBigWall});
  for (const int count : {1, 7, 45}) {  // 45: through the wall
    const osg::Vec3d start = eye();
    for (int i = 0; i < count; ++i) {
      notch(kUp, 130.0, 420.0);
    }
    EXPECT_GT((eye() - start).length(), 10.0);
    for (int i = 0; i < count; ++i) {
      notch(kDown, 130.0, 420.0);
    }
    EXPECT_LT((eye() - start).length(), 1e-6) << count;
  }
}

/// Posts a few pixels apart, as sparse points are; the pointer is between two of them.
TEST_F(PreciseOrbitGLTest, aZoomBetweenSparsePointsEndsAtOneOfThem) {
  std::vector<Wall> posts;
  for (int column = -4; column <= 4; ++column) {
    for (int row = -4; row <= 4; ++row) {
      posts.push_back({0.0, 2.0 * column + 0.9, 2.0 * column + 1.1, 2.0 * row + 0.9, 2.0 * row + 1.1});
    }
  }
  show(posts);
  const osg::Vec3d start = eye();
  constexpr int kNotches = 28;
  for (int count = 0; count < kNotches; ++count) {
    notch(kUp, 400.0, 300.0);
  }
  EXPECT_NEAR(distanceTo(0.0), 100.0 * std::pow(1.0 - kShare, kNotches), 0.02);
  const auto nearest = [this](double place) { return std::abs(std::remainder(place - 1.0, 2.0)); };
  EXPECT_LT(nearest(eye().x()), 0.11) << eye().x();
  EXPECT_LT(nearest(eye().z()), 0.11) << eye().z();
  for (int count = 0; count < kNotches; ++count) {
    notch(kDown, 400.0, 300.0);
  }
  EXPECT_LT((eye() - start).length(), 1e-9);
}

TEST_F(PreciseOrbitGLTest, severalNotchesInAFrameAreTheSameAsOneInEach) {
  show({kBigWall});
  for (int count = 0; count < 5; ++count) {
    scroll(kUp, 400.0, 300.0);
  }
  EXPECT_NEAR(distanceTo(0.0), 100.0 * std::pow(1.0 - kShare, 5), 0.1);
}

TEST_F(PreciseOrbitGLTest, overBackgroundTheStepFollowsTheDepthSeenLastAndTheOrbitCentreBeforeIt) {
  show({});
  notch(kUp, 400.0, 300.0);
  EXPECT_NEAR(distanceTo(0.0), 80.0, 1e-6) << "the orbit centre is at 0";
  show({Wall{-40.0, -500.0, 0.0, -500.0, 500.0}});  // on the left only
  const osg::Vec3d before = eye();
  notch(kUp, 200.0, 300.0);
  const double nearer = distanceTo(-40.0);
  EXPECT_NEAR(nearer, 40.0 * (1.0 - kShare), 0.05);
  notch(kUp, 700.0, 300.0);
  EXPECT_NEAR(distanceTo(-40.0), nearer * (1.0 - kShare), 0.05);
  EXPECT_GT(eye().x(), before.x());
}

TEST_F(PreciseOrbitGLTest, aZoomOutStopsAtEightRadiiFromTheMiddleOfTheScene) {
  show({kBigWall});
  for (int count = 0; count < 60; ++count) {
    notch(kDown, 500.0, 300.0);
  }
  EXPECT_NEAR(eye().length(), 8.0 * std::sqrt(3.0) * 50.0, 1e-6);
  notch(kUp, 500.0, 300.0);
  EXPECT_LT(eye().length(), 8.0 * std::sqrt(3.0) * 50.0);
}

TEST_F(PreciseOrbitGLTest, smallScrollDeltasAddUpToANotch) {
  show({kBigWall});
  for (int count = 0; count < 20; ++count) {
    const osg::ref_ptr<Event> event = makeEvent(Event::SCROLL, 0, 400.0, 300.0);
    event->setScrollingMotionDelta(0.0f, 0.125f);  // sets SCROLL_2D
    ASSERT_EQ(event->getScrollingMotion(), Event::SCROLL_2D);
    send(*event);
    drawScene();
  }
  EXPECT_NEAR(distanceTo(0.0), 100.0 * std::pow(1.0 - kShare, 2.5), 0.1);
}

TEST_F(PreciseOrbitGLTest, deltasMayBeInOtherUnits) {
  show({kBigWall});
  _manipulator->setScrollUnitsPerNotch(120.0);
  const osg::ref_ptr<Event> event = makeEvent(Event::SCROLL, 0, 400.0, 300.0);
  event->setScrollingMotionDelta(0.0f, 360.0f);
  send(*event);
  EXPECT_NEAR(distanceTo(0.0), 100.0 * std::pow(1.0 - kShare, 3), 0.1);
}

TEST_F(PreciseOrbitGLTest, horizontalAndDamagedScrollEventsChangeNothing) {
  show({kBigWall});
  const osg::Vec3d before = eye();
  notch(Event::SCROLL_LEFT, 400.0, 300.0);
  const osg::ref_ptr<Event> event = makeEvent(Event::SCROLL, 0, 400.0, 300.0);
  event->setScrollingMotionDelta(3.0f, std::numeric_limits<float>::quiet_NaN());
  send(*event);
  EXPECT_EQ(eye(), before);
}

TEST_F(PreciseOrbitGLTest, anOrthographicViewScalesAboutThePointerAndReturns) {
  useOrthographic(50.0);
  show({kBigWall});
  const osg::Vec3d target = pointOn(kBigWall, 600.0, 200.0);
  const osg::Vec3d start = eye();
  notch(kUp, 600.0, 200.0);
  EXPECT_NEAR(camera().getProjectionMatrix()(1, 1), 2.0 / (50.0 * (1.0 - kShare)), 1e-9);
  EXPECT_LT(pixelsFrom(target, 600.0, 200.0), 0.01);
  notch(kDown, 600.0, 200.0);
  EXPECT_NEAR(camera().getProjectionMatrix()(1, 1), 2.0 / 50.0, 1e-9);
  EXPECT_LT((eye() - start).length(), 1e-9);
}

TEST_F(PreciseOrbitGLTest, anOrthographicViewStaysWithinTheScaleOfTheScene) {
  useOrthographic(50.0);
  show({kBigWall});
  for (int count = 0; count < 80; ++count) {
    notch(kDown, 400.0, 300.0);
  }
  EXPECT_NEAR(2.0 / camera().getProjectionMatrix()(1, 1), 16.0 * std::sqrt(3.0) * 50.0, 1e-6);
  for (int count = 0; count < 120; ++count) {
    notch(kUp, 400.0, 300.0);
  }
  EXPECT_NEAR(2.0 / camera().getProjectionMatrix()(1, 1), kLeast, 1e-9);
}

/// Drags over 260 pixels and draws a frame after every `eventsPerFrame` events: at 60 events in a second these are 1,
/// 10 and 60 frames in a second. The pointer passes a pillar that is much nearer than the wall that it grabbed.
template <typename Fixture>
class PanTest : public Fixture {
 protected:
  void expectPanFollowsThePointer(int eventsPerFrame) {
    const Wall wall{20.0, -500.0, 500.0, -500.0, 500.0};
    const Wall pillar{-60.0, 4.0, 8.0, -500.0, 500.0};
    this->show({wall, pillar});
    const osg::Vec3d grabbed = this->pointOn(wall, 380.0, 250.0);
    this->push(this->kMiddle, 380.0, 250.0);
    for (int step = 1; step <= 120; ++step) {
      const double x = 380.0 + 260.0 * step / 120.0;
      const double y = 250.0 + 90.0 * step / 120.0;
      this->drag(this->kMiddle, x, y);
      if (step % eventsPerFrame == 0) {
        this->drawScene();
        EXPECT_LT(this->pixelsFrom(grabbed, std::floor(x), std::floor(y)), 2.0) << step;
      }
    }
    this->drawScene();
    EXPECT_LT(this->pixelsFrom(grabbed, 640.0, 340.0), 1.0);
    this->release(0, 640.0, 340.0);
  }
};

using PreciseOrbitPanGLTest = PanTest<PreciseOrbitGLTest>;
using PrecisePivotPanGLTest = PanTest<PrecisePivotGLTest>;

TEST_F(PreciseOrbitPanGLTest, theGrabbedPointStaysUnderThePointerAtAnyFrameRate) {
  for (const int eventsPerFrame : {60, 6, 1}) {
    SCOPED_TRACE(eventsPerFrame);
    lookAt(osg::Vec3d(0.0, -100.0, 0.0), osg::Vec3d());
    expectPanFollowsThePointer(eventsPerFrame);
  }
}

TEST_F(PreciseOrbitPanGLTest, theGrabbedPointStaysUnderThePointerInAnOrthographicView) {
  useOrthographic(50.0);
  for (const int eventsPerFrame : {60, 6, 1}) {
    SCOPED_TRACE(eventsPerFrame);
    lookAt(osg::Vec3d(0.0, -100.0, 0.0), osg::Vec3d());
    expectPanFollowsThePointer(eventsPerFrame);
  }
}

TEST_F(PrecisePivotPanGLTest, theGrabbedPointStaysUnderThePointerAtAnyFrameRate) {
  for (const int eventsPerFrame : {60, 6, 1}) {
    SCOPED_TRACE(eventsPerFrame);
    lookAt(osg::Vec3d(0.0, -100.0, 0.0), osg::Vec3d());
    expectPanFollowsThePointer(eventsPerFrame);
  }
}

TEST_F(PreciseOrbitPanGLTest, aPanEndsWhereTheButtonIsReleased) {
  const Wall wall{20.0, -500.0, 500.0, -500.0, 500.0};
  lookAt(osg::Vec3d(0.0, -100.0, 0.0), osg::Vec3d());
  show({wall});
  const osg::Vec3d grabbed = pointOn(wall, 380.0, 250.0);
  push(kMiddle, 380.0, 250.0);
  drag(kMiddle, 450.0, 300.0);
  release(0, 500.0, 320.0);  // without a last movement
  drawScene();
  EXPECT_LT(pixelsFrom(grabbed, 500.0, 320.0), 1.0);
}

// No frame is drawn meanwhile, so the captured one still shows the view before the pan.
TEST_F(PreciseOrbitPanGLTest, anotherButtonDuringAPanDoesNotLetGoOfTheGrabbedPoint) {
  const Wall wall{20.0, -500.0, 500.0, -500.0, 500.0};
  for (const int other : {kLeft, kRight}) {
    SCOPED_TRACE(other);
    lookAt(osg::Vec3d(0.0, -100.0, 0.0), osg::Vec3d());
    show({wall});
    const osg::Vec3d grabbed = pointOn(wall, 380.0, 250.0);
    push(kMiddle, 380.0, 250.0);
    drag(kMiddle, 450.0, 300.0);
    push(kMiddle | other, 450.0, 300.0);
    release(kMiddle, 450.0, 300.0);
    drag(kMiddle, 500.0, 320.0);
    drawScene();
    EXPECT_LT(pixelsFrom(grabbed, 500.0, 320.0), 1.0);
    release(0, 500.0, 320.0);
  }
}

TEST_F(PreciseOrbitPanGLTest, aPressAndAReleaseOfTheMiddleButtonMoveNothing) {
  lookAt(osg::Vec3d(0.0, -100.0, 0.0), osg::Vec3d());
  show({{20.0, -500.0, 500.0, -500.0, 500.0}});
  const osg::Matrixd before = camera().getViewMatrix();
  push(kMiddle, 380.0, 250.0);
  release(0, 390.0, 260.0);
  drawScene();
  EXPECT_EQ(camera().getViewMatrix(), before);
}

TEST_F(PreciseOrbitPanGLTest, aPanFarFromTheOriginFollowsThePointer) {
  const osg::Vec3d distant(1.0e7, 0.0, 300.0);
  lookAt(distant + osg::Vec3d(0.0, -100.0, 0.0), distant);
  const Wall wall{20.0, 9.0e6, 1.1e7, -1.0e6, 1.0e6};
  show({wall});
  const osg::Vec3d grabbed = pointOn(wall, 380.0, 250.0);
  push(kMiddle, 380.0, 250.0);
  drag(kMiddle, 500.0, 400.0);
  EXPECT_LT(pixelsFrom(grabbed, 500.0, 400.0), 1.0);
}

TEST_F(PreciseOrbitPanGLTest, aPanOverBackgroundMovesAtTheDepthOfTheFallback) {
  _manipulator->setPivotFallbacks({PivotFallback::OrbitCentre});
  show({});
  const osg::Vec3d grabbed = worldAtDistance(200.0 + kHalfPixel, 150.0 + kHalfPixel, 100.0);
  push(kMiddle, 200.0, 150.0);
  EXPECT_LT(pixelsFrom(grabbed, 200.0, 150.0), 1e-3) << "the press moves nothing";
  drag(kMiddle, 260.0, 170.0);
  EXPECT_LT(pixelsFrom(grabbed, 260.0, 170.0), 1e-3);
}

TEST_F(PreciseOrbitGLTest, aPressOnTheSceneMovesTheOrbitCentreToItsDepthAndNotTheEye) {
  show({Wall{-40.0, -500.0, 500.0, -500.0, 500.0}});
  push(kRight, 100.0, 100.0);
  EXPECT_NEAR((_manipulator->getCenter() - osg::Vec3d(0.0, -40.0, 0.0)).length(), 0.0, 0.1);
  expectNear(eye(), osg::Vec3d(0.0, -100.0, 0.0), 1e-9);
}

struct FallbackCase {
  const char* name;
  std::vector<PivotFallback> fallbacks;
  osg::Vec3d expected;
};

class PivotFallbackGLTest : public PrecisePivotGLTest {
 protected:
  const osg::Vec3d _post = osg::Vec3d(3.0, -70.0, 1.0);

  /// Presses on a small post, which becomes the latest scene point.
  void pressThePost() {
    show({Wall{_post.y(), _post.x() - 0.1, _post.x() + 0.1, _post.z() - 0.1, _post.z() + 0.1}});
    const osg::Vec3d place = toWindow(_post);
    push(kRight, std::floor(place.x()), std::floor(place.y()));
    release(0, place.x(), place.y());
    expectNear(_manipulator->_pivotPoint, _post, 0.15);
  }
};

TEST_F(PivotFallbackGLTest, aPressOverBackgroundTakesTheFirstFallbackThatExists) {
  const Wall strip{-40.0, -10.0, 0.0, -500.0, 500.0};
  const double x = std::floor(toWindow(osg::Vec3d(0.0, -40.0, 0.0)).x()) + 20.0;  // beside the strip
  const double y = 300.0;
  const osg::Vec3d edgeOfStrip = worldAtDistance(x - 20.0 - kHalfPixel, y + kHalfPixel, 60.0);
  const osg::Vec3d onRay = worldAtDistance(x + kHalfPixel, y + kHalfPixel, 1.0) - eye();
  const osg::Vec3d middleOfBox = eye() + onRay * (0.5 * (50.0 + 150.0));  // enters at Y = −50, leaves at Y = 50
  const FallbackCase cases[] = {{"nearby pixels", {PivotFallback::NearbyPixels, PivotFallback::LastPivot}, edgeOfStrip},
                                {"last pivot", {PivotFallback::LastPivot, PivotFallback::NearbyPixels}, _post},
                                {"bounds", {PivotFallback::SceneBounds, PivotFallback::OrbitCentre}, middleOfBox},
                                {"centre", {PivotFallback::OrbitCentre, PivotFallback::SceneBounds}, osg::Vec3d()},
                                {"nothing", {}, _post}};
  for (const FallbackCase& each : cases) {
    SCOPED_TRACE(each.name);
    pressThePost();
    show({strip});
    _manipulator->setPivotFallbacks(each.fallbacks);
    push(kRight, x, y);
    EXPECT_NEAR((_manipulator->_pivotPoint - each.expected).length(), 0.0, 0.2);
    EXPECT_EQ(_manipulator->_pivotIndicator->getPosition(), _manipulator->_pivotPoint);
    release(0, x, y);
  }
}

TEST_F(PivotFallbackGLTest, aFallbackOffScreenOrMissedIsPassedOver) {
  pressThePost();
  lookAt(osg::Vec3d(0.0, -100.0, 200.0), osg::Vec3d(0.0, 0.0, 200.0));  // past the bounds and the last pivot
  show({});
  push(kRight, 400.0, 300.0);
  expectNear(_manipulator->_pivotPoint, osg::Vec3d(0.0, 0.0, 200.0), 1e-9);
}

TEST_F(PreciseOrbitGLTest, aPressOverNothingNeverMovesTheEye) {
  show({});
  for (const int button : {kRight, kMiddle}) {
    push(button, 30.0, 570.0);
    expectNear(eye(), osg::Vec3d(0.0, -100.0, 0.0), 1e-9);
    drag(button, 31.0, 570.0);
    EXPECT_LT((eye() - osg::Vec3d(0.0, -100.0, 0.0)).length(), 1.0);
    release(0, 31.0, 570.0);
    lookAt(osg::Vec3d(0.0, -100.0, 0.0), osg::Vec3d());
  }
}

TEST_F(PreciseOrbitGLTest, aDragOfHalfTheWindowTurnsTheViewByNinetyDegrees) {
  show({kBigWall});
  push(kRight, 200.0, 300.0);
  drag(kRight, 600.0, 300.0);
  // The near side follows the pointer to the right, so the camera goes to the left and looks to the right.
  expectNear(viewDirection(), osg::Vec3d(1.0, 0.0, 0.0), 1e-6);
  release(0, 600.0, 300.0);
}

TEST_F(PreciseOrbitGLTest, theRotationSpeedIsTheSameInBothDirectionsAndCanBeSet) {
  show({kBigWall});
  _manipulator->setRotationSpeed(60.0);
  push(kRight, 400.0, 500.0);
  drag(kRight, 400.0, 300.0);  // 200 of the 400 pixels of half a window
  const double angle = osg::DegreesToRadians(30.0);
  expectNear(viewDirection(), osg::Vec3d(0.0, std::cos(angle), -std::sin(angle)), 1e-6);
  release(0, 400.0, 300.0);
  lookAt(osg::Vec3d(0.0, -100.0, 0.0), osg::Vec3d());
  _manipulator->setRotationFactor(0.5);
  push(kRight, 200.0, 300.0);
  drag(kRight, 600.0, 300.0);
  expectNear(viewDirection(), osg::Vec3d(std::sin(angle), std::cos(angle), 0.0), 1e-6);
}

TEST_F(PrecisePivotGLTest, thePivotKeepsItsPlaceInTheWindowWhileTheViewTurnsByTheSpeed) {
  show({kBigWall});
  push(kRight, 250.0, 350.0);
  const osg::Vec3d pivot = _manipulator->_pivotPoint;
  const osg::Vec3d before = viewDirection();
  for (int step = 1; step <= 10; ++step) {
    drag(kRight, 250.0 + 20.0 * step, 350.0);
    EXPECT_LT(pixelsFrom(pivot, 250.0, 350.0), 1e-3) << step;
  }
  EXPECT_NEAR(viewDirection() * before, std::cos(osg::DegreesToRadians(45.0)), 1e-6);
}

template <typename Fixture>
class StationTest : public Fixture {
 protected:
  void expectLevelLookAround() {
    this->_manipulator->setStationModel(true);
    this->_manipulator->setStationCenter(osg::Vec3f(0.0f, -100.0f, 0.0f));
    this->show({});
    this->push(this->kRight, 100.0, 300.0);
    for (int step = 1; step <= 40; ++step) {
      this->drag(this->kRight, 100.0 + 10.0 * step, 300.0 + 3.0 * step);
      const osg::Vec3d right = this->_manipulator->getRotation() * osg::Vec3d(1.0, 0.0, 0.0);
      EXPECT_NEAR(right.z(), 0.0, 1e-9);
      expectNear(this->eye(), osg::Vec3d(0.0, -100.0, 0.0), 1e-6);
    }
    const double pitch = osg::DegreesToRadians(0.3 * 90.0);
    expectNear(this->viewDirection(), osg::Vec3d(std::cos(pitch), 0.0, std::sin(pitch)), 1e-6);
  }
};

using PreciseOrbitStationGLTest = StationTest<PreciseOrbitGLTest>;
using PrecisePivotStationGLTest = StationTest<PrecisePivotGLTest>;

TEST_F(PreciseOrbitStationGLTest, lookingAroundKeepsTheHorizonLevelAndTheEye) {
  expectLevelLookAround();
}

TEST_F(PrecisePivotStationGLTest, lookingAroundKeepsTheHorizonLevelAndTheEye) {
  expectLevelLookAround();
}

TEST_F(PreciseOrbitStationGLTest, theWheelChangesTheFieldOfViewBetweenOneAndNinetyDegrees) {
  _manipulator->setStationModel(true);
  show({});
  const auto degrees = [this] {
    return osg::RadiansToDegrees(2.0 * std::atan(1.0 / camera().getProjectionMatrix()(1, 1)));
  };
  const osg::Vec3d before = eye();
  notch(kUp, 10.0, 10.0);
  EXPECT_NEAR(degrees(), 45.0, 1e-9);
  notch(kDown, 10.0, 10.0);
  EXPECT_NEAR(degrees(), 60.0, 1e-9);
  for (int count = 0; count < 5; ++count) {
    notch(kDown, 10.0, 10.0);
  }
  EXPECT_NEAR(degrees(), 90.0, 1e-9);
  for (int count = 0; count < 40; ++count) {
    notch(kUp, 10.0, 10.0);
  }
  EXPECT_NEAR(degrees(), 1.0, 1e-9);
  EXPECT_EQ(eye(), before);
}

TEST_F(PreciseOrbitStationGLTest, aNarrowFieldOfViewTurnsMoreSlowly) {
  _manipulator->setStationModel(true);
  show({});
  notch(kUp, 10.0, 10.0);  // 45 of 60 degrees
  push(kRight, 200.0, 300.0);
  drag(kRight, 600.0, 300.0);
  const double angle = osg::DegreesToRadians(90.0 * 0.75);
  expectNear(viewDirection(), osg::Vec3d(std::sin(angle), std::cos(angle), 0.0), 1e-6);
}

TEST_F(PreciseOrbitGLTest, centringOnTheSceneKeepsTheViewAndMovesTheCentreToTheDepthInTheMiddle) {
  show({Wall{30.0, -500.0, 500.0, -500.0, 500.0}});
  const osg::Vec3d before = eye();
  EXPECT_TRUE(_manipulator->centreOnScene(camera()));
  expectNear(viewDirection(), osg::Vec3d(0.0, 1.0, 0.0), 1e-12);
  EXPECT_NEAR((eye() - before).length(), 0.0, 1e-9);
  EXPECT_NEAR(_manipulator->getDistance(), 130.0, 0.15);
}

}  // namespace
