#include "tests/viewer/SceneFixture.h"

#include <osg/ShapeDrawable>

#include <gtest/gtest.h>

namespace {

using namespace QuorTests;
using namespace QuorViewer;

class SceneGLTest : public SceneFixture {
 protected:
  void expectEveryPointIsCaptured() {
    for (int point = 0; point < kColumns * kRows; ++point) {
      SCOPED_TRACE(point);
      const osg::Vec3f place = placeOf(point);
      const std::size_t first = pixelOf(place) * 4;
      const std::uint64_t index = kFirstPoint + static_cast<std::uint64_t>(point);
      const unsigned int* identifier = &frame().itemIDs[first];
      EXPECT_EQ(identifier[0], 1U);
      EXPECT_EQ(identifier[1], static_cast<unsigned int>(index & 0xFFFFFFFFU));
      EXPECT_EQ(identifier[2], static_cast<unsigned int>(index >> 32U));
      EXPECT_EQ(identifier[3], 1U);
      const float* position = &frame().itemFloats[first];
      EXPECT_EQ(osg::Vec3f(position[0], position[1], position[2]), place);
      EXPECT_EQ(position[3], 1.0f);
      EXPECT_EQ(frame().pcFloats[first], static_cast<float>(60000 + point));
      const int* codes = &frame().pcInts[first];
      EXPECT_EQ(static_cast<unsigned int>(codes[0]), static_cast<unsigned int>(index & 0xFFFFFFFFU));
      EXPECT_EQ(codes[1], 200 + point);
      EXPECT_EQ(codes[2], point % 8);
      EXPECT_EQ(codes[3], 15);
    }
  }
};

TEST_F(SceneGLTest, everyAttachmentHoldsTheScansValuesOfThePoint) {
  expectEveryPointIsCaptured();
}

// Runs of three points, every second of the file's, a thousand apart: 0, 2, 4, 1000, 1002, …
TEST_F(SceneGLTest, pointsOfADecimatedChunkAreIdentifiedByTheirPlaceInTheFile) {
  PointChunk chunk = createChunk();
  chunk.points.step = 2;
  chunk.points.perRun = 3;
  chunk.points.runStep = 1000;
  _scene->cloud.add(3, chunk);
  _scene->cloud.node()->getChild(0)->setNodeMask(0);
  draw();
  for (unsigned int point = 0; point < kColumns * kRows; ++point) {
    const unsigned int* identifier = &frame().itemIDs[pixelOf(placeOf(static_cast<int>(point))) * 4];
    const std::uint64_t index = kFirstPoint + point / 3 * 1000 + point % 3 * 2;
    EXPECT_EQ(identifier[0], 3U);
    EXPECT_EQ(identifier[1], static_cast<unsigned int>(index & 0xFFFFFFFFU)) << point;
    EXPECT_EQ(identifier[2], static_cast<unsigned int>(index >> 32U)) << point;
  }
}

TEST_F(SceneGLTest, theBackgroundIsZeroInEveryIdentifierAttachmentAndFarthestInDepth) {
  const std::size_t corner = static_cast<std::size_t>(width() * (height() - 1));
  EXPECT_EQ(frame().depths[corner], 1.0f);
  for (std::size_t channel = 0; channel < 4; ++channel) {
    EXPECT_EQ(frame().itemIDs[corner * 4 + channel], 0U);
    EXPECT_EQ(frame().itemFloats[corner * 4 + channel], 0.0f);
    EXPECT_EQ(frame().pcFloats[corner * 4 + channel], 0.0f);
    EXPECT_EQ(frame().pcInts[corner * 4 + channel], 0);
  }
}

TEST_F(SceneGLTest, theCapturedDepthLeadsBackToTheCapturedPositionInBothProjections) {
  expectDepthsMeetPositions();
  _view->toggleProjection();
  _view->home();  // the scale in the middle was kept, which may have left points at the sides outside
  draw();
  ASSERT_TRUE(_view->isOrthographic());
  expectEveryPointIsCaptured();
  expectDepthsMeetPositions();
}

TEST_F(SceneGLTest, eyeDomeLightingDarkensColoursAndLeavesTheIdentifiersAlone) {
  _scene->cloud.setColourMode(ColourMode::Rgb);
  _scene->cloud.setPointSizePixels(32.0f);
  _scene->eyeDome.setOn(false);
  draw();
  const Captured plain = captured();
  const osg::ref_ptr<osg::Image> plainPicture = picture();
  _scene->eyeDome.setOn(true);
  draw();
  EXPECT_TRUE(captured() == plain);
  const osg::ref_ptr<osg::Image> litPicture = picture();
  int darker = 0, brighter = 0;
  for (std::size_t pixel = 0; pixel < frame().depths.size(); ++pixel) {
    const osg::Vec4 before = colourAt(*plainPicture, pixel);
    const osg::Vec4 after = colourAt(*litPicture, pixel);
    darker += after.r() < before.r() - 0.02f ? 1 : 0;
    brighter += after.r() > before.r() + 0.02f ? 1 : 0;
    if (frame().depths[pixel] == 1.0f) {
      EXPECT_EQ(after, before) << "the backdrop changed at pixel " << pixel;
    }
  }
  EXPECT_GT(darker, 100);
  EXPECT_EQ(brighter, 0);
}

TEST_F(SceneGLTest, markersTextAndOtherNodesShowAndLeaveTheIdentifiersAlone) {
  const Captured before = captured();
  const osg::Vec3d marked = placeOf(20);
  const osg::Vec4 colourBefore = colourAt(*picture(), pixelOf(marked));
  _scene->marker.mark(placeOf(27));
  _scene->marker.mark(marked);
  _scene->hud.showHelp(true);
  _scene->hud.setMessage("a message");
  osg::ref_ptr<osg::ShapeDrawable> ball = new osg::ShapeDrawable(new osg::Sphere(osg::Vec3(placeOf(0)), 4.0f));
  ball->setColor(osg::Vec4(1.0f, 0.0f, 1.0f, 1.0f));
  ball->getOrCreateStateSet()->setMode(GL_DEPTH_TEST, osg::StateAttribute::OFF);
  _viewer->getSceneData()->asGroup()->addChild(ball);
  draw();
  _scene->hud.showHelp(false);
  draw();
  EXPECT_TRUE(captured() == before);
  const osg::ref_ptr<osg::Image> after = picture();
  EXPECT_NE(colourAt(*after, pixelOf(marked)), colourBefore);
  EXPECT_EQ(colourAt(*after, pixelOf(placeOf(0))), osg::Vec4(1.0f, 0.0f, 1.0f, 1.0f));
}

TEST_F(SceneGLTest, eachColourModeShowsItsColours) {
  _scene->eyeDome.setOn(false);
  const std::size_t pixel = pixelOf(placeOf(30));
  _scene->cloud.setColourMode(ColourMode::Rgb);
  EXPECT_NEAR(colourAt(*picture(), pixel).r(), 200.0f / 255.0f, 0.005f);
  _scene->cloud.setColourMode(ColourMode::Intensity);
  _scene->cloud.setIntensityRange({60000.0f, 60060.0f});
  EXPECT_NEAR(colourAt(*picture(), pixel).r(), 0.12f + 0.88f * 0.5f, 0.005f);
  _scene->cloud.setColourMode(ColourMode::Elevation);
  _scene->cloud.setElevationRange({100.0f, 200.0f});
  EXPECT_NEAR(colourAt(*picture(), pixel).b(), rampColour(0.0f).z(), 0.01f);
  _scene->cloud.setElevationRange({-200.0f, -100.0f});
  EXPECT_NEAR(colourAt(*picture(), pixel).r(), rampColour(1.0f).x(), 0.01f);
}

TEST_F(SceneGLTest, theCapturedFrameFollowsTheWindowsSize) {
  for (const auto& [newWidth, newHeight] : {std::pair{333, 251}, std::pair{801, 77}, std::pair{640, 480}}) {
    _viewer->getCamera()->getGraphicsContext()->resized(60, 60, newWidth, newHeight);
    _view->home();
    draw();
    EXPECT_EQ(width(), newWidth);
    EXPECT_EQ(height(), newHeight);
    _scene->cloud.setPointSizePixels(3.0f);
    draw();
    expectEveryPointIsCaptured();
  }
}

TEST_F(SceneGLTest, aPointFarFromTheLocalOriginKeepsItsPlaceToTheMillimetre) {
  const float distant = 8000.25f;
  PointChunk chunk = createChunk();
  for (osg::Vec3f& position : *chunk.positions) {
    position.x() += distant;
  }
  chunk.bounds._min.x() += distant;
  chunk.bounds._max.x() += distant;
  _scene->cloud.add(2, chunk);
  _view->setContent({chunk.bounds._min, chunk.bounds._max}, chunk.positions->asVector());
  _view->home();
  draw();
  const osg::Vec3f place = placeOf(5) + osg::Vec3f(distant, 0.0f, 0.0f);
  const std::size_t first = pixelOf(place) * 4;
  EXPECT_EQ(frame().itemIDs[first], 2U);
  EXPECT_NEAR(frame().itemFloats[first], place.x(), 1e-3f);
}

TEST_F(SceneGLTest, switchingTheProjectionKeepsTheSizeInTheMiddleOfTheView) {
  draw();
  _navigator->centreOnScene();
  const osg::Vec3d centre = _navigator->pose().centre;
  const osg::Vec3d right = _navigator->pose().rotation * osg::Vec3d(1.0, 0.0, 0.0);
  const auto pixelsAcross = [&] {
    draw();
    const osg::Matrixd toDevice = frame().viewMatrix * frame().projectionMatrix;
    return ((centre + right) * toDevice - centre * toDevice).x() * 0.5 * kWidth;
  };
  const double before = pixelsAcross();
  constexpr double kDepthPrecision = 1e-3;  // of the captured depths
  _view->toggleProjection();
  EXPECT_NEAR(pixelsAcross(), before, before * kDepthPrecision);
  _view->toggleProjection();
  EXPECT_NEAR(pixelsAcross(), before, before * kDepthPrecision);
}

TEST_F(SceneGLTest, drawingRaisesNoGlError) {
  for (int mode = 0; mode < kColourModeCount; ++mode) {
    _scene->cloud.setColourMode(static_cast<ColourMode>(mode));
    draw();
  }
  EXPECT_EQ(_scene->target.glErrorCount(), 0U);
}

}  // namespace
