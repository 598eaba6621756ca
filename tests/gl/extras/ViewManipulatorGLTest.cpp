#include "support/Near.h"
#include "support/NotifyRecorder.h"
#include "support/PixelBuffer.h"

#include <QuorOsgUtils/CapturedCamera.h>
#include <QuorOsgUtils/SPointCloudManipulator.h>
#include <QuorOsgUtils/ViewManipulator.h>

#include <osg/Geometry>
#include <osgViewer/CompositeViewer>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <memory>

namespace QuorTests {
namespace {

using namespace QuorOsgUtils;
using Event = osgGA::GUIEventAdapter;
using ::testing::HasSubstr;

constexpr int kSize = 256;

osg::ref_ptr<osg::GraphicsContext> createContext(int width, int height) {
  static const osg::ref_ptr<osg::GraphicsContext> keepsDriverLoaded = pixelBuffer();
  osg::ref_ptr<osg::GraphicsContext::Traits> traits = new osg::GraphicsContext::Traits;
  traits->readDISPLAY();
  traits->setUndefinedScreenDetailsToDefaultScreen();
  traits->width = width;
  traits->height = height;
  traits->pbuffer = true;
  osg::ref_ptr<osg::GraphicsContext> context = osg::GraphicsContext::createGraphicsContext(traits);
  return context && context->valid() ? context : nullptr;
}

/// A wall in the plane y = 0, whose left half (x < 0) is nearer to the eye by four units.
osg::ref_ptr<osg::Node> createWalls() {
  const osg::ref_ptr<osg::Geometry> walls = new osg::Geometry;
  const osg::ref_ptr<osg::Vec3Array> corners = new osg::Vec3Array;
  for (const float nearer : {1.0f, 0.0f}) {
    const float left = nearer > 0.0f ? -20.0f : 0.0f;
    for (const osg::Vec2f& at : {osg::Vec2f(0, -20), osg::Vec2f(20, -20), osg::Vec2f(20, 20), osg::Vec2f(0, 20)}) {
      corners->push_back({left + at.x(), -4.0f * nearer, at.y()});
    }
  }
  walls->setVertexArray(corners);
  walls->addPrimitiveSet(new osg::DrawArrays(GL_QUADS, 0, 8));
  const osg::ref_ptr<osg::Program> program = new osg::Program;
  program->addShader(new osg::Shader(osg::Shader::VERTEX,
                                     "#version 330 compatibility\n"
                                     "void main() { gl_Position = ftransform(); }"));
  program->addShader(new osg::Shader(osg::Shader::FRAGMENT,
                                     "#version 330 compatibility\n"
                                     "layout(location = 0) out vec4 colour;\n"
                                     "void main() { colour = vec4(1.0); }"));
  walls->getOrCreateStateSet()->setAttribute(program);
  return walls;
}

/// Two views side by side in one window, each with a capture of its own; the tests use the right one.
class ViewManipulatorGLTest : public testing::Test {
 protected:
  void SetUp() override {
    _context = createContext(2 * kSize, kSize);
    ASSERT_TRUE(_context) << "no off-screen context; is there a display?";
    const osg::ref_ptr<osg::Group> scene = new osg::Group;
    scene->addChild(createWalls());
    for (int number = 0; number < 2; ++number) {
      _views[number] = createView(number * kSize, scene);
      _viewer->addView(_views[number]);
    }
    _viewer->setThreadingModel(osgViewer::ViewerBase::SingleThreaded);
    _viewer->realize();
  }

  osg::ref_ptr<osgViewer::View> createView(int left, osg::Node* scene) {
    osg::ref_ptr<osgViewer::View> view = new osgViewer::View;
    osg::Camera& camera = *view->getCamera();
    camera.setGraphicsContext(_context);
    camera.setViewport(left, 0, kSize, kSize);
    camera.setProjectionMatrixAsPerspective(40.0, 1.0, 1.0, 100.0);
    camera.setComputeNearFarMode(osg::CullSettings::DO_NOT_COMPUTE_NEAR_FAR);
    const CapturedCamera captured(camera);
    view->setSceneData(scene);
    return view;
  }

  template <typename Manipulator>
  Manipulator& use(osg::ref_ptr<Manipulator> manipulator) {
    _views[1]->setCameraManipulator(manipulator);
    manipulator->setTransformation(osg::Vec3d(2.0, -30.0, 3.0), osg::Vec3d(1.0, 0.0, 1.0), osg::Vec3d(0.0, 0.0, 1.0));
    _viewer->frame();
    _viewer->frame();
    return *manipulator;
  }

  bool send(Event::EventType type, int button, int mask, int x, int y,
            Event::ScrollingMotion scroll = Event::SCROLL_NONE) {
    const osg::ref_ptr<Event> event = new Event;
    event->setEventType(type);
    event->setButton(button);
    event->setButtonMask(mask);
    event->setInputRange(0.0f, 0.0f, 2 * kSize, kSize);
    event->setMouseYOrientation(Event::Y_INCREASING_UPWARDS);
    event->setX(static_cast<float>(x));
    event->setY(static_cast<float>(y));
    if (scroll != Event::SCROLL_NONE) {
      event->setScrollingMotion(scroll);
      event->setEventType(Event::SCROLL);
    }
    event->setTime(_time += 0.02);
    const bool handled = _views[1]->getCameraManipulator()->handle(*event, *_views[1]);
    _viewer->frame();
    return handled;
  }

  osg::Camera& camera() { return *_views[1]->getCamera(); }
  /// The wall's point seen at the centre of a window pixel, by the test's own arithmetic: the ray through it meets the
  /// plane of the near wall or else that of the far one.
  osg::Vec3d seenAt(int x, int y) {
    osg::Vec3d eye, centre, up;
    camera().getViewMatrix().getLookAt(eye, centre, up);
    osg::Vec3d ahead = centre - eye;
    ahead.normalize();
    osg::Vec3d right = ahead ^ up;
    right.normalize();
    const osg::Vec3d above = right ^ ahead;
    const double half = std::tan(osg::DegreesToRadians(20.0));
    const double across = ((x + 0.5 - kSize) / kSize * 2.0 - 1.0) * half;
    const double along = ((y + 0.5) / kSize * 2.0 - 1.0) * half;
    const osg::Vec3d ray = ahead + right * across + above * along;
    const osg::Vec3d onNear = eye + ray * ((-4.0 - eye.y()) / ray.y());
    return onNear.x() < 0.0 ? onNear : eye + ray * (-eye.y() / ray.y());
  }
  osg::Vec3d eye() {
    osg::Vec3d place, centre, up;
    camera().getViewMatrix().getLookAt(place, centre, up);
    return place;
  }

  osg::ref_ptr<osg::GraphicsContext> _context;
  osg::ref_ptr<osgViewer::CompositeViewer> _viewer = new osgViewer::CompositeViewer;
  std::array<osg::ref_ptr<osgViewer::View>, 2> _views;
  double _time = 1.0;
};

}  // namespace

TEST_F(ViewManipulatorGLTest, aPressPlacesThePivotOnTheScenePointUnderThePointer) {
  ViewPivotManipulator& manipulator = use<ViewPivotManipulator>(new ViewPivotManipulator);
  for (const auto& [x, y] : {std::pair(300, 50), std::pair(480, 200), std::pair(380, 128)}) {
    const osg::Vec3d expected = seenAt(x, y);
    send(Event::PUSH, Event::RIGHT_MOUSE_BUTTON, Event::RIGHT_MOUSE_BUTTON, x, y);
    ASSERT_TRUE(manipulator.getLastScenePoint());
    expectNear(*manipulator.getLastScenePoint(), expected, 0.01);
    send(Event::RELEASE, Event::RIGHT_MOUSE_BUTTON, 0, x, y);
  }
}

TEST_F(ViewManipulatorGLTest, aPanKeepsTheGrabbedPointUnderThePointer) {
  use<ViewOrbitManipulator>(new ViewOrbitManipulator);
  const osg::Vec3d grabbed = seenAt(300, 100);
  send(Event::PUSH, Event::MIDDLE_MOUSE_BUTTON, Event::MIDDLE_MOUSE_BUTTON, 300, 100);
  send(Event::DRAG, 0, Event::MIDDLE_MOUSE_BUTTON, 330, 120);
  send(Event::DRAG, 0, Event::MIDDLE_MOUSE_BUTTON, 360, 140);
  send(Event::RELEASE, Event::MIDDLE_MOUSE_BUTTON, 0, 360, 140);
  expectNear(seenAt(360, 140), grabbed, 0.02);
}

TEST_F(ViewManipulatorGLTest, theWheelApproachesThePointUnderThePointerByAFifth) {
  use<ViewOrbitManipulator>(new ViewOrbitManipulator);
  const osg::Vec3d target = seenAt(450, 60);
  const osg::Vec3d before = eye();
  EXPECT_TRUE(send(Event::SCROLL, 0, 0, 450, 60, Event::SCROLL_UP));
  expectNear(eye(), target + (before - target) * 0.8, 0.02);
  expectNear(seenAt(450, 60), target, 0.02);
}

TEST_F(ViewManipulatorGLTest, aDragOfHalfTheViewTurnsByTheRotationSpeedAboutTheMiddleOfTheView) {
  ViewOrbitManipulator& manipulator = use<ViewOrbitManipulator>(new ViewOrbitManipulator);
  const osg::Vec3d middle = seenAt(kSize + kSize / 2, kSize / 2);
  const osg::Vec3d before = manipulator.getRotation() * osg::Vec3d(0.0, 0.0, -1.0);
  send(Event::PUSH, Event::RIGHT_MOUSE_BUTTON, Event::RIGHT_MOUSE_BUTTON, 300, 128);
  send(Event::DRAG, 0, Event::RIGHT_MOUSE_BUTTON, 300 + kSize / 4, 128);
  const osg::Vec3d after = manipulator.getRotation() * osg::Vec3d(0.0, 0.0, -1.0);
  const double degrees = osg::RadiansToDegrees(
      std::atan2(before.x() * after.y() - before.y() * after.x(), before.x() * after.x() + before.y() * after.y()));
  EXPECT_NEAR(std::abs(degrees), 45.0, 0.5);
  expectNear(manipulator.getCenter(), middle, 0.2);
}

TEST_F(ViewManipulatorGLTest, theMarkerIsInTheSceneOfTheViewDuringADrag) {
  use<ViewPivotManipulator>(new ViewPivotManipulator);
  const osg::Group& scene = *_views[1]->getSceneData()->asGroup();
  send(Event::PUSH, Event::RIGHT_MOUSE_BUTTON, Event::RIGHT_MOUSE_BUTTON, 300, 128);
  send(Event::DRAG, 0, Event::RIGHT_MOUSE_BUTTON, 310, 128);
  EXPECT_EQ(scene.getNumChildren(), 2U);
  send(Event::RELEASE, Event::RIGHT_MOUSE_BUTTON, 0, 310, 128);
  EXPECT_EQ(scene.getNumChildren(), 1U);
}

TEST_F(ViewManipulatorGLTest, aStationLooksAroundInThisView) {
  ViewOrbitManipulator& manipulator = use<ViewOrbitManipulator>(new ViewOrbitManipulator);
  manipulator.setStationModel(true);
  const osg::Vec3d before = eye();
  const osg::Vec3d direction = manipulator.getRotation() * osg::Vec3d(0.0, 0.0, -1.0);
  send(Event::PUSH, Event::RIGHT_MOUSE_BUTTON, Event::RIGHT_MOUSE_BUTTON, 300, 128);
  send(Event::DRAG, 0, Event::RIGHT_MOUSE_BUTTON, 300 + kSize / 4, 128);
  expectNear(eye(), before, 1e-6);
  const osg::Vec3d turned = manipulator.getRotation() * osg::Vec3d(0.0, 0.0, -1.0);
  // At a field of view of 40 degrees, two thirds of those of a station.
  EXPECT_NEAR(osg::RadiansToDegrees(std::acos(direction * turned)), 30.0, 1.0);
}

TEST_F(ViewManipulatorGLTest, theViewIsLeftAsItWasWhenTheManipulatorIsDestroyed) {
  use<ViewOrbitManipulator>(new ViewOrbitManipulator);
  send(Event::PUSH, Event::MIDDLE_MOUSE_BUTTON, Event::MIDDLE_MOUSE_BUTTON, 300, 100);
  osg::Camera* const before = &camera();
  _views[1]->setCameraManipulator(nullptr);
  EXPECT_EQ(&camera(), before);
  EXPECT_EQ(camera().getView(), _views[1].get());
  EXPECT_TRUE(_context->isRealized());
  EXPECT_NE(_views[1]->getSceneData(), nullptr);
  _viewer->frame();
}

TEST_F(ViewManipulatorGLTest, aManipulatorThatNeedsAViewerSaysSoOnce) {
  use<SPointCloudManipulator>(new SPointCloudManipulator(nullptr));
  const NotifyRecorder recorder(osg::WARN);
  for (int press = 0; press < 3; ++press) {
    send(Event::PUSH, Event::RIGHT_MOUSE_BUTTON, Event::RIGHT_MOUSE_BUTTON, 300, 100);
    send(Event::RELEASE, Event::RIGHT_MOUSE_BUTTON, 0, 300, 100);
  }
  ASSERT_EQ(recorder.entries().size(), 1U);
  EXPECT_THAT(recorder.entries()[0].text, HasSubstr("its view is no osgViewer::Viewer. Use a ViewManipulator"));
}

}  // namespace QuorTests
