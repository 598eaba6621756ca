#pragma once

#include "support/platform/Desktop.h"
#include "viewer/Scene.h"
#include "viewer/navigate/Navigator.h"
#include "viewer/navigate/ViewControl.h"

#include <osg/Image>

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <set>
#include <vector>

namespace QuorTests {

constexpr int kWidth = 640;
constexpr int kHeight = 480;
constexpr int kColumns = 8;
constexpr int kRows = 6;
constexpr double kSpacing = 10.0;
constexpr std::uint64_t kFirstPoint = 0xFFFFFFF0ULL;  // the chunk's indices cross the 32-bit boundary

/// Position of a point of the scene: a tilted grid, rows and columns starting at the origin.
osg::Vec3f placeOf(int point);
/// All points, each with different attributes.
QuorViewer::PointChunk createChunk();

/// The captured identifiers and values, as one comparable object.
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

/// A viewer that counts the redraws requested of it.
class CountingViewer : public osgViewer::Viewer {
 public:
  void requestRedraw() override {
    ++redraws;
    osgViewer::Viewer::requestRedraw();
  }
  int redraws = 0;
};

/// The viewer's scene in a real window with the grid of points, and the contents of the captured frame.
class SceneFixture : public testing::Test {
 protected:
  void SetUp() override;

  /// Draws twice, so that state left behind by one frame shows in the other.
  void draw();
  /// The frame captured last.
  const QuorOsgUtils::FrameSnapshot& frame();
  Captured captured();
  /// The points that are visible in a pixel.
  std::set<unsigned int> seenPoints();
  int width();
  int height();
  /// The window position of a world point by the captured matrices: pixels from the bottom left.
  osg::Vec2d windowPlaceOf(const osg::Vec3d& place);
  /// The pixel at that position.
  std::size_t pixelOf(const osg::Vec3d& place);
  /// Expects a pixel's captured depth, unprojected with the captured matrices, to give the point that the pixel shows:
  /// along the view to a fraction of the spacing, across it within the point's radius in pixels.
  void expectDepthsMeetPositions();
  osg::ref_ptr<osg::Image> picture();
  osg::Vec4 colourAt(osg::Image& image, std::size_t pixel);

  /// Moves the display's real pointer to a world point.
  void movePointer(const osg::Vec3d& place);
  /// Draws frames until events that have been sent have arrived.
  void settle();

  osg::ref_ptr<CountingViewer> _viewer;
  RemoteWindow _window;
  osg::ref_ptr<const QuorOsgUtils::FrameSnapshot> _frame;
  std::unique_ptr<QuorViewer::Navigator> _navigator;
  std::unique_ptr<QuorViewer::Scene> _scene;
  std::unique_ptr<QuorViewer::ViewControl> _view;
};

}  // namespace QuorTests
