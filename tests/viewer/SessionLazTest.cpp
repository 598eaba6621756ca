#include "tests/scan/LazFile.h"
#include "tests/scan/ScanBytes.h"
#include "viewer/session/Session.h"

#include <osgGA/GUIActionAdapter>

#include <gmock/gmock.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace QuorTests;
using namespace QuorViewer;
using namespace std::chrono_literals;
using testing::EndsWith;
using testing::Not;
using testing::StartsWith;

using ScanBytes::kPlenty;
constexpr unsigned kSide = 1100;

/// A compressed scan that can only be read from its start.
class SessionLazTest : public testing::Test {
 protected:
  class Viewer : public osgGA::GUIActionAdapter {
   public:
    void requestRedraw() override {}
    void requestContinuousUpdate(bool /*needed*/) override {}
    void requestWarpPointer(float /*x*/, float /*y*/) override {}
  };

  // The log is written into the working folder.
  void SetUp() override { std::filesystem::current_path(_folder.path(".")); }
  void TearDown() override { std::filesystem::current_path(std::filesystem::temp_directory_path()); }

  std::string writeOneChunk() {
    std::vector<ScanBytes::Point> points(std::size_t{kSide} * kSide);
    for (std::size_t number = 0; number < points.size(); ++number) {
      points[number].x = static_cast<std::int32_t>(100 * (number % kSide));
      points[number].y = static_cast<std::int32_t>(100 * (number / kSide));
      points[number].z = static_cast<std::int32_t>(number * 7 % 1000);
    }
    ScanBytes::FileSettings settings;
    settings.minor = 2;
    settings.format = 0;
    writeLaz(_folder.path("one.laz"), settings, points, kSide * kSide);
    return _folder.path("one.laz");
  }
  void loadUntil(const std::function<bool()>& done) {
    const auto end = std::chrono::steady_clock::now() + 60s;
    while (!done() && std::chrono::steady_clock::now() < end) {
      if (!_session->loadNextChunks(1ms, [] { return false; })) {
        std::this_thread::sleep_for(1ms);
      }
    }
  }

  ScanBytes::Folder _folder;
  PointCloud _cloud;
  LevelOfDetail _detail{kPlenty, FrameBudget(1000, true), {_cloud, {}, {}, {}, {}}};
  Hud _hud{{}};
  Messages _messages{_hud};
  Viewer _viewer;
  std::unique_ptr<Session> _session;
};

TEST_F(SessionLazTest, aSampleIsShownWhileTheIndexIsBuilt) {
  const auto ignore = [](const osg::ref_ptr<osg::Node>& /*points*/) {};
  _session = std::make_unique<Session>(
      std::vector<std::string>{writeOneChunk()}, kPlenty, TreeSettings{true, _folder.path("index"), kPlenty, kPlenty},
      Session::Dependencies{_cloud, _detail, _hud, _messages, _viewer},
      Session::Listener{[] {}, [](unsigned int /*scan*/) {}, [] {}, [] {}, ignore, ignore});
  _session->start();
  loadUntil([this] { return _cloud.boundsOf(1).valid(); });
  EXPECT_FALSE(_detail.isOpen(1)) << "the index is not there yet";
  EXPECT_THAT(_session->pointCountText(), EndsWith(" drawn of 1,210,000 points"));
  EXPECT_THAT(_session->pointCountText(), Not(StartsWith("0 ")));
  loadUntil([this] { return _session->summary().elevations.second > 0.0f; });
  EXPECT_GT(_session->summary().elevations.second, _session->summary().elevations.first) << "the sample is measured";
  loadUntil([this] { return _detail.isOpen(1); });
  EXPECT_TRUE(_detail.isOpen(1));
  loadUntil([this] { return _session->isLoaded(); });
  EXPECT_TRUE(_session->isReplacing()) << "until the tree is on screen";
}

}  // namespace
