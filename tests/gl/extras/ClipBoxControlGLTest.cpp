#include "support/CaptureContext.h"
#include "support/Near.h"
#include "support/PixelBuffer.h"

#include <QuorOsgUtils/ClipBoxControl.h>

#include <osg/Geometry>
#include <osg/LineWidth>
#include <osg/Program>
#include <osg/Shader>
#include <osg/observer_ptr>
#include <osgViewer/Viewer>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <functional>
#include <memory>
#include <random>
#include <set>
#include <thread>
#include <utility>
#include <vector>

namespace QuorTests {
namespace {

using QuorOsgUtils::ClipBoxChange;
using QuorOsgUtils::ClipBoxControl;
using QuorOsgUtils::ClipBoxState;
using Event = osgGA::GUIEventAdapter;

constexpr int kWidth = 640;
constexpr int kHeight = 480;
const osg::BoundingBoxd kBox(-4.0, -3.0, -2.0, 4.0, 3.0, 2.0);
const ClipBoxControl::CutterType kModes[] = {ClipBoxControl::CUTTER_ROTATE, ClipBoxControl::CUTTER_TRANSLATE,
                                             ClipBoxControl::CUTTER_SCALE};

// Writes all attachments, like an application's cloud.
constexpr const char* kVertexShader = R"(#version 330 compatibility
void main() {
  gl_ClipVertex = gl_ModelViewMatrix * gl_Vertex;
  gl_Position = gl_ModelViewProjectionMatrix * gl_Vertex;
}
)";
constexpr const char* kFragmentShader = R"(#version 330 compatibility
layout(location = 0) out vec4 colour;
layout(location = 1) out uvec4 item;
layout(location = 2) out vec4 itemFloat;
layout(location = 3) out vec4 pointFloat;
layout(location = 4) out ivec4 point;
void main() {
  colour = vec4(0.0, 0.0, 1.0, 1.0);
  item = uvec4(7u);
  itemFloat = vec4(2.0);
  pointFloat = vec4(3.0);
  point = ivec4(9);
}
)";

/// A plane of the cloud behind the box, across the whole view.
osg::ref_ptr<osg::Node> createCloud() {
  constexpr float kFar = 30.0f;
  const osg::ref_ptr<osg::Geometry> quad = new osg::Geometry;
  const osg::ref_ptr<osg::Vec3Array> corners = new osg::Vec3Array;
  for (const osg::Vec2f& at :
       {osg::Vec2f(-kFar, -kFar), osg::Vec2f(kFar, -kFar), osg::Vec2f(kFar, kFar), osg::Vec2f(-kFar, kFar)}) {
    corners->push_back({at.x(), 5.0f, at.y()});
  }
  quad->setVertexArray(corners);
  quad->addPrimitiveSet(new osg::DrawArrays(GL_QUADS, 0, 4));
  const osg::ref_ptr<osg::Program> program = new osg::Program;
  program->addShader(new osg::Shader(osg::Shader::VERTEX, kVertexShader));
  program->addShader(new osg::Shader(osg::Shader::FRAGMENT, kFragmentShader));
  quad->getOrCreateStateSet()->setAttribute(program);
  return quad;
}

osg::Quat degreesAbout(double degrees, const osg::Vec3d& axis) {
  return {osg::DegreesToRadians(degrees), axis};
}

/// A control in a captured frame, seen along +Y and a little from the side and above.
class ClipBoxControlGLTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(_context.valid()) << "no off-screen context; is there a display?";
    _context.setBackground({});
    osg::Camera& camera = _context.camera();
    camera.setComputeNearFarMode(osg::CullSettings::DO_NOT_COMPUTE_NEAR_FAR);
    camera.setProjectionMatrixAsPerspective(40.0, double(kWidth) / kHeight, 1.0, 100.0);
    lookFrom({-8.0, -24.0, 9.0});
    _context.scene().addChild(_clip);
    _context.scene().addChild(_control);
    _control->setListener({[this](const ClipBoxChange& change) { _began.push_back(change); },
                           [this](const ClipBoxChange& change) { _changed.push_back(change); },
                           [this](const ClipBoxChange& change) { _ended.push_back(change); }});
    _context.draw();
  }

  void lookFrom(const osg::Vec3d& eye) { _context.camera().setViewMatrixAsLookAt(eye, {}, {0.0, 0.0, 1.0}); }

  osg::Vec2d windowOf(const osg::Vec3d& world) {
    const osg::Vec3d clip = world * _context.camera().getViewMatrix() * _context.camera().getProjectionMatrix();
    return {(clip.x() + 1.0) * 0.5 * kWidth, (clip.y() + 1.0) * 0.5 * kHeight};
  }

  osg::ref_ptr<Event> eventAt(Event::EventType type, int buttonMask, const osg::Vec3d& world, int key = 0) {
    const osg::Vec2d at = windowOf(world);
    const osg::ref_ptr<Event> event = new Event;
    event->setEventType(type);
    event->setButton(type == Event::DRAG || type == Event::MOVE ? 0 : Event::LEFT_MOUSE_BUTTON);
    event->setButtonMask(buttonMask);
    event->setKey(key);
    event->setInputRange(0.0f, 0.0f, kWidth, kHeight);
    event->setMouseYOrientation(Event::Y_INCREASING_UPWARDS);
    event->setX(static_cast<float>(at.x()));
    event->setY(static_cast<float>(at.y()));
    event->addPointerData(
        new osgGA::PointerData(&_context.camera(), event->getX(), 0.0f, kWidth, event->getY(), 0.0f, kHeight));
    return event;
  }
  bool send(Event::EventType type, int buttonMask, const osg::Vec3d& world, int key = 0) {
    return _control->handle(*eventAt(type, buttonMask, world, key), _context.viewer());
  }
  bool press(const osg::Vec3d& world) {
    _context.draw();
    return send(Event::PUSH, Event::LEFT_MOUSE_BUTTON, world);
  }
  bool drag(const osg::Vec3d& world) { return send(Event::DRAG, Event::LEFT_MOUSE_BUTTON, world); }
  bool release(const osg::Vec3d& world) { return send(Event::RELEASE, 0, world); }
  bool escape() { return send(Event::KEYDOWN, 0, {}, Event::KEY_Escape); }

  ClipBoxControl::DragPath pathIn(ClipBoxControl::CutterType mode) {
    _control->showHandles(mode, 7);
    _context.draw();
    osg::Vec3d eye, centre, up;
    _context.camera().getViewMatrix().getLookAt(eye, centre, up);
    return mode == ClipBoxControl::CUTTER_SCALE       ? _control->pathOfFace(1, -0.3)
           : mode == ClipBoxControl::CUTTER_TRANSLATE ? _control->pathOfAxis(0, 0.3)
                                                      : _control->pathOfRing(2, 35.0, eye);
  }

  /// The colours of the frame, and the errors of GL, after everything has been drawn.
  struct Picture {
    std::vector<osg::Vec4f> colours;
    std::set<GLenum> errors;
  };
  Picture draw() {
    Picture picture;
    picture.colours.resize(kWidth * kHeight);
    _context.setPainter([&] {
      glReadBuffer(GL_COLOR_ATTACHMENT0_EXT);
      glPixelStorei(GL_PACK_ALIGNMENT, 1);
      for (GLenum error = glGetError(); error != GL_NO_ERROR; error = glGetError()) {
        picture.errors.insert(error);
      }
      glReadPixels(0, 0, kWidth, kHeight, GL_RGBA, GL_FLOAT, picture.colours.data());
    });
    _context.draw();
    _context.setPainter({});
    return picture;
  }
  static int countOf(const Picture& picture, bool (*is)(const osg::Vec4f&)) {
    return static_cast<int>(std::count_if(picture.colours.begin(), picture.colours.end(), is));
  }

  CaptureContext _context{kWidth, kHeight};
  osg::ref_ptr<osg::ClipNode> _clip = new osg::ClipNode;
  osg::ref_ptr<ClipBoxControl> _control = new ClipBoxControl(kBox, _clip);
  std::vector<ClipBoxChange> _began, _changed, _ended;
};

bool isReddish(const osg::Vec4f& c) {
  return c.r() > 0.25f && c.r() > 1.35f * std::max(c.g(), c.b());
}
bool isGreenish(const osg::Vec4f& c) {
  return c.g() > 0.25f && c.g() > 1.35f * std::max(c.r(), c.b());
}
bool isPureBlue(const osg::Vec4f& c) {
  return c.b() > 0.99f && c.r() < 0.01f && c.g() < 0.01f;
}

}  // namespace

TEST_F(ClipBoxControlGLTest, theHandlesOfEachModeAreVisibleInACapturedFrameWithoutGLErrors) {
  draw();
  for (const ClipBoxControl::CutterType mode : kModes) {
    SCOPED_TRACE(mode);
    _control->showHandles(mode, 7);
    draw();
    const Picture picture = draw();
    EXPECT_TRUE(picture.errors.empty());
    EXPECT_GT(countOf(picture, isReddish), 100);
    EXPECT_GT(countOf(picture, isGreenish), 100);
    for (const float depth : _context.frame().getDepthBuffer()) {
      ASSERT_EQ(depth, 1.0f);
    }
  }
  _control->setVisible(false);
  const Picture hidden = draw();
  EXPECT_EQ(countOf(hidden, isReddish) + countOf(hidden, isGreenish), 0);
}

TEST_F(ClipBoxControlGLTest, handlesLeaveTheAttachmentsOfTheCloudUntouchedAndSoDoTheFramesAfterThem) {
  _control->uncut();
  _clip->addChild(createCloud());
  for (const ClipBoxControl::CutterType mode : kModes) {
    SCOPED_TRACE(mode);
    _control->showHandles(mode, 7);
    for (int frame = 0; frame < 3; ++frame) {
      const Picture picture = draw();
      EXPECT_TRUE(picture.errors.empty());
      EXPECT_GT(countOf(picture, isPureBlue), 1000);
      EXPECT_GT(countOf(picture, isReddish), 50);
      std::size_t wrong = 0;
      for (std::size_t pixel = 0; pixel < kWidth * kHeight; ++pixel) {
        wrong += _context.frame().getItemIDBuffer()[4 * pixel] != 7U ? 1 : 0;
        wrong += _context.frame().getDepthBuffer()[pixel] == 1.0f ? 1 : 0;
      }
      EXPECT_EQ(wrong, 0U);
    }
  }
}

TEST_F(ClipBoxControlGLTest, settingTheStateThatWasReadChangesNothingWhateverTheRotation) {
  std::mt19937 random(3);
  std::uniform_real_distribution<double> unit(-1.0, 1.0);
  for (int i = 0; i < 500; ++i) {
    const osg::Vec3d centre = osg::Vec3d(unit(random), unit(random), unit(random)) * 2e7;
    const osg::Vec3d half(std::exp(4.0 * unit(random)) + 0.1, 1.0 / 3.0, std::exp(4.0 * unit(random)) + 0.1);
    ClipBoxState state{osg::BoundingBoxd(centre - half, centre + half),
                       osg::Quat(unit(random), unit(random), unit(random), unit(random)),
                       i % 2 == 0,
                       i % 3 != 0,
                       kModes[i % 3],
                       i % 8};
    ASSERT_TRUE(_control->setState(state));
    ASSERT_EQ(_control->state(), state);
    const std::vector<osg::Plane> planes = _control->planes();
    const osg::Matrixd matrix = _control->getMatrix();
    ASSERT_TRUE(_control->setState(_control->state()));
    ASSERT_EQ(_control->state(), state);
    ASSERT_EQ(_control->getMatrix(), matrix);
    ASSERT_EQ(_control->planes(), planes);
    ASSERT_EQ(_clip->getNumClipPlanes(), state.cuts ? 6U : 0U);
  }
}

TEST_F(ClipBoxControlGLTest, theBoxIsExactAndItsPlanesAreThoseOfItsCornersInDoublePrecision) {
  const osg::BoundingBoxd box(432100.1, 5123400.7, 12.345, 432100.1 + 1.0 / 3.0, 5128400.7, 13.456789012345);
  const osg::Quat rotation = degreesAbout(33.0, {0.2, 0.5, 0.8});
  ASSERT_TRUE(_control->setBox(box, rotation));
  EXPECT_EQ(_control->box()._min, box._min);
  EXPECT_EQ(_control->box()._max, box._max);
  EXPECT_EQ(_control->rotation(), rotation);
  const osg::Vec3d centre = (box._min + box._max) * 0.5;
  const std::vector<osg::Plane> planes = _control->planes();
  ASSERT_EQ(planes.size(), 6U);
  for (unsigned int corner = 0; corner < 8; ++corner) {
    const osg::Vec3d at = centre + rotation * (osg::Vec3d(box.corner(corner)) - centre);
    int touched = 0;
    for (const osg::Plane& plane : planes) {
      EXPECT_GT(plane.distance(at), -1e-8);
      touched += std::abs(plane.distance(at)) < 1e-8 ? 1 : 0;
    }
    EXPECT_EQ(touched, 3);
  }
  const std::vector<osg::Plane> rounded = _control->getCurrentClipPlanes();
  for (std::size_t i = 0; i < planes.size(); ++i) {
    EXPECT_NEAR(rounded[i].asVec4() * planes[i].asVec4() / (rounded[i].asVec4().length() * planes[i].asVec4().length()),
                1.0, 1e-6)
        << "another order than the base's";
    EXPECT_EQ(osg::Plane(_clip->getClipPlane(static_cast<unsigned int>(i))->getClipPlane()), planes[i]);
  }
}

TEST_F(ClipBoxControlGLTest, boxesThatCannotBeAreRefused) {
  const ClipBoxState before = _control->state();
  EXPECT_FALSE(_control->setBox({0.0, 0.0, 0.0, 1.0, 1.0, 0.0009}));
  EXPECT_FALSE(_control->setBox({0.0, 0.0, 0.0, -1.0, 1.0, 1.0}));
  EXPECT_FALSE(_control->setBox({0.0, 0.0, 0.0, 1.0, std::nan(""), 1.0}));
  EXPECT_FALSE(_control->setBox({0.0, 0.0, 0.0, 1.0, INFINITY, 1.0}));
  EXPECT_FALSE(_control->setBox(kBox, osg::Quat(0.0, 0.0, 0.0, 0.0)));
  EXPECT_FALSE(_control->setBox(kBox, osg::Quat(0.0, 0.0, 0.0, 1e-160)));
  EXPECT_FALSE(_control->setBox({0.0, 0.0, 0.0, 1e6, 1.0, 0.9}));
  EXPECT_EQ(_control->state(), before);
  EXPECT_TRUE(_control->setBox({0.0, 0.0, 0.0, 1e6, 1.0, 1.0}));
  EXPECT_EQ(ClipBoxControl::leastExtent(0.0), 0.001);
  EXPECT_EQ(ClipBoxControl::leastExtent(999.0), 0.001);
  EXPECT_DOUBLE_EQ(ClipBoxControl::leastExtent(5000.0), 0.005);
}

TEST_F(ClipBoxControlGLTest, aBoxThatDoesNotCutHasNoPlanesAlsoDuringADrag) {
  EXPECT_EQ(_clip->getNumClipPlanes(), 6U);
  _control->uncut();
  EXPECT_EQ(_clip->getNumClipPlanes(), 0U);
  for (const ClipBoxControl::CutterType mode : kModes) {
    const ClipBoxControl::DragPath path = pathIn(mode);
    ASSERT_TRUE(press(path.from));
    ASSERT_TRUE(drag(path.to));
    EXPECT_EQ(_clip->getNumClipPlanes(), 0U);
    ASSERT_TRUE(release(path.to));
    EXPECT_EQ(_clip->getNumClipPlanes(), 0U);
  }
  _control->cut();
  EXPECT_EQ(_clip->getNumClipPlanes(), 6U);
}

TEST_F(ClipBoxControlGLTest, aFaceFollowsThePointerAndTheOthersKeepTheirExactPlace) {
  const osg::BoundingBoxd exact(-4.1, -3.1, -2.1, 4.1, 3.1, 2.1);
  _control->setBox(exact);
  const ClipBoxControl::DragPath path = pathIn(ClipBoxControl::CUTTER_SCALE);
  ASSERT_TRUE(press(path.from));
  ASSERT_TRUE(drag(path.to));
  ASSERT_TRUE(release(path.to));
  const osg::BoundingBoxd dragged = _control->box();
  EXPECT_NEAR(dragged.xMax(), exact.xMax() + 0.3 * 8.2, 0.02);
  EXPECT_NEAR(dragged.xMin(), exact.xMin(), 1e-14);
  EXPECT_NEAR(dragged.yMin(), exact.yMin(), 1e-14);
  EXPECT_NEAR(dragged.zMax(), exact.zMax(), 1e-14);
}

TEST_F(ClipBoxControlGLTest, theListenerGetsTheStateBeforeAndAfter) {
  for (const ClipBoxControl::CutterType mode : kModes) {
    SCOPED_TRACE(mode);
    _began.clear();
    _changed.clear();
    _ended.clear();
    const ClipBoxControl::DragPath path = pathIn(mode);
    const ClipBoxState before = _control->state();
    ASSERT_TRUE(press(path.from));
    ASSERT_EQ(_began.size(), 1U);
    EXPECT_EQ(_began[0].before, before);
    EXPECT_EQ(_began[0].after, before);
    EXPECT_TRUE(_control->isDragged());
    ASSERT_TRUE(drag((path.from + path.to) * 0.5));
    ASSERT_TRUE(drag(path.to));
    ASSERT_TRUE(drag(path.to));
    ASSERT_EQ(_changed.size(), 2U) << "a step that changes nothing is not told";
    EXPECT_EQ(_changed[1].before, before);
    EXPECT_NE(_changed[0].after, before);
    EXPECT_NE(_changed[1].after, _changed[0].after);
    ASSERT_TRUE(release(path.to));
    ASSERT_EQ(_ended.size(), 1U);
    EXPECT_EQ(_ended[0].before, before);
    EXPECT_EQ(_ended[0].after, _control->state());
    EXPECT_FALSE(_ended[0].isCancelled);
    EXPECT_FALSE(_control->isDragged());
    EXPECT_TRUE(_control->setState(_ended[0].before)) << "undo";
    EXPECT_EQ(_control->state(), before);
  }
}

TEST_F(ClipBoxControlGLTest, escapeRestoresTheBoxAndTheRestOfTheDragIsIgnored) {
  _control->setBox(kBox, degreesAbout(20.0, {0.1, 0.2, 1.0}));
  for (const ClipBoxControl::CutterType mode : kModes) {
    SCOPED_TRACE(mode);
    _ended.clear();
    const ClipBoxControl::DragPath path = pathIn(mode);
    const ClipBoxState before = _control->state();
    EXPECT_FALSE(escape()) << "nothing to cancel";
    ASSERT_TRUE(press(path.from));
    ASSERT_TRUE(drag(path.to));
    ASSERT_NE(_control->state(), before);
    EXPECT_TRUE(escape());
    EXPECT_EQ(_control->state(), before);
    ASSERT_EQ(_ended.size(), 1U);
    EXPECT_TRUE(_ended[0].isCancelled);
    EXPECT_EQ(_ended[0].after, before);
    EXPECT_TRUE(drag(path.from)) << "a camera manipulator would turn the view";
    EXPECT_FALSE(send(Event::MOVE, 0, path.from));
    EXPECT_TRUE(release(path.from));
    EXPECT_EQ(_control->state(), before);
    EXPECT_FALSE(release(path.from));
    EXPECT_FALSE(drag(path.from));
    EXPECT_EQ(_ended.size(), 1U);
  }
  _control->setEscapeCancels(false);
  const ClipBoxControl::DragPath path = pathIn(ClipBoxControl::CUTTER_SCALE);
  ASSERT_TRUE(press(path.from));
  EXPECT_FALSE(escape());
  EXPECT_TRUE(_control->cancelDrag());
}

TEST_F(ClipBoxControlGLTest, aPressEndsWhatACancelledDragLeftWhoseReleaseWasNotSent) {
  const ClipBoxControl::DragPath path = pathIn(ClipBoxControl::CUTTER_SCALE);
  const osg::Vec3d background(0.0, 0.0, 8.0);
  ASSERT_TRUE(press(path.from));
  ASSERT_TRUE(escape());
  EXPECT_FALSE(press(background));
  EXPECT_FALSE(drag(path.to));
  ASSERT_TRUE(press(path.from));
  ASSERT_TRUE(escape());
  EXPECT_FALSE(send(Event::DRAG, Event::RIGHT_MOUSE_BUTTON, path.to));
  EXPECT_FALSE(drag(path.to));
}

TEST_F(ClipBoxControlGLTest, theListenerMayChangeTheControlWhenADragEnds) {
  int ends = 0;
  bool wasDragged = true;
  const ClipBoxControl::DragPath path = pathIn(ClipBoxControl::CUTTER_SCALE);
  const auto dragWith = [&](const std::function<void()>& change) {
    ends = 0;
    ASSERT_TRUE(_control->setBox(kBox));
    _control->setListener({{}, {}, [&](const ClipBoxChange& made) {
                             ++ends;
                             wasDragged = _control->isDragged();
                             EXPECT_FALSE(made.isCancelled);
                             change();
                           }});
    ASSERT_TRUE(press(path.from));
    ASSERT_TRUE(drag(path.to));
    ASSERT_TRUE(release(path.to));
    EXPECT_EQ(ends, 1);
    EXPECT_FALSE(wasDragged);
  };
  dragWith([&] { _control->showHandles(ClipBoxControl::CUTTER_SCALE, 7); });
  EXPECT_NEAR(_control->box().xMax(), kBox.xMax() + 0.3 * 8.0, 0.02);
  dragWith([&] { _control->setVisible(false); });
  EXPECT_NEAR(_control->box().xMax(), kBox.xMax() + 0.3 * 8.0, 0.02);
  _control->setVisible(true);
  dragWith([&] {
    osg::BoundingBoxd rounded = _control->box();
    rounded._max.x() = std::round(rounded._max.x());
    EXPECT_TRUE(_control->setBox(rounded));
  });
  EXPECT_EQ(_control->box().xMax(), std::round(kBox.xMax() + 0.3 * 8.0));
}

TEST_F(ClipBoxControlGLTest, theListenerMayRefuseAPress) {
  const ClipBoxControl::DragPath path = pathIn(ClipBoxControl::CUTTER_SCALE);
  const ClipBoxState before = _control->state();
  int ends = 0;
  _control->setListener({[&](const ClipBoxChange&) { EXPECT_TRUE(_control->cancelDrag()); },
                         {},
                         [&](const ClipBoxChange& made) { ends += made.isCancelled ? 1 : 0; }});
  EXPECT_TRUE(press(path.from)) << "a camera manipulator would turn the view";
  EXPECT_FALSE(_control->isDragged());
  EXPECT_TRUE(drag(path.to));
  EXPECT_TRUE(release(path.to));
  EXPECT_EQ(ends, 1);
  EXPECT_EQ(_control->state(), before);
}

TEST_F(ClipBoxControlGLTest, aListenerThatIsReplacedLivesUntilItReturns) {
  const ClipBoxControl::DragPath path = pathIn(ClipBoxControl::CUTTER_SCALE);
  auto captured = std::make_shared<int>(1);
  const std::weak_ptr<int> observed = captured;
  bool lived = false;
  _control->setListener({[this, &observed, &lived, held = std::move(captured)](const ClipBoxChange&) {
                           const std::weak_ptr<int>& seen = observed;
                           bool& result = lived;
                           _control->setListener({});
                           result = !seen.expired();
                         },
                         {},
                         {}});
  ASSERT_TRUE(press(path.from));
  EXPECT_TRUE(lived);
  _control->cancelDrag();
}

TEST_F(ClipBoxControlGLTest, aControlThatTheListenerReleasesLivesUntilTheEventIsHandled) {
  const ClipBoxControl::DragPath path = pathIn(ClipBoxControl::CUTTER_SCALE);
  const osg::observer_ptr<ClipBoxControl> observed = _control.get();
  bool lived = false;
  _control->setListener({{}, {}, [&](const ClipBoxChange&) {
                           _context.scene().removeChild(_control);
                           _control = nullptr;
                           lived = observed.valid();
                         }});
  ASSERT_TRUE(press(path.from));
  EXPECT_TRUE(release(path.from));
  EXPECT_TRUE(lived);
  EXPECT_FALSE(observed.valid());
}

TEST_F(ClipBoxControlGLTest, aDragBelowHalfAStepLeavesTheStateExactlyAsItWas) {
  _control->setSnap({10.0, 10.0, 50.0});
  osg::Vec3d eye, centre, up;
  _context.camera().getViewMatrix().getLookAt(eye, centre, up);
  for (const ClipBoxControl::CutterType mode : kModes) {
    SCOPED_TRACE(mode);
    _control->showHandles(mode, 7);
    int drags = 0;
    for (int i = 1; i <= 40; ++i) {
      ASSERT_TRUE(_control->setBox(kBox, degreesAbout(7.3 * i, {0.2, 0.5, 0.8})));
      _context.draw();
      const ClipBoxState before = _control->state();
      const ClipBoxControl::DragPath path = mode == ClipBoxControl::CUTTER_SCALE ? _control->pathOfFace(1, 0.01)
                                            : mode == ClipBoxControl::CUTTER_TRANSLATE
                                                ? _control->pathOfAxis(0, 0.01)
                                                : _control->pathOfRing(2, 3.0, eye);
      if (press(path.from)) {
        ASSERT_TRUE(drag(path.to));
        EXPECT_EQ(_control->state(), before);
        ASSERT_TRUE(release(path.to));
        EXPECT_EQ(_control->state(), before);
        ++drags;
      }
    }
    EXPECT_GT(drags, 10);
  }
  EXPECT_TRUE(_changed.empty());
}

TEST_F(ClipBoxControlGLTest, turnsSnapInBothDirectionsAlsoIfTheStepDoesNotDivideTheCircle) {
  constexpr double kStep = 50.0;
  _control->showHandles(ClipBoxControl::CUTTER_ROTATE, 7);
  osg::Vec3d eye, centre, up;
  _context.camera().getViewMatrix().getLookAt(eye, centre, up);
  const auto turned = [&](double start, double drawn, double snap) {
    const osg::Quat from = degreesAbout(start, {0.0, 0.0, 1.0});
    _control->setSnap({0.0, 0.0, snap});
    EXPECT_TRUE(_control->setBox(kBox, from));
    _context.draw();
    const ClipBoxControl::DragPath path = _control->pathOfRing(2, drawn, eye);
    EXPECT_TRUE(press(path.from));
    EXPECT_TRUE(drag(path.to));
    EXPECT_TRUE(release(path.to));
    const osg::Quat turn = _control->rotation() * from.inverse();
    return std::remainder(2.0 * osg::RadiansToDegrees(std::atan2(turn.z(), turn.w())), 360.0);
  };
  for (const double start : {30.0, -80.0, -75.0, 95.0, 170.0}) {
    for (const double drawn : {10.0, 60.0, -20.0, -60.0}) {
      SCOPED_TRACE(testing::Message() << start << " and " << drawn);
      const double free = turned(start, drawn, 0.0);
      EXPECT_GT(free * drawn, 0.0);
      EXPECT_NEAR(turned(start, drawn, kStep), kStep * std::round(free / kStep), 1e-6);
    }
  }
}

TEST_F(ClipBoxControlGLTest, whatIsDrawnNeverGetsNewStateLater) {
  const auto sizes = [this] {
    struct Count : osg::NodeVisitor {
      Count() : osg::NodeVisitor(TRAVERSE_ALL_CHILDREN) { setNodeMaskOverride(~0U); }
      void apply(osg::Node& node) override {
        if (const osg::StateSet* const state = node.getStateSet()) {
          entries.push_back(state->getUniformList().size() + state->getAttributeList().size());
        }
        traverse(node);
      }
      std::vector<std::size_t> entries;
    } count;
    _control->accept(count);
    return count.entries;
  };
  const std::vector<std::size_t> before = sizes();
  for (const ClipBoxControl::CutterType mode : kModes) {
    SCOPED_TRACE(mode);
    const ClipBoxControl::DragPath path = pathIn(mode);
    const osg::ref_ptr<Event> move = eventAt(Event::MOVE, 0, path.from);
    EXPECT_TRUE(_control->highlightUnderPointer(*move, _context.viewer()));
    ASSERT_TRUE(press(path.from));
    ASSERT_TRUE(drag(path.to));
    ASSERT_TRUE(release(path.to));
    EXPECT_EQ(sizes(), before);
  }
}

TEST_F(ClipBoxControlGLTest, dragsSnapAlongTheAxesOfARotatedBox) {
  const osg::Quat start = degreesAbout(30.0, {0.0, 0.0, 1.0});
  _control->setSnap({0.25, 0.5, 15.0});
  for (const ClipBoxControl::CutterType mode : kModes) {
    SCOPED_TRACE(mode);
    ASSERT_TRUE(_control->setBox(kBox, start));
    const ClipBoxControl::DragPath path = pathIn(mode);
    ASSERT_TRUE(press(path.from));
    for (int step = 1; step <= 7; ++step) {
      ASSERT_TRUE(drag(path.from + (path.to - path.from) * (step / 7.0)));
    }
    ASSERT_TRUE(release(path.to));
    const osg::BoundingBoxd box = _control->box();
    const osg::Vec3d size = box._max - box._min;
    const osg::Vec3d way = start.inverse() * ((box._min + box._max) * 0.5);
    if (mode == ClipBoxControl::CUTTER_SCALE) {  // 0.3 of 8 is 2.4: the nearest step is 2.5
      expectNear(size, {10.5, 6.0, 4.0}, 1e-9);
      expectNear(way, {1.25, 0.0, 0.0}, 1e-9);
    } else if (mode == ClipBoxControl::CUTTER_TRANSLATE) {  // 2.4: 2.5
      expectNear(size, {8.0, 6.0, 4.0}, 1e-9);
      expectNear(way, {2.5, 0.0, 0.0}, 1e-9);
    } else {  // 35 degrees: 30
      double radians = 0.0;
      osg::Vec3d axis;
      (_control->rotation() * start.inverse()).getRotate(radians, axis);
      EXPECT_NEAR(osg::RadiansToDegrees(radians) * axis.z(), 30.0, 1e-6);
      expectNear(way, {}, 1e-9);
    }
  }
}

TEST_F(ClipBoxControlGLTest, aThinBoxFarAwayKeepsItsThicknessWhenItIsDragged) {
  const osg::Vec3d middle(432100.0, 5123400.0, 10.0);
  _context.camera().setViewMatrixAsLookAt(middle + osg::Vec3d(-8.0, -24.0, 9.0), middle, {0.0, 0.0, 1.0});
  _control->setBox({middle - osg::Vec3d(4.0, 3.0, 0.025), middle + osg::Vec3d(4.0, 3.0, 0.025)});
  const ClipBoxControl::DragPath path = pathIn(ClipBoxControl::CUTTER_TRANSLATE);
  ASSERT_TRUE(press(path.from));
  ASSERT_TRUE(drag(path.to));
  ASSERT_TRUE(release(path.to));
  const osg::BoundingBoxd box = _control->box();
  EXPECT_NEAR(box.zMax() - box.zMin(), 0.05, 1e-8);
  EXPECT_NEAR((box.xMin() + box.xMax()) * 0.5, middle.x() + 2.4, 0.05);
}

TEST_F(ClipBoxControlGLTest, aBoxThatIsShownAgainHasTheNodeMaskOfTheApplication) {
  constexpr osg::Node::NodeMask kMask = 0x4;
  _control->setNodeMask(kMask);
  for (int time = 0; time < 2; ++time) {
    _control->setVisible(false);
    _control->setVisible(false);
    EXPECT_EQ(_control->getNodeMask(), 0U);
    _control->setVisible(true);
    EXPECT_EQ(_control->getNodeMask(), kMask);
  }
}

TEST_F(ClipBoxControlGLTest, aHiddenBoxStillCutsAndIgnoresPresses) {
  const ClipBoxControl::DragPath path = pathIn(ClipBoxControl::CUTTER_SCALE);
  _control->setVisible(false);
  EXPECT_FALSE(_control->isVisible());
  EXPECT_EQ(_clip->getNumClipPlanes(), 6U);
  EXPECT_FALSE(press(path.from));
  _control->setVisible(true);
  EXPECT_TRUE(press(path.from));
  _control->setVisible(false);
  EXPECT_FALSE(_control->isDragged());
  ASSERT_EQ(_ended.size(), 1U);
  EXPECT_TRUE(_ended[0].isCancelled);
}

namespace {

struct SlowDrawable : osg::Drawable::DrawCallback {
  void drawImplementation(osg::RenderInfo& info, const osg::Drawable* drawable) const override {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    drawable->drawImplementation(info);
    ++count;
  }
  mutable std::atomic<int> count{0};
};

}  // namespace

TEST(ClipBoxControlThreadsGLTest, theFrameReturnsWhenAllThatIsCutHasBeenDrawn) {
  for (const auto model :
       {osgViewer::ViewerBase::DrawThreadPerContext, osgViewer::ViewerBase::CullThreadPerCameraDrawThreadPerContext}) {
    SCOPED_TRACE(model);
    const osg::ref_ptr<osg::GraphicsContext> context = pixelBuffer();
    ASSERT_TRUE(context) << "no off-screen context; is there a display?";
    const osg::ref_ptr<SlowDrawable> slow = new SlowDrawable;
    const osg::ref_ptr<osg::Node> cloud = createCloud();
    cloud->asGeometry()->setUseDisplayList(false);
    cloud->asGeometry()->setUseVertexBufferObjects(true);
    cloud->asGeometry()->setDrawCallback(slow);
    cloud->setCullingActive(false);
    const osg::ref_ptr<osg::ClipNode> clip = new osg::ClipNode;
    clip->addChild(cloud);
    const osg::ref_ptr<ClipBoxControl> control = new ClipBoxControl(kBox, clip);
    const osg::ref_ptr<osg::Group> scene = new osg::Group;
    scene->addChild(clip);
    scene->addChild(control);
    osgViewer::Viewer viewer;
    viewer.setThreadingModel(model);
    viewer.getCamera()->setGraphicsContext(context);
    viewer.getCamera()->setViewport(0, 0, 16, 16);
    viewer.setSceneData(scene);
    viewer.realize();
    for (int frame = 1; frame <= 10; ++frame) {
      control->setVisible(frame % 3 != 0);
      viewer.frame();
      EXPECT_EQ(slow->count, frame);
      if (frame % 2 == 0) {
        control->cut();
      } else {
        control->uncut();
      }
    }
    viewer.stopThreading();
  }
}

}  // namespace QuorTests
