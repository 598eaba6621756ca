#include "tests/viewer/SceneFixture.h"
#include "viewer/clip/ClipPose.h"
#include "viewer/ui/PointerHandler.h"

#include <osgUtil/IntersectionVisitor>
#include <osgUtil/PolytopeIntersector>
#include <osgViewer/GraphicsWindow>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>

namespace {

using namespace QuorTests;
using namespace QuorViewer;

// Keeps the first four of the eight columns.
const osg::BoundingBoxd kHalf(-5.0, -5.0, -5.0, 35.0, 55.0, 20.0);

bool isInHalf(int point) {
  return placeOf(point).x() < 35.0f;
}

// In pixels, as the library documents them; an auto-scaled transform draws them 4 percent larger.
constexpr double kConeRadius = 10.0;
constexpr double kConeAboveCentre = 13.5;
constexpr double kConeBelowCentre = 4.5;
constexpr double kShaftLength = 150.0;
constexpr double kRingRadius = 1.075;  // in half diagonals of the box
constexpr double kSizeTolerance = 3.0;

constexpr double kHudHeight = 80.0;
const osg::Vec3d kAxes[] = {{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}};

struct Extent {
  double left = std::numeric_limits<double>::max(), right = std::numeric_limits<double>::lowest();
  double bottom = left, top = right;

  void include(const osg::Vec2d& place) {
    left = std::min(left, place.x());
    right = std::max(right, place.x());
    bottom = std::min(bottom, place.y());
    top = std::max(top, place.y());
  }
};

void expectNear(const Extent& found, const Extent& expected, double tolerance) {
  EXPECT_NEAR(found.left, expected.left, tolerance);
  EXPECT_NEAR(found.right, expected.right, tolerance);
  EXPECT_NEAR(found.bottom, expected.bottom, tolerance);
  EXPECT_NEAR(found.top, expected.top, tolerance);
}

double distanceToSegment(const osg::Vec2d& place, const osg::Vec2d& from, const osg::Vec2d& to) {
  const osg::Vec2d way = to - from;
  const double share = std::clamp(((place - from) * way) / way.length2(), 0.0, 1.0);
  return (place - from - way * share).length();
}

// Red, green or blue enough for a handle of that axis, lit or unlit.
bool isColourOf(int axis, const osg::Vec4& colour) {
  constexpr float kDarkest = 0.30f;
  constexpr float kDominance = 1.35f;
  const float channels[] = {colour.r(), colour.g(), colour.b()};
  const float others = std::max(channels[(axis + 1) % 3], channels[(axis + 2) % 3]);
  return channels[axis] > kDarkest && channels[axis] > kDominance * others;
}

class ClipBoxGLTest : public SceneFixture {
 protected:
  ClipBox& box() { return _scene->clip; }
  // In scene coordinates, of a box that is not rotated.
  osg::Vec3d highCorner() { return box().control().box()._max; }
  double rightFace() { return highCorner().x(); }

  // Whether the outline of the box crosses a point in the window or passes close to it.
  bool isByOutline(const osg::BoundingBoxd& outlined, int point) {
    constexpr double kMargin = 3.0;
    for (unsigned int corner = 0; corner < 8; ++corner) {
      for (const unsigned int axis : {1U, 2U, 4U}) {
        const osg::Vec2d from = windowPlaceOf(outlined.corner(corner));
        const osg::Vec2d to = windowPlaceOf(outlined.corner(corner ^ axis));
        if (distanceToSegment(windowPlaceOf(placeOf(point)), from, to) < kMargin) {
          return true;
        }
      }
    }
    return false;
  }

  // Everything that has depth must be a point of the cloud.
  void expectOnlyPointsHaveDepth() {
    const std::vector<float>& depths = frame().depths;
    const std::vector<unsigned int>& identifiers = frame().itemIDs;
    std::size_t wrong = 0;
    for (std::size_t pixel = 0; pixel < depths.size(); ++pixel) {
      wrong += (depths[pixel] < 1.0f) != (identifiers[pixel * 4] != 0) ? 1 : 0;
    }
    EXPECT_EQ(wrong, 0U);
  }

  void zoom(double factor) {
    double left = 0.0, right = 0.0, bottom = 0.0, top = 0.0, nearby = 0.0, distant = 0.0;
    osg::Camera& camera = *_viewer->getCamera();
    if (camera.getProjectionMatrixAsOrtho(left, right, bottom, top, nearby, distant)) {
      camera.setProjectionMatrixAsOrtho(left * factor, right * factor, bottom * factor, top * factor, nearby, distant);
    } else {
      _navigator->manipulator().setDistance(_navigator->manipulator().getDistance() * factor);
    }
    draw();
  }

  // Runs a check far and near, in both projections.
  template <typename Check>
  void inEveryView(Check check) {
    for (int projection = 0; projection < 2; ++projection) {
      for (const double factor : {1.6, 0.7}) {
        SCOPED_TRACE(testing::Message() << (_view->isOrthographic() ? "orthographic" : "perspective") << ", "
                                        << factor);
        _view->home();
        zoom(factor);
        check();
      }
      _view->toggleProjection();
      draw();
    }
  }

  // World units per pixel across the view, at the depth of a position.
  double worldPerPixel(const osg::Vec3d& place) {
    const osg::Matrixd& projection = frame().projectionMatrix;
    const double depth = -(place * frame().viewMatrix).z();
    const double w = projection(2, 3) * -depth + projection(3, 3);
    return 2.0 * w / (projection(1, 1) * height());
  }

  // The area that a cone of the library's size, pointing in a world direction, covers in the window.
  void includeCone(Extent& extent, const osg::Vec3d& centre, const osg::Vec3d& along, double pixel) {
    extent.include(windowPlaceOf(centre + along * (kConeAboveCentre * pixel)));
    osg::Vec3d across = along ^ osg::Vec3d(0.3, 0.5, 0.8);
    across.normalize();
    const osg::Vec3d third = along ^ across;
    for (int step = 0; step < 64; ++step) {
      const double angle = step * std::acos(-1.0) / 32.0;
      const osg::Vec3d rim = across * std::cos(angle) + third * std::sin(angle);
      extent.include(windowPlaceOf(centre - along * (kConeBelowCentre * pixel) + rim * (kConeRadius * pixel)));
    }
  }

  Extent colouredWithin(osg::Image& image, int axis, const Extent& where, double margin) {
    Extent found;
    for (int y = 0; y < image.t(); ++y) {
      for (int x = 0; x < image.s(); ++x) {
        const osg::Vec2d place(x + 0.5, y + 0.5);
        const bool inside = place.x() > where.left - margin && place.x() < where.right + margin &&
                            place.y() > where.bottom - margin && place.y() < where.top + margin;
        if (inside && isColourOf(axis, image.getColor(static_cast<unsigned int>(x), static_cast<unsigned int>(y)))) {
          found.include(place);
        }
      }
    }
    return found;
  }

  void expectFaceConesHaveTheirSize() {
    const osg::ref_ptr<osg::Image> image = picture();
    const osg::Vec3d centre = kHalf.center();
    for (int axis = 0; axis < 3; ++axis) {
      for (const double side : {-1.0, 1.0}) {
        SCOPED_TRACE(testing::Message() << "axis " << axis << " side " << side);
        const double half = 0.5 * (kHalf._max[axis] - kHalf._min[axis]);
        const osg::Vec3d place = centre + kAxes[axis] * (side * half);
        Extent expected;
        includeCone(expected, place, kAxes[axis] * side, worldPerPixel(place));
        if (expected.bottom > kHudHeight && expected.top < height() && expected.left > 0 && expected.right < width()) {
          expectNear(colouredWithin(*image, axis, expected, kSizeTolerance + 1.0), expected, kSizeTolerance);
          ++_checked;
        }
      }
    }
  }

  void expectArrowsHaveTheirLength() {
    const osg::ref_ptr<osg::Image> image = picture();
    const osg::Vec3d centre = kHalf.center();
    const double pixel = worldPerPixel(centre);
    for (int axis = 0; axis < 3; ++axis) {
      SCOPED_TRACE(axis);
      const osg::Vec2d tip = windowPlaceOf(centre + kAxes[axis] * ((kShaftLength + kConeAboveCentre) * pixel));
      const osg::Vec2d start = windowPlaceOf(centre);
      if (tip.y() > height() || tip.x() < 0 || tip.x() > width()) {
        continue;
      }
      ++_checked;
      EXPECT_NEAR(reachOf(*image, axis, start, tip - start), (tip - start).length(),
                  kSizeTolerance + 0.04 * kShaftLength);
    }
  }

  // How far an axis's colour extends from a position in a direction.
  double reachOf(osg::Image& image, int axis, const osg::Vec2d& start, osg::Vec2d direction) {
    direction /= direction.length();
    double reach = 0.0;
    for (double way = 0.0; way < 250.0; way += 0.5) {
      const osg::Vec2d place = start + direction * way;
      if (place.x() < 0 || place.y() < 0 || place.x() >= image.s() || place.y() >= image.t()) {
        break;
      }
      const osg::Vec4 colour =
          image.getColor(static_cast<unsigned int>(place.x()), static_cast<unsigned int>(place.y()));
      reach = isColourOf(axis, colour) ? way : reach;
    }
    return reach;
  }

  // The half of each ring in front of the disc is visible along its whole length.
  void expectRingsCircleTheBox() {
    const osg::ref_ptr<osg::Image> image = picture();
    const osg::Vec3d centre = kHalf.center();
    const double centreDepth = (centre * frame().viewMatrix).z();
    for (int axis = 0; axis < 3; ++axis) {
      for (int step = 0; step < 72; ++step) {
        const double angle = step * std::acos(-1.0) / 36.0;
        const osg::Vec3d outwards = kAxes[(axis + 1) % 3] * std::cos(angle) + kAxes[(axis + 2) % 3] * std::sin(angle);
        const osg::Vec3d place = centre + outwards * (kRingRadius * kHalf.radius());
        const osg::Vec2d pixel = windowPlaceOf(place);
        const bool inFront = (place * frame().viewMatrix).z() > centreDepth + 0.2 * kHalf.radius();
        if (inFront && pixel.x() > 2 && pixel.x() < width() - 2 && pixel.y() > kHudHeight && pixel.y() < height() - 2) {
          ++_checked;
          _found += isOnRing(*image, axis, pixel) ? 1 : 0;
        }
      }
    }
    EXPECT_GE(_found, _checked * 9 / 10);  // where two cross, one hides the other
  }

  bool isOnRing(osg::Image& image, int axis, const osg::Vec2d& pixel) {
    for (int dy = -1; dy <= 1; ++dy) {
      for (int dx = -1; dx <= 1; ++dx) {
        if (isColourOf(axis, image.getColor(static_cast<unsigned int>(pixel.x() + dx),
                                            static_cast<unsigned int>(pixel.y() + dy)))) {
          return true;
        }
      }
    }
    return false;
  }

  osgGA::EventQueue& events() {
    return *static_cast<osgViewer::GraphicsWindow*>(_viewer->getCamera()->getGraphicsContext())->getEventQueue();
  }

  void sendPointer(const osg::Vec3d& place) {
    const osg::Vec2d pixel = windowPlaceOf(place);
    _pointerX = static_cast<float>(std::floor(pixel.x()));
    _pointerY = static_cast<float>(height() - 1 - std::floor(pixel.y()));
    events().mouseMotion(_pointerX, _pointerY);
  }

  void click(const osg::Vec3d& place) {
    sendPointer(place);
    events().mouseButtonPress(_pointerX, _pointerY, 1);
    _viewer->frame();
    events().mouseButtonRelease(_pointerX, _pointerY, 1);
    _viewer->frame();
  }

  void drag(const ClipBoxControl::DragPath& path) {
    sendPointer(path.from);
    events().mouseButtonPress(_pointerX, _pointerY, 1);
    _viewer->frame();
    sendPointer(path.to);
    _viewer->frame();
    events().mouseButtonRelease(_pointerX, _pointerY, 1);
    draw();
  }

  int _checked = 0;
  int _found = 0;
  float _pointerX = 0.0f;
  float _pointerY = 0.0f;
};

TEST_F(ClipBoxGLTest, pointsOutsideTheBoxAreInNoAttachmentAndHaveNoDepth) {
  box().place(kHalf);
  for (int projection = 0; projection < 2; ++projection) {
    draw();
    std::set<unsigned int> expected;
    for (int point = 0; point < kColumns * kRows; ++point) {
      if (isInHalf(point)) {
        expected.insert(static_cast<unsigned int>(point));
      } else {
        SCOPED_TRACE(point);
        const std::size_t pixel = pixelOf(placeOf(point));
        EXPECT_EQ(frame().depths[pixel], 1.0f);
        EXPECT_EQ(frame().itemIDs[pixel * 4 + 3], 0U);
        EXPECT_EQ(frame().itemFloats[pixel * 4 + 3], 0.0f);
        EXPECT_EQ(frame().pcFloats[pixel * 4], 0.0f);
        EXPECT_EQ(frame().pcInts[pixel * 4 + 3], 0);
      }
    }
    EXPECT_EQ(seenPoints(), expected);
    expectOnlyPointsHaveDepth();
    _view->toggleProjection();
  }
}

TEST_F(ClipBoxGLTest, pointsOutsideTheBoxAreNotInThePicture) {
  _scene->cloud.setColourMode(ColourMode::Rgb);
  _scene->eyeDome.setOn(false);
  box().showHandles(ClipBoxControl::CUTTER_SCALE, 0);
  box().place(kHalf);
  draw();
  const osg::ref_ptr<osg::Image> image = picture();
  int expected = 0;
  for (int point = 0; point < kColumns * kRows; ++point) {
    if (isInHalf(point) && isByOutline(kHalf, point)) {
      continue;
    }
    const osg::Vec4 colour = colourAt(*image, pixelOf(placeOf(point)));
    const bool shown = std::abs(colour.r() - 200.0f / 255.0f) < 0.01f && std::abs(colour.g() - 100.0f / 255.0f) < 0.01f;
    EXPECT_EQ(shown, isInHalf(point)) << point;
    expected += isInHalf(point) ? 1 : 0;
  }
  EXPECT_GT(expected, kRows);  // otherwise the picture proves little
}

TEST_F(ClipBoxGLTest, aBoxAroundEverythingCutsNothingAndItsHandlesLeaveEveryAttachmentAlone) {
  const Captured before = captured();
  box().place(boxAround(_scene->cloud.bounds()));
  for (const ClipMode mode :
       {ClipBoxControl::CUTTER_SCALE, ClipBoxControl::CUTTER_TRANSLATE, ClipBoxControl::CUTTER_ROTATE}) {
    SCOPED_TRACE(mode);
    box().showHandles(mode, 7);
    draw();
    EXPECT_TRUE(captured() == before);
    expectOnlyPointsHaveDepth();
    expectDepthsMeetPositions();
  }
  EXPECT_EQ(_scene->target.glErrorCount(), 0U);
}

TEST_F(ClipBoxGLTest, theDiscIsAFaintLightVeilBehindThePointsAndWritesNoDepth) {
  _scene->cloud.setColourMode(ColourMode::Rgb);
  _scene->eyeDome.setOn(false);
  zoom(1.6);
  const osg::Vec3d beside = kHalf.center() + osg::Vec3d(0.0, 0.0, 0.7 * kHalf.radius());
  const float backdrop = colourAt(*picture(), pixelOf(beside)).b();
  box().showHandles(ClipBoxControl::CUTTER_ROTATE, 7);
  box().place(kHalf);
  draw();
  expectOnlyPointsHaveDepth();
  const osg::ref_ptr<osg::Image> image = picture();
  EXPECT_NEAR(colourAt(*image, pixelOf(beside)).b(), 0.04f + 0.96f * backdrop, 0.01f);
  int shown = 0;
  for (int point = 0; point < kColumns * kRows; ++point) {
    shown += std::abs(colourAt(*image, pixelOf(placeOf(point))).r() - 200.0f / 255.0f) < 0.01f ? 1 : 0;
  }
  EXPECT_GE(shown, 20);  // of 24; lines cover some
}

TEST_F(ClipBoxGLTest, theConesKeepTheirPixelSizeNearAndFarInBothProjections) {
  _scene->cloud.node()->setNodeMask(0U);
  box().place(kHalf);
  inEveryView([this] { expectFaceConesHaveTheirSize(); });
  EXPECT_GE(_checked, 16);
}

TEST_F(ClipBoxGLTest, theArrowsKeepTheirPixelLengthNearAndFarInBothProjections) {
  _scene->cloud.node()->setNodeMask(0U);
  box().showHandles(ClipBoxControl::CUTTER_TRANSLATE, 7);
  box().place(kHalf);
  inEveryView([this] { expectArrowsHaveTheirLength(); });
  EXPECT_GE(_checked, 9);
}

TEST_F(ClipBoxGLTest, theRingsCircleTheBoxNearAndFarInBothProjections) {
  _scene->cloud.node()->setNodeMask(0U);
  box().showHandles(ClipBoxControl::CUTTER_ROTATE, 7);
  box().place(kHalf);
  inEveryView([this] { expectRingsCircleTheBox(); });
  EXPECT_GE(_checked, 200);
}

TEST_F(ClipBoxGLTest, conesShowInFrontOfThePoints) {
  _scene->cloud.setPointSizePixels(32.0f);
  const osg::BoundingBoxd tall(-5.0, -5.0, -5.0, 75.0, 55.0, 20.0);
  box().place(tall);
  draw();
  const osg::ref_ptr<osg::Image> image = picture();
  const osg::Vec3d bottom(tall.center().x(), tall.center().y(), tall._min.z());
  Extent expected;
  includeCone(expected, bottom, osg::Vec3d(0.0, 0.0, -1.0), worldPerPixel(bottom));
  expectNear(colouredWithin(*image, 2, expected, kSizeTolerance + 1.0), expected, kSizeTolerance);
}

TEST_F(ClipBoxGLTest, onlyTheChosenAxesHandlesShow) {
  _scene->cloud.node()->setNodeMask(0U);
  box().place(kHalf);
  const Extent window = [&] {
    Extent all;
    all.include({0.0, kHudHeight});
    all.include({static_cast<double>(width()), static_cast<double>(height())});
    return all;
  }();
  for (const ClipMode mode :
       {ClipBoxControl::CUTTER_SCALE, ClipBoxControl::CUTTER_TRANSLATE, ClipBoxControl::CUTTER_ROTATE}) {
    for (int shown = 0; shown < 3; ++shown) {
      box().showHandles(mode, 1 << shown);
      draw();
      const osg::ref_ptr<osg::Image> image = picture();
      for (int axis = 0; axis < 3; ++axis) {
        const Extent found = colouredWithin(*image, axis, window, 0.0);
        EXPECT_EQ(found.left <= found.right, axis == shown) << mode << " " << shown << " " << axis;
      }
    }
  }
}

TEST_F(ClipBoxGLTest, switchingOffRestoresPictureDepthAndAttachments) {
  const Captured before = captured();
  const std::vector<float> depths = frame().depths;
  const osg::ref_ptr<osg::Image> plain = picture();
  box().place(kHalf);
  for (const ClipMode mode :
       {ClipBoxControl::CUTTER_SCALE, ClipBoxControl::CUTTER_TRANSLATE, ClipBoxControl::CUTTER_ROTATE}) {
    box().showHandles(mode, 7);
    box().setOn(true);
    draw();
    ASSERT_FALSE(captured() == before);
    box().setOn(false);
    draw();
    EXPECT_TRUE(captured() == before);
    EXPECT_EQ(frame().depths, depths);
    const osg::ref_ptr<osg::Image> after = picture();
    EXPECT_TRUE(std::equal(plain->data(), plain->data() + plain->getTotalSizeInBytes(), after->data()));
  }
}

TEST_F(ClipBoxGLTest, switchingOnAgainCutsAsBefore) {
  box().place(kHalf);
  draw();
  const Captured cut = captured();
  box().setOn(false);
  draw();
  EXPECT_EQ(seenPoints().size(), static_cast<std::size_t>(kColumns * kRows));
  box().setOn(true);
  draw();
  EXPECT_TRUE(captured() == cut);
}

TEST_F(ClipBoxGLTest, aNewBoxCutsInPlaceOfTheOneBefore) {
  box().place(kHalf);
  draw();
  box().place({35.0, -5.0, -5.0, 75.0, 55.0, 20.0});
  draw();
  for (const unsigned int point : seenPoints()) {
    EXPECT_FALSE(isInHalf(static_cast<int>(point))) << point;
  }
  EXPECT_EQ(seenPoints().size(), 24U);
}

TEST_F(ClipBoxGLTest, aDraggedFaceCutsAndABoxThatIsOffIgnoresEvents) {
  box().place(kHalf);
  draw();
  const ClipBoxControl::DragPath path = box().control().pathOfFace(1, 0.4);
  drag(path);
  const double pulled = rightFace();
  EXPECT_NEAR(pulled, 35.0 - 0.4 * 40.0, 1.5);
  for (const unsigned int point : seenPoints()) {
    EXPECT_LT(placeOf(static_cast<int>(point)).x(), pulled);
  }
  const ClipBoxControl::DragPath back = box().control().pathOfFace(1, -0.4);
  box().setOn(false);
  draw();
  drag(back);
  EXPECT_EQ(rightFace(), pulled);
  EXPECT_EQ(seenPoints().size(), static_cast<std::size_t>(kColumns * kRows));
}

TEST_F(ClipBoxGLTest, aClickOnAHandleIsNotReportedAndOneBesideItIs) {
  int clicks = 0;
  _viewer->addEventHandler(new PointerHandler([&](int, int) { ++clicks; }, [](bool) {}));
  box().place(kHalf);
  draw();
  for (std::size_t face = 0; face < 6; ++face) {
    click(box().control().pathOfFace(face, 0.1).from);
  }
  EXPECT_EQ(clicks, 0);
  click(placeOf(9));
  EXPECT_EQ(clicks, 1);
  box().setOn(false);
  draw();
  click(placeOf(10));
  EXPECT_EQ(clicks, 2);
}

TEST_F(ClipBoxGLTest, aHandleThatPointsAtTheEyeIgnoresPressesAndOneBesideItDoesNot) {
  box().place(kHalf);
  _view->toggleProjection();
  _navigator->manipulator().setPitchWithYawQuat(osg::Quat(), osg::Quat());
  draw();
  const osg::Vec3d top = box().control().pathOfFace(5, 0.1).from;
  drag({top, top + osg::Vec3d(3.0, 2.0, 0.0)});
  EXPECT_EQ(highCorner(), kHalf._max);
  drag(box().control().pathOfFace(1, 0.4));
  EXPECT_LT(rightFace(), 25.0);
}

TEST_F(ClipBoxGLTest, aDraggedArrowMovesTheBoxUnlessItPointsAtTheEye) {
  box().place(kHalf);
  box().showHandles(ClipBoxControl::CUTTER_TRANSLATE, 7);
  draw();
  const osg::Vec3d before = box().control().getMatrix().getTrans();
  const ClipBoxControl::DragPath sideways = box().control().pathOfAxis(0, 0.3);
  drag(sideways);
  const osg::Vec3d moved = box().control().getMatrix().getTrans();
  EXPECT_GT(moved.x(), before.x() + 1.0);
  _view->toggleProjection();
  _navigator->manipulator().setPitchWithYawQuat(osg::Quat(), osg::Quat());
  draw();
  const ClipBoxControl::DragPath up = box().control().pathOfAxis(2, 0.3);
  drag({up.from, up.from + osg::Vec3d(2.0, 1.0, 0.0)});
  EXPECT_EQ(box().control().getMatrix().getTrans(), moved);
}

TEST_F(ClipBoxGLTest, intersectionVisitorsSkipThePoints) {
  const osg::Vec2d pixel = windowPlaceOf(placeOf(20));
  const auto hits = [&](osg::Node& node) {
    const osg::ref_ptr<osgUtil::PolytopeIntersector> around = new osgUtil::PolytopeIntersector(
        osgUtil::Intersector::WINDOW, pixel.x() - 3.0, pixel.y() - 3.0, pixel.x() + 3.0, pixel.y() + 3.0);
    osgUtil::IntersectionVisitor visitor(around);
    osg::ref_ptr<osg::Group> world = new osg::Group;
    world->addChild(&node);
    _viewer->getCamera()->addChild(world);
    visitor.setTraversalMask(~0U);
    _viewer->getCamera()->accept(visitor);
    _viewer->getCamera()->removeChild(world);
    return around->containsIntersections();
  };
  EXPECT_FALSE(hits(*new osg::Group));
  osg::ref_ptr<osg::Group> plain = new osg::Group;
  plain->addChild(_scene->cloud.node()->getChild(0));
  EXPECT_TRUE(hits(*plain));
}

}  // namespace
