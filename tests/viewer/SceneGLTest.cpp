#include "DisplayConnection.h"
#include "Scene.h"
#include "Screenshot.h"
#include "ViewControl.h"
#include "Window.h"
#include "support/CaptureContext.h"

#include <QuorOsgUtils/SPointCloudManipulator.h>

#include <osg/ShapeDrawable>
#include <osgDB/ReadFile>

#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <memory>

namespace {

using namespace QuorViewer;

constexpr int kWidth = 640;
constexpr int kHeight = 480;
constexpr int kColumns = 8;
constexpr int kRows = 6;
constexpr double kSpacing = 10.0;
constexpr float kPointPixels = 9.0F;
constexpr std::uint64_t kFirstPoint = 0xFFFFFFF0ULL;  // the chunk's indices cross the 32-bit border

osg::Vec3f placeOf(int point) {
  const int column = point % kColumns;
  const int row = point / kColumns;
  return {static_cast<float>(column * kSpacing), static_cast<float>(row * kSpacing), static_cast<float>(column + row)};
}

PointChunk createChunk() {
  PointChunk chunk;
  chunk.firstPoint = kFirstPoint;
  chunk.positions = new osg::Vec3Array;
  chunk.colours = new osg::Vec4ubArray;
  chunk.intensities = new osg::UShortArray;
  chunk.classesReturns = new osg::Vec2ubArray;
  for (int point = 0; point < kColumns * kRows; ++point) {
    const auto byte = static_cast<unsigned char>(point);
    chunk.positions->push_back(placeOf(point));
    chunk.colours->push_back(osg::Vec4ub(200, 100, byte, 255));
    chunk.intensities->push_back(static_cast<unsigned short>(60000 + point));
    chunk.classesReturns->push_back(
        osg::Vec2ub(static_cast<unsigned char>(200 + point), static_cast<unsigned char>((point % 8) | (15 << 4))));
    chunk.bounds.expandBy(placeOf(point));
  }
  return chunk;
}

// The captured identifiers and values, as one comparable whole.
struct Captured {
  std::vector<unsigned int> identifiers;
  std::vector<float> positions;
  std::vector<float> values;
  std::vector<int> codes;

  bool operator==(const Captured& other) const {
    return identifiers == other.identifiers && positions == other.positions && values == other.values &&
           codes == other.codes;
  }
};

class SceneGLTest : public testing::Test {
 protected:
  void SetUp() override {
    _viewer = new osgViewer::Viewer;
    _manipulator = new QuorOsgUtils::SPointCloudManipulator(_viewer);
    _scene = std::make_unique<Scene>(*_viewer, Hud::HelpRows{{"A", "what A does"}});
    _view = std::make_unique<ViewControl>(*_viewer->getCamera(), *_manipulator);
    if (!QuorTests::holdDisplay()) {
      GTEST_SKIP() << "there is no display";
    }
    // An open context keeps the driver loaded; a leak checker could not tell an unloaded driver's memory from ours.
    static const auto* const keepsDriverLoaded = new QuorTests::CaptureContext(8, 8);
    ASSERT_NE(keepsDriverLoaded, nullptr);
    openWindow(*_viewer, kWidth, kHeight, "scene test");
    _viewer->setCameraManipulator(_manipulator);
    const PointChunk chunk = createChunk();
    _scene->cloud.add(1, chunk);
    _scene->cloud.setPointSizePixels(kPointPixels);
    _scene->hud.resize(kWidth, kHeight);
    _view->setContent({chunk.bounds._min, chunk.bounds._max}, chunk.positions->asVector());
    _view->home();
    draw();
  }

  // Twice, so that what one frame leaves behind in the state shows in the other.
  void draw() {
    _viewer->frame();
    _viewer->frame();
  }

  QuorOsgUtils::ScreenCaptureTool::FrameBuffer& frame() { return _scene->target.tool().getFrameBuffer(); }

  Captured captured() {
    return {frame().getItemIDBuffer(), frame().getItemFloatBuffer(), frame().getPCFloatBuffer(),
            frame().getPCUIntBuffer()};
  }

  int width() {
    int x = 0, y = 0, frameWidth = 0, frameHeight = 0;
    frame().getViewPort(x, y, frameWidth, frameHeight);
    return frameWidth;
  }

  int height() { return static_cast<int>(frame().getDepthBuffer().size()) / std::max(width(), 1); }

  // The pixel on which a point's middle falls, by the captured matrices.
  std::size_t pixelOf(const osg::Vec3d& place) {
    const osg::Vec3d device = place * frame().getViewMatrix() * frame().getProjectionMatrix();
    const int x = static_cast<int>(std::floor((device.x() + 1.0) * 0.5 * width()));
    const int y = static_cast<int>(std::floor((device.y() + 1.0) * 0.5 * height()));
    EXPECT_TRUE(x >= 0 && x < width() && y >= 0 && y < height());
    return static_cast<std::size_t>(y) * static_cast<std::size_t>(width()) + static_cast<std::size_t>(x);
  }

  void expectEveryPointIsCaptured() {
    for (int point = 0; point < kColumns * kRows; ++point) {
      SCOPED_TRACE(point);
      const osg::Vec3f place = placeOf(point);
      const std::size_t first = pixelOf(place) * 4;
      const std::uint64_t index = kFirstPoint + static_cast<std::uint64_t>(point);
      const unsigned int* identifier = &frame().getItemIDBuffer()[first];
      EXPECT_EQ(identifier[0], 1U);
      EXPECT_EQ(identifier[1], static_cast<unsigned int>(index & 0xFFFFFFFFU));
      EXPECT_EQ(identifier[2], static_cast<unsigned int>(index >> 32U));
      EXPECT_EQ(identifier[3], 1U);
      const float* position = &frame().getItemFloatBuffer()[first];
      EXPECT_EQ(osg::Vec3f(position[0], position[1], position[2]), place);
      EXPECT_EQ(position[3], 1.0F);
      EXPECT_EQ(frame().getPCFloatBuffer()[first], static_cast<float>(60000 + point));
      const int* codes = &frame().getPCUIntBuffer()[first];
      EXPECT_EQ(static_cast<unsigned int>(codes[0]), static_cast<unsigned int>(index & 0xFFFFFFFFU));
      EXPECT_EQ(codes[1], 200 + point);
      EXPECT_EQ(codes[2], point % 8);
      EXPECT_EQ(codes[3], 15);
    }
  }

  // A pixel's captured depth, led back through the captured matrices, must meet the point that the pixel shows: along
  // the view to a fraction of the spacing, across it within the point's radius in pixels.
  void expectDepthsMeetPositions() {
    const osg::Matrixd toDevice = frame().getViewMatrix() * frame().getProjectionMatrix();
    for (int point = 0; point < kColumns * kRows; ++point) {
      const osg::Vec3d place = placeOf(point);
      const std::size_t pixel = pixelOf(place);
      const osg::Vec3d device = place * toDevice;
      const double depth = frame().getDepthBuffer()[pixel];
      const osg::Vec3d met = osg::Vec3d(device.x(), device.y(), depth * 2.0 - 1.0) * osg::Matrixd::inverse(toDevice);
      EXPECT_LT((met - place).length(), kSpacing * 1e-3) << point;
    }
  }

  osg::ref_ptr<osg::Image> picture() {
    const std::string name = "quor_scene_gl_test_" + std::to_string(getpid()) + ".png";
    const std::string path = (std::filesystem::temp_directory_path() / name).string();
    Screenshot screenshot(_scene->target.tool());
    screenshot.request(path);
    _viewer->frame();
    EXPECT_TRUE(screenshot.captured() && screenshot.finish());
    osg::ref_ptr<osg::Image> image = osgDB::readRefImageFile(path);
    std::filesystem::remove(path);
    return image;
  }

  osg::Vec4 colourAt(osg::Image& image, std::size_t pixel) {
    return image.getColor(static_cast<unsigned int>(pixel % static_cast<std::size_t>(width())),
                          static_cast<unsigned int>(pixel / static_cast<std::size_t>(width())));
  }

  osg::ref_ptr<osgViewer::Viewer> _viewer;
  osg::ref_ptr<QuorOsgUtils::SPointCloudManipulator> _manipulator;
  std::unique_ptr<Scene> _scene;
  std::unique_ptr<ViewControl> _view;
};

TEST_F(SceneGLTest, everyAttachmentHoldsWhatTheScanSaysOfThePoint) {
  expectEveryPointIsCaptured();
}

TEST_F(SceneGLTest, theBackgroundIsZeroInEveryIdentifierAttachmentAndFarthestInDepth) {
  const std::size_t corner = static_cast<std::size_t>(width() * (height() - 1));
  EXPECT_EQ(frame().getDepthBuffer()[corner], 1.0F);
  for (std::size_t channel = 0; channel < 4; ++channel) {
    EXPECT_EQ(frame().getItemIDBuffer()[corner * 4 + channel], 0U);
    EXPECT_EQ(frame().getItemFloatBuffer()[corner * 4 + channel], 0.0F);
    EXPECT_EQ(frame().getPCFloatBuffer()[corner * 4 + channel], 0.0F);
    EXPECT_EQ(frame().getPCUIntBuffer()[corner * 4 + channel], 0);
  }
}

TEST_F(SceneGLTest, theCapturedDepthLeadsBackToTheCapturedPositionInBothProjections) {
  expectDepthsMeetPositions();
  _view->toggleProjection();
  draw();
  ASSERT_TRUE(_view->isOrthographic());
  expectEveryPointIsCaptured();
  expectDepthsMeetPositions();
}

TEST_F(SceneGLTest, eyeDomeLightingDarkensColoursAndLeavesTheIdentifiersAlone) {
  _scene->cloud.setColourMode(ColourMode::Rgb);
  _scene->cloud.setPointSizePixels(32.0F);
  _scene->eyeDome.setOn(false);
  draw();
  const Captured plain = captured();
  const osg::ref_ptr<osg::Image> plainPicture = picture();
  _scene->eyeDome.setOn(true);
  draw();
  EXPECT_TRUE(captured() == plain);
  const osg::ref_ptr<osg::Image> litPicture = picture();
  int darker = 0, brighter = 0;
  for (std::size_t pixel = 0; pixel < frame().getDepthBuffer().size(); ++pixel) {
    const osg::Vec4 before = colourAt(*plainPicture, pixel);
    const osg::Vec4 after = colourAt(*litPicture, pixel);
    darker += after.r() < before.r() - 0.02F ? 1 : 0;
    brighter += after.r() > before.r() + 0.02F ? 1 : 0;
    if (frame().getDepthBuffer()[pixel] == 1.0F) {
      EXPECT_EQ(after, before) << "the backdrop changed at pixel " << pixel;
    }
  }
  EXPECT_GT(darker, 100);
  EXPECT_EQ(brighter, 0);
}

TEST_F(SceneGLTest, markersWordsAndForeignNodesShowAndLeaveTheIdentifiersAlone) {
  const Captured before = captured();
  const osg::Vec3d marked = placeOf(20);
  const osg::Vec4 colourBefore = colourAt(*picture(), pixelOf(marked));
  _scene->marker.mark(placeOf(27));
  _scene->marker.mark(marked);
  _scene->hud.showHelp(true);
  _scene->hud.setMessage("a message");
  osg::ref_ptr<osg::ShapeDrawable> ball = new osg::ShapeDrawable(new osg::Sphere(osg::Vec3(placeOf(0)), 4.0F));
  ball->setColor(osg::Vec4(1.0F, 0.0F, 1.0F, 1.0F));
  ball->getOrCreateStateSet()->setMode(GL_DEPTH_TEST, osg::StateAttribute::OFF);
  _viewer->getSceneData()->asGroup()->addChild(ball);
  draw();
  _scene->hud.showHelp(false);
  draw();
  EXPECT_TRUE(captured() == before);
  const osg::ref_ptr<osg::Image> after = picture();
  EXPECT_NE(colourAt(*after, pixelOf(marked)), colourBefore);
  EXPECT_EQ(colourAt(*after, pixelOf(placeOf(0))), osg::Vec4(1.0F, 0.0F, 1.0F, 1.0F));
}

TEST_F(SceneGLTest, eachColourModeShowsItsColours) {
  _scene->eyeDome.setOn(false);
  const std::size_t pixel = pixelOf(placeOf(30));
  _scene->cloud.setColourMode(ColourMode::Rgb);
  EXPECT_NEAR(colourAt(*picture(), pixel).r(), 200.0F / 255.0F, 0.005F);
  _scene->cloud.setColourMode(ColourMode::Intensity);
  _scene->cloud.setIntensityRange({60000.0F, 60060.0F});
  EXPECT_NEAR(colourAt(*picture(), pixel).r(), 0.12F + 0.88F * 0.5F, 0.005F);
  _scene->cloud.setColourMode(ColourMode::Elevation);
  _scene->cloud.setElevationRange({100.0F, 200.0F});
  EXPECT_NEAR(colourAt(*picture(), pixel).b(), rampColour(0.0F).z(), 0.01F);
  _scene->cloud.setElevationRange({-200.0F, -100.0F});
  EXPECT_NEAR(colourAt(*picture(), pixel).r(), rampColour(1.0F).x(), 0.01F);
}

TEST_F(SceneGLTest, theFrameFollowsTheWindowsSize) {
  for (const auto& [newWidth, newHeight] : {std::pair{333, 251}, std::pair{801, 77}, std::pair{640, 480}}) {
    _viewer->getCamera()->getGraphicsContext()->resized(60, 60, newWidth, newHeight);
    _view->home();
    draw();
    EXPECT_EQ(width(), newWidth);
    EXPECT_EQ(height(), newHeight);
    _scene->cloud.setPointSizePixels(3.0F);
    draw();
    expectEveryPointIsCaptured();
  }
}

TEST_F(SceneGLTest, aPointFarFromTheLocalOriginKeepsItsPlaceToTheMillimetre) {
  const float far = 8000.25F;
  PointChunk chunk = createChunk();
  for (osg::Vec3f& position : *chunk.positions) {
    position.x() += far;
  }
  chunk.bounds._min.x() += far;
  chunk.bounds._max.x() += far;
  _scene->cloud.add(2, chunk);
  _view->setContent({chunk.bounds._min, chunk.bounds._max}, chunk.positions->asVector());
  _view->home();
  draw();
  const osg::Vec3f place = placeOf(5) + osg::Vec3f(far, 0.0F, 0.0F);
  const std::size_t first = pixelOf(place) * 4;
  EXPECT_EQ(frame().getItemIDBuffer()[first], 2U);
  EXPECT_NEAR(frame().getItemFloatBuffer()[first], place.x(), 1e-3F);
}

TEST_F(SceneGLTest, theSwitchOfProjectionKeepsTheSizeAtTheOrbitCentre) {
  const osg::Vec3d centre = _manipulator->getCenter();
  const osg::Vec3d right = _manipulator->getViewRight();
  const auto pixelsAcross = [&] {
    draw();
    const osg::Matrixd toDevice = frame().getViewMatrix() * frame().getProjectionMatrix();
    return ((centre + right) * toDevice - centre * toDevice).x() * 0.5 * kWidth;
  };
  const double before = pixelsAcross();
  _view->toggleProjection();
  EXPECT_NEAR(pixelsAcross(), before, before * 1e-6);
  _view->toggleProjection();
  EXPECT_NEAR(pixelsAcross(), before, before * 1e-6);
}

TEST_F(SceneGLTest, drawingRaisesNoGlError) {
  for (int mode = 0; mode < kColourModeCount; ++mode) {
    _scene->cloud.setColourMode(static_cast<ColourMode>(mode));
    draw();
  }
  EXPECT_EQ(_scene->target.glErrorCount(), 0U);
}

}  // namespace
