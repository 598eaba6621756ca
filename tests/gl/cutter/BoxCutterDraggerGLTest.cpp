#include "support/BoxCutterFixture.h"
#include "support/CaptureContext.h"
#include "support/HandleScale.h"

#include <osg/Geometry>
#include <osg/Image>
#include <osg/Point>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace QuorTests {
namespace {

constexpr double kDegree = 3.14159265358979323846 / 180.0;
constexpr double kFieldDegrees = 60.0;

struct Colour {
  int red, green, blue;
};
using IsColour = bool (*)(const Colour& colour);

// Light changes how bright a handle is, not its hue.
bool isRed(const Colour& c) {
  return c.red > 30 && 4 * c.green < c.red && 4 * c.blue < c.red;
}
bool isGreen(const Colour& c) {
  return c.green > 30 && 4 * c.red < c.green && 4 * c.blue < c.green;
}
bool isBlue(const Colour& c) {
  return c.blue > 30 && 4 * c.red < c.blue && 4 * c.green < c.blue;
}
bool isYellow(const Colour& c) {
  return c.red > 30 && c.green == c.red && 4 * c.blue < c.red;
}
bool isCyan(const Colour& c) {
  return c.blue > 30 && c.green == c.blue && 4 * c.red < c.blue;
}
bool isMagenta(const Colour& c) {
  return c.red > 30 && c.blue == c.red && 4 * c.green < c.red;
}
bool isGrey(const Colour& c) {
  return c.red > 30 && c.green == c.red && c.blue == c.red;
}
bool isBlack(const Colour& c) {
  return c.red == 0 && c.green == 0 && c.blue == 0;
}

// Pixels of one colour: their count and their bounding rectangle, in pixel edges.
struct Region {
  int pixels = 0;
  int left = 0, right = 0, bottom = 0, top = 0;

  void add(int x, int y) {
    left = pixels ? std::min(left, x) : x;
    right = pixels ? std::max(right, x + 1) : x + 1;
    bottom = pixels ? std::min(bottom, y) : y;
    top = pixels ? std::max(top, y + 1) : y + 1;
    ++pixels;
  }
  int width() const { return right - left; }
  int height() const { return top - bottom; }
};

// The clip box on a real graphics context. The frame has one colour image and a depth image, so that fixed-function
// drawing is visible.
class BoxCutterPicture : public BoxCutterFixture {
 protected:
  void SetUp() override {
    ASSERT_TRUE(_context.valid()) << "no graphics context";
    osg::Camera& camera = viewCamera();
    // The context is open already, so the viewer need not be realized.
    camera.setGraphicsContext(_context.camera().getGraphicsContext());
    camera.setRenderTargetImplementation(osg::Camera::FRAME_BUFFER_OBJECT);
    _picture->allocateImage(kWidth, kHeight, 1, GL_RGBA, GL_UNSIGNED_BYTE);
    _depths->allocateImage(kWidth, kHeight, 1, GL_DEPTH_COMPONENT, GL_FLOAT);
    camera.attach(osg::Camera::COLOR_BUFFER, _picture);
    camera.attach(osg::Camera::DEPTH_BUFFER, _depths);
    camera.setClearColor(osg::Vec4(0.0f, 0.0f, 0.0f, 1.0f));
    camera.setComputeNearFarMode(osg::CullSettings::DO_NOT_COMPUTE_NEAR_FAR);
    _viewer->setThreadingModel(osgViewer::Viewer::SingleThreaded);
  }

  void draw() { _viewer->frame(); }

  Colour colourAt(int x, int y) const {
    const unsigned char* pixel = _picture->data(static_cast<unsigned int>(x), static_cast<unsigned int>(y));
    return {pixel[0], pixel[1], pixel[2]};
  }
  Colour colourAt(const osg::Vec2d& at) const { return colourAt(column(at), row(at)); }
  float depthAt(const osg::Vec2d& at) const {
    return *reinterpret_cast<const float*>(
        _depths->data(static_cast<unsigned int>(column(at)), static_cast<unsigned int>(row(at))));
  }

  Region find(IsColour isColour, int left = 0, int right = kWidth) const {
    Region region;
    for (int y = 0; y < kHeight; ++y) {
      for (int x = left; x < right; ++x) {
        if (isColour(colourAt(x, y))) {
          region.add(x, y);
        }
      }
    }
    return region;
  }

  // Looks at the box's front with the x axis to the right and the z axis up.
  void lookAtFront(double distance = 25.0) { lookAtBoxFrom(osg::Vec3d(0.0, -1.0, 0.0), distance); }
  void lookFromAbove() {
    const osg::Vec3d center = centerInWorld();
    lookAt(center + osg::Vec3d(0.0, 0.0, 25.0), center, osg::Vec3d(0.0, 1.0, 0.0));
  }

  // Two zoom levels in each projection; in the orthographic one the eye stays where it is.
  struct Zoom {
    bool isPerspective;
    double distanceOrHeight;
  };
  static constexpr Zoom kZooms[] = {{true, 25.0}, {true, 60.0}, {false, 28.0}, {false, 63.0}};

  // Draws a frame and returns the factor by which OSG scales a pixel of the handles.
  double drawZoomed(const Zoom& zoom) {
    if (zoom.isPerspective) {
      usePerspective(kFieldDegrees);
    } else {
      useOrthographic(zoom.distanceOrHeight);
    }
    lookAtFront(zoom.isPerspective ? zoom.distanceOrHeight : 25.0);
    draw();
    return handleScale(kWidth, kHeight, zoom.isPerspective, std::tan(0.5 * kFieldDegrees * kDegree));
  }

  bool pushDrawn(const osg::Vec2d& at) { return send(*makeEvent(Event::PUSH, kLeft, kLeft, at)); }
  void releaseDrawn() { send(*makeEvent(Event::RELEASE, kLeft, 0, osg::Vec2d())); }

  static constexpr double kPixelTolerance = 1.6;

  CaptureContext _context{16, 16};
  osg::ref_ptr<osg::Image> _picture = new osg::Image;
  osg::ref_ptr<osg::Image> _depths = new osg::Image;

 private:
  static int column(const osg::Vec2d& at) { return static_cast<int>(at.x()); }
  static int row(const osg::Vec2d& at) { return static_cast<int>(at.y()); }
};

// A cone has a radius of ten pixels and a height of eighteen, a quarter of it inside the face, times OSG's scale of a
// pixel.
TEST_F(BoxCutterPicture, theConesKeepTheirPixelSizeAtEachZoomInBothProjections) {
  for (const Zoom& zoom : kZooms) {
    SCOPED_TRACE(testing::Message() << (zoom.isPerspective ? "perspective " : "orthographic ")
                                    << zoom.distanceOrHeight);
    const double scale = drawZoomed(zoom);
    const Region right = find(isRed, kWidth / 2);
    const Region left = find(isRed, 0, kWidth / 2);
    const Region upright = find(isBlue);
    const Region front = find(isGreen);
    const osg::Vec2d rightFace = toWindow(faceInWorld(1));
    EXPECT_NEAR(right.width(), 18.0 * scale, kPixelTolerance);
    EXPECT_NEAR(right.height(), 20.0 * scale, kPixelTolerance);
    EXPECT_NEAR(right.right, rightFace.x() + 13.5 * scale, kPixelTolerance);
    EXPECT_NEAR(0.5 * (right.bottom + right.top), rightFace.y(), kPixelTolerance);
    EXPECT_NEAR(left.width(), 18.0 * scale, kPixelTolerance);
    EXPECT_NEAR(left.left, toWindow(faceInWorld(0)).x() - 13.5 * scale, kPixelTolerance);
    EXPECT_NEAR(upright.width(), 20.0 * scale, kPixelTolerance);
    EXPECT_NEAR(upright.top, toWindow(faceInWorld(5)).y() + 13.5 * scale, kPixelTolerance);
    EXPECT_NEAR(upright.bottom, toWindow(faceInWorld(4)).y() - 13.5 * scale, kPixelTolerance);
    EXPECT_NEAR(front.width(), 20.0 * scale, kPixelTolerance);
    EXPECT_NEAR(front.height(), 20.0 * scale, kPixelTolerance);
    EXPECT_TRUE(pushDrawn(osg::Vec2d(0.5 * (right.left + right.right), 0.5 * (right.bottom + right.top))));
    releaseDrawn();
  }
}

TEST_F(BoxCutterPicture, theArrowsKeepTheirPixelSizeAtEachZoomInBothProjections) {
  _box->setType(Cutter::CUTTER_TRANSLATE, kAllAxes);
  for (const Zoom& zoom : kZooms) {
    SCOPED_TRACE(testing::Message() << (zoom.isPerspective ? "perspective " : "orthographic ")
                                    << zoom.distanceOrHeight);
    const double scale = drawZoomed(zoom);
    const osg::Vec2d center = toWindow(centerInWorld());
    const Region x = find(isRed);
    const Region z = find(isBlue);
    EXPECT_NEAR(x.right, center.x() + 163.5 * scale, kPixelTolerance);
    EXPECT_NEAR(x.height(), 20.0 * scale, kPixelTolerance);
    EXPECT_NEAR(z.top, center.y() + 163.5 * scale, kPixelTolerance);
    EXPECT_NEAR(z.width(), 20.0 * scale, kPixelTolerance);
    const int middle = static_cast<int>(center.x() + 75.0 * scale);
    EXPECT_NEAR(find(isRed, middle, middle + 1).height(), 4.0, 1.0);
    EXPECT_TRUE(pushDrawn(center + osg::Vec2d(75.0 * scale, 0.0)));
    releaseDrawn();
  }
}

// Seen from above: the circle's radius is 1.075 half diagonals of the box; its line adds half its width.
TEST_F(BoxCutterPicture, theRingsKeepTheirSizeRelativeToTheBox) {
  const osg::BoundingBoxf small = _box->_box;
  const osg::Vec3f half = small._max - small.center();
  const osg::BoundingBoxf doubled(small.center() - half * 2.0f, small.center() + half * 2.0f);
  for (const bool isPerspective : {true, false}) {
    int previousWidth = 0;
    for (const osg::BoundingBoxf& extents : {small, doubled}) {
      _scene->removeChild(_box);
      _box = new ExposedBoxCutter(extents, _clip);
      _scene->addChild(_box);
      showOnly(Cutter::CUTTER_ROTATE, 2);
      if (!isPerspective) {
        useOrthographic();
      }
      lookFromAbove();
      draw();
      const Region ring = find(isBlue);
      const double diameter =
          2.0 * 1.075 * half.length() / worldPerPixel(centerInWorld()) * (previousWidth ? 2.0 : 1.0);
      EXPECT_NEAR(ring.width(), diameter + 5.0, 2.5);
      EXPECT_NEAR(ring.height(), diameter + 5.0, 2.5);
      if (previousWidth) {
        EXPECT_NEAR(ring.width() - 5.0, 2.0 * (previousWidth - 5.0), 4.0);
      }
      previousWidth = ring.width();
    }
  }
}

TEST_F(BoxCutterPicture, theRingsGrowWithTheZoomAsTheBoxDoes) {
  showOnly(Cutter::CUTTER_ROTATE, 2);
  lookFromAbove();
  useOrthographic(28.0);
  draw();
  const int nearby = find(isBlue).width();
  useOrthographic(56.0);
  draw();
  EXPECT_NEAR(find(isBlue).width() - 5.0, 0.5 * (nearby - 5.0), 3.0);
}

TEST_F(BoxCutterPicture, theLineOfADraggedHandleIsEightPixelsWide) {
  showOnly(Cutter::CUTTER_TRANSLATE, 0);
  lookAtFront();
  draw();
  const osg::Vec2d shaft = toWindow(shaftInWorld(0));
  const int column = static_cast<int>(shaft.x());
  EXPECT_NEAR(find(isRed, column, column + 1).height(), 4.0, 1.0);
  EXPECT_TRUE(pushDrawn(shaft));
  draw();
  EXPECT_NEAR(find(isRed, column, column + 1).height(), 8.0, 1.0);
  releaseDrawn();
  draw();
  EXPECT_NEAR(find(isRed, column, column + 1).height(), 4.0, 1.0);
}

TEST_F(BoxCutterPicture, aColourSetAfterAFrameIsSeenOnEveryHandleInEveryMode) {
  struct Axis {
    void (Cutter::*set)(osg::Vec4f color);
    osg::Vec4f before, after;
    IsColour isBefore, isAfter;
  };
  const Axis axes[] = {
      {&Cutter::setXColor, {1.0f, 0.0f, 0.0f, 1.0f}, {1.0f, 0.0f, 1.0f, 1.0f}, isRed, isMagenta},
      {&Cutter::setYColor, {0.0f, 1.0f, 0.0f, 1.0f}, {1.0f, 1.0f, 0.0f, 1.0f}, isGreen, isYellow},
      {&Cutter::setZColor, {0.0f, 0.0f, 1.0f, 1.0f}, {0.0f, 1.0f, 1.0f, 1.0f}, isBlue, isCyan},
  };
  for (const Cutter::CutterType type : {Cutter::CUTTER_ROTATE, Cutter::CUTTER_TRANSLATE, Cutter::CUTTER_SCALE}) {
    _box->setType(type, kAllAxes);
    for (const Axis& axis : axes) {
      draw();
      const Region before = find(axis.isBefore);
      EXPECT_GT(before.pixels, 100);
      EXPECT_EQ(find(axis.isAfter).pixels, 0);
      const int outline = find(isGrey).pixels;
      ((*_box).*axis.set)(axis.after);
      draw();
      const Region after = find(axis.isAfter);
      EXPECT_EQ(find(axis.isBefore).pixels, 0);
      EXPECT_EQ(after.pixels, before.pixels);
      EXPECT_EQ(after.width(), before.width());
      EXPECT_EQ(after.height(), before.height());
      EXPECT_EQ(find(isGrey).pixels, outline);
      ((*_box).*axis.set)(axis.before);
    }
  }
}

TEST_F(BoxCutterPicture, theColourOfTheOutlineSetAfterAFrameIsSeen) {
  _box->setType(Cutter::CUTTER_SCALE, 0);
  draw();
  const Region before = find(isGrey);
  EXPECT_GT(before.pixels, 500);
  _box->setBoxColor(osg::Vec4f(1.0f, 1.0f, 0.0f, 1.0f));
  draw();
  const Region after = find(isYellow);
  EXPECT_EQ(after.pixels, before.pixels);
  EXPECT_EQ(after.width(), before.width());
  EXPECT_EQ(find(isGrey).pixels, 0);
}

TEST_F(BoxCutterPicture, theOutlineFollowsADraggedFace) {
  lookAtFront();
  useOrthographic();
  draw();
  EXPECT_TRUE(pushDrawn(cone()));
  EXPECT_TRUE(send(*makeEvent(Event::DRAG, 0, kLeft, cone() + osg::Vec2d(60.0, 0.0))));
  _box->setType(Cutter::CUTTER_SCALE, 0);
  draw();
  const Region outline = find(isGrey);
  EXPECT_NEAR(outline.right, toWindow(faceInWorld(kRightFace)).x(), kPixelTolerance);
  EXPECT_NEAR(outline.left, toWindow(faceInWorld(0)).x(), kPixelTolerance);
  EXPECT_GT(extents()[kRightFace], 4.0f);
}

osg::ref_ptr<osg::Geometry> createUnlit(osg::ref_ptr<osg::Vec3Array> vertices, GLenum mode, const osg::Vec4f& colour) {
  osg::ref_ptr<osg::Geometry> geometry = new osg::Geometry;
  geometry->setVertexArray(vertices);
  geometry->setColorArray(new osg::Vec4Array(1, &colour), osg::Array::BIND_OVERALL);
  geometry->addPrimitiveSet(new osg::DrawArrays(mode, 0, static_cast<int>(vertices->size())));
  geometry->getOrCreateStateSet()->setMode(GL_LIGHTING, osg::StateAttribute::OFF);
  return geometry;
}

TEST_F(BoxCutterPicture, theDiscWritesNoDepthAndLaterDrawingBehindItShowsThrough) {
  _box->setType(Cutter::CUTTER_ROTATE, 0);
  lookAtFront();
  draw();
  const osg::Vec2d center = toWindow(centerInWorld()) + osg::Vec2d(10.0, 10.0);
  const Colour disc = colourAt(center);
  constexpr double kShade = 0.1, kOpacity = 0.9;
  EXPECT_NEAR(disc.red, kShade * kOpacity * 255.0, 1.0);
  EXPECT_TRUE(disc.green == disc.red && disc.blue == disc.red);
  EXPECT_EQ(depthAt(center), 1.0f);

  const osg::Vec3f behind = osg::Vec3f(centerInWorld()) + osg::Vec3f(0.0f, 20.0f, 0.0f);
  osg::ref_ptr<osg::Vec3Array> corners = new osg::Vec3Array;
  for (const auto& [x, z] : {std::pair(-8.0f, -8.0f), {8.0f, -8.0f}, {8.0f, 8.0f}, {-8.0f, 8.0f}}) {
    corners->push_back(behind + osg::Vec3f(x, 0.0f, z));
  }
  const osg::ref_ptr<osg::Geometry> wall = createUnlit(corners, GL_QUADS, osg::Vec4f(1.0f, 1.0f, 0.0f, 1.0f));
  _scene->addChild(wall);
  draw();
  EXPECT_TRUE(isYellow(colourAt(center)));
  EXPECT_LT(depthAt(center), 1.0f);
  _scene->removeChild(wall);
  draw();
  EXPECT_EQ(depthAt(center), 1.0f);
}

TEST_F(BoxCutterPicture, theRingsDoWriteTheirDepth) {
  showOnly(Cutter::CUTTER_ROTATE, 2);
  lookFromAbove();
  draw();
  const RingOracle ring = ringOracle(2);
  const osg::Vec2d onRing = toWindow(ring.center + osg::Vec3d(0.6, 0.8, 0.0) * (1.075 * ring.radius));
  EXPECT_TRUE(isBlue(colourAt(onRing)));
  EXPECT_LT(depthAt(onRing), 1.0f);
}

TEST_F(BoxCutterPicture, pickVolumesAreNotDrawnButCanBeHit) {
  useOrthographic(14.0);
  lookAtFront();
  showOnly(Cutter::CUTTER_TRANSLATE, 0);
  draw();
  const osg::Vec2d besideShaft = toWindow(shaftInWorld(0)) + osg::Vec2d(0.0, 7.0);
  EXPECT_TRUE(isBlack(colourAt(besideShaft)));
  EXPECT_EQ(depthAt(besideShaft), 1.0f);
  EXPECT_TRUE(pushDrawn(besideShaft));
  releaseDrawn();
  EXPECT_FALSE(pushDrawn(besideShaft + osg::Vec2d(0.0, 6.0)));

  showOnly(Cutter::CUTTER_ROTATE, 2);
  draw();
  const RingOracle ring = ringOracle(2);
  const osg::Vec2d onTube = toWindow(ringInWorld(ring, 0.1)) + osg::Vec2d(0.0, 6.0);
  EXPECT_FALSE(isBlue(colourAt(onTube)));
  EXPECT_EQ(depthAt(onTube), 1.0f);
  EXPECT_TRUE(pushDrawn(onTube));
  EXPECT_TRUE(_box->_pointer.contains(_box->_rings[2].transform));
  releaseDrawn();

  lookFromAbove();
  draw();
  const osg::Vec2d onBand = toWindow(centerInWorld() + osg::Vec3d(0.6, 0.8, 0.0) * (1.055 * ring.radius));
  EXPECT_TRUE(isBlack(colourAt(onBand)));
  EXPECT_EQ(depthAt(onBand), 1.0f);
  EXPECT_TRUE(pushDrawn(onBand));
}

// Points at different positions in the plane through the box's centre that faces the eye.
class BoxCutterCuts : public BoxCutterPicture {
 protected:
  static constexpr int kReach = 12;
  static constexpr double kSpacing = 0.6;

  void SetUp() override {
    BoxCutterPicture::SetUp();
    osg::ref_ptr<osg::Vec3Array> places = new osg::Vec3Array;
    for (int column = -kReach; column <= kReach; ++column) {
      for (int row = -kReach; row <= kReach; ++row) {
        places->push_back(place(column, row));
      }
    }
    const osg::ref_ptr<osg::Geometry> cloud = createUnlit(places, GL_POINTS, osg::Vec4f(1.0f, 1.0f, 0.0f, 1.0f));
    cloud->getOrCreateStateSet()->setAttribute(new osg::Point(3.0f));
    _clip->addChild(cloud);
    useOrthographic(20.0);
    lookAt(osg::Vec3d(1.0, -24.0, 2.25), osg::Vec3d(1.0, 1.0, 2.25));
  }

  static osg::Vec3f place(int column, int row) {
    return osg::Vec3f(osg::Vec3d(1.0 + kSpacing * column, 1.0, 2.25 + kSpacing * row));
  }

  // Depth of a point inside the nearest face, in the box's local frame.
  double depthInBox(const osg::Vec3d& world) const {
    const osg::Vec3d local = world * osg::Matrixd::inverse(_box->getMatrix());
    double inside = 1e9;
    for (int axis = 0; axis < 3; ++axis) {
      inside = std::min({inside, local[axis] - _box->_box._min[axis], _box->_box._max[axis] - local[axis]});
    }
    return inside;
  }

  void expectOnlyPointsInsideSeen() {
    _box->setNodeMask(0);
    draw();
    _box->setNodeMask(~0U);
    int seen = 0, absent = 0;
    for (int column = -kReach; column <= kReach; ++column) {
      for (int row = -kReach; row <= kReach; ++row) {
        const osg::Vec3d point(place(column, row));
        const double inside = depthInBox(point);
        if (std::abs(inside) < 1e-3) {
          continue;
        }
        const osg::Vec2d at = toWindow(point);
        EXPECT_EQ(isYellow(colourAt(at)), inside > 0.0) << column << ", " << row;
        EXPECT_EQ(depthAt(at) < 1.0f, inside > 0.0) << column << ", " << row;
        ++(inside > 0.0 ? seen : absent);
      }
    }
    EXPECT_GT(seen, 20);
    EXPECT_GT(absent, 200);
  }
};

TEST_F(BoxCutterCuts, beforeTheFirstCutEveryPointIsSeen) {
  _box->setNodeMask(0);
  draw();
  EXPECT_GE(find(isYellow).pixels, 9 * (2 * kReach + 1) * (2 * kReach + 1) * 9 / 10);
}

TEST_F(BoxCutterCuts, afterAFacesDragPointsOutsideAreAbsentFromPictureAndDepth) {
  draw();
  EXPECT_TRUE(pushDrawn(cone()));
  for (const double way : {-50.0, 35.0}) {
    EXPECT_TRUE(send(*makeEvent(Event::DRAG, 0, kLeft, cone() + osg::Vec2d(way, 0.0))));
    expectOnlyPointsInsideSeen();
  }
}

TEST_F(BoxCutterCuts, theCutTurnsAndMovesWithTheBox) {
  _box->setMatrix(osg::Matrixd::translate(0.3, 0.5, 0.2));
  showOnly(Cutter::CUTTER_ROTATE, 0);
  draw();
  osg::Vec2d at = toWindow(ringInWorld(ringOracle(0), 0.3));
  EXPECT_TRUE(pushDrawn(at));
  EXPECT_TRUE(send(*makeEvent(Event::DRAG, 0, kLeft, at + osg::Vec2d(0.0, 30.0))));
  expectOnlyPointsInsideSeen();
  EXPECT_TRUE(send(*makeEvent(Event::RELEASE, kLeft, 0, at)));
  showOnly(Cutter::CUTTER_TRANSLATE, 0);
  draw();
  at = toWindow(shaftInWorld(0));
  EXPECT_TRUE(pushDrawn(at));
  EXPECT_TRUE(send(*makeEvent(Event::DRAG, 0, kLeft, at + osg::Vec2d(40.0, 0.0))));
  expectOnlyPointsInsideSeen();
}

}  // namespace
}  // namespace QuorTests
