#include "tests/viewer/SceneFixture.h"

#include "support/CaptureContext.h"
#include "support/platform/Platform.h"
#include "viewer/render/Screenshot.h"
#include "viewer/ui/Window.h"

#include <osgDB/ReadFile>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <string>
#include <thread>

namespace QuorTests {

using namespace QuorViewer;

namespace {

constexpr float kPointPixels = 9.0f;

}  // namespace

osg::Vec3f placeOf(int point) {
  const int column = point % kColumns;
  const int row = point / kColumns;
  return {static_cast<float>(column * kSpacing), static_cast<float>(row * kSpacing), static_cast<float>(column + row)};
}

PointChunk createChunk() {
  PointChunk chunk;
  chunk.points.first = kFirstPoint;
  chunk.points.count = kColumns * kRows;
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

void SceneFixture::SetUp() {
  _viewer = new CountingViewer;
  _navigator = std::make_unique<Navigator>(*_viewer);
  _scene = std::make_unique<Scene>(*_viewer, Hud::HelpRows{{"A", "what A does"}});
  _view = std::make_unique<ViewControl>(*_viewer->getCamera(), *_navigator);
  if (!holdDisplay()) {
    GTEST_SKIP() << "there is no display";
  }
  // An open context keeps the driver loaded; a leak checker could not distinguish an unloaded driver's memory from
  // ours.
  static const auto* const keepsDriverLoaded = new CaptureContext(8, 8);
  ASSERT_NE(keepsDriverLoaded, nullptr);
  openWindow(*_viewer, kWidth, kHeight, "scene test");
  const PointChunk chunk = createChunk();
  _scene->cloud.add(1, chunk);
  _scene->cloud.setPointSizePixels(kPointPixels);
  _scene->hud.resize(kWidth, kHeight);
  _view->setContent({chunk.bounds._min, chunk.bounds._max}, chunk.positions->asVector());
  _view->home();
  draw();
}

void SceneFixture::draw() {
  _viewer->frame();
  _viewer->frame();
}

const QuorOsgUtils::FrameSnapshot& SceneFixture::frame() {
  _frame = _scene->target.tool().latest();
  return *_frame;
}

Captured SceneFixture::captured() {
  return {frame().itemIDs, frame().itemFloats, frame().pcFloats, frame().pcInts};
}

std::set<unsigned int> SceneFixture::seenPoints() {
  std::set<unsigned int> seen;
  const std::vector<unsigned int>& identifiers = frame().itemIDs;
  for (std::size_t first = 0; first < identifiers.size(); first += 4) {
    if (identifiers[first] != 0) {
      seen.insert(identifiers[first + 1] - static_cast<unsigned int>(kFirstPoint & 0xFFFFFFFFU));
    }
  }
  return seen;
}

int SceneFixture::width() {
  return frame().region.width;
}

int SceneFixture::height() {
  return frame().region.height;
}

osg::Vec2d SceneFixture::windowPlaceOf(const osg::Vec3d& place) {
  const osg::Vec3d device = place * frame().viewMatrix * frame().projectionMatrix;
  return {(device.x() + 1.0) * 0.5 * width(), (device.y() + 1.0) * 0.5 * height()};
}

std::size_t SceneFixture::pixelOf(const osg::Vec3d& place) {
  const osg::Vec2d inWindow = windowPlaceOf(place);
  const int x = static_cast<int>(std::floor(inWindow.x()));
  const int y = static_cast<int>(std::floor(inWindow.y()));
  EXPECT_TRUE(x >= 0 && x < width() && y >= 0 && y < height());
  return static_cast<std::size_t>(y) * static_cast<std::size_t>(width()) + static_cast<std::size_t>(x);
}

void SceneFixture::expectDepthsMeetPositions() {
  const osg::Matrixd toDevice = frame().viewMatrix * frame().projectionMatrix;
  for (int point = 0; point < kColumns * kRows; ++point) {
    const osg::Vec3d place = placeOf(point);
    const std::size_t pixel = pixelOf(place);
    const osg::Vec3d device = place * toDevice;
    const double depth = frame().depths[pixel];
    const osg::Vec3d met = osg::Vec3d(device.x(), device.y(), depth * 2.0 - 1.0) * osg::Matrixd::inverse(toDevice);
    EXPECT_LT((met - place).length(), kSpacing * 1e-3) << point;
  }
}

osg::ref_ptr<osg::Image> SceneFixture::picture() {
  const std::string name = "quor_scene_gl_test_" + std::to_string(processNumber()) + ".png";
  const std::string path = (std::filesystem::temp_directory_path() / name).string();
  Screenshot screenshot(*_viewer);
  screenshot.request(path);
  _viewer->frame();
  EXPECT_TRUE(screenshot.captured() && screenshot.finish());
  osg::ref_ptr<osg::Image> image = osgDB::readRefImageFile(path);
  std::filesystem::remove(path);
  return image;
}

osg::Vec4 SceneFixture::colourAt(osg::Image& image, std::size_t pixel) {
  return image.getColor(static_cast<unsigned int>(pixel % static_cast<std::size_t>(width())),
                        static_cast<unsigned int>(pixel / static_cast<std::size_t>(width())));
}

// Pointer events arrive with one of the next frames.
void SceneFixture::settle() {
  for (int i = 0; i < 5; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    _viewer->frame();
  }
}

void SceneFixture::movePointer(const osg::Vec3d& place) {
  const osg::Vec2d pixel = windowPlaceOf(place);
  ASSERT_TRUE(_window.find("scene test"));
  _window.movePointer(static_cast<int>(pixel.x()), height() - 1 - static_cast<int>(pixel.y()));
  settle();
}

}  // namespace QuorTests
