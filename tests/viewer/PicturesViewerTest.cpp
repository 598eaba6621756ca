// Compares the pictures of one system with those of another.
#include "tests/viewer/ViewerFixture.h"

#include <osg/Image>
#include <osgDB/ReadFile>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>

namespace {

using namespace QuorTests;

// Tolerances: how much a channel may differ before its pixel counts as different, and the share of pixels that may be
// different. Points on the border between two pixels fall to either side, and text is smoothed in two ways.
constexpr int kSameChannel = 16;
constexpr double kOtherPixels = 0.01;

bool isOther(const unsigned char* a, const unsigned char* b) {
  bool other = false;
  for (int channel = 0; channel < 3; ++channel) {
    other = other || std::abs(a[channel] - b[channel]) > kSameChannel;
  }
  return other;
}

/// The share of pixels that differ; 1 unless there are two pictures of the same size.
double shareOfOthers(const osg::Image* a, const osg::Image* b) {
  if (a == nullptr || b == nullptr || a->s() != b->s() || a->t() != b->t()) {
    return 1.0;
  }
  const auto width = static_cast<unsigned int>(a->s());
  const auto height = static_cast<unsigned int>(a->t());
  unsigned int others = 0;
  for (unsigned int row = 0; row < height; ++row) {
    for (unsigned int column = 0; column < width; ++column) {
      others += isOther(a->data(column, row), b->data(column, row)) ? 1 : 0;
    }
  }
  return static_cast<double>(others) / (width * height);
}

using PicturesViewerTest = ViewerFixture;

TEST_F(PicturesViewerTest, thePicturesOfTheTourEqualThoseOfAnotherSystem) {
  const char* const others = std::getenv("QUOR_TOUR_PICTURES");
  if (others == nullptr) {
    GTEST_SKIP() << "QUOR_TOUR_PICTURES is not set to a folder of screenshots from another system";
  }
  start({"--size", "480x270", "--tour", path("tour")});
  ASSERT_EQ(_viewer->exitStatus(std::chrono::seconds(240)), 0) << _viewer->output();
  int pictures = 0;
  for (const auto& entry : std::filesystem::directory_iterator(others)) {
    if (entry.path().extension() != ".png") {
      continue;
    }
    const std::string name = entry.path().filename().string();
    const osg::ref_ptr<osg::Image> theirs = osgDB::readRefImageFile(entry.path().string());
    const osg::ref_ptr<osg::Image> ours = osgDB::readRefImageFile(path("tour/" + name));
    const double share = shareOfOthers(theirs.get(), ours.get());
    EXPECT_LE(share, kOtherPixels) << name;
    std::cout << name << ": " << 100.0 * share << " % of the pixels differ\n";
    ++pictures;
  }
  EXPECT_GT(pictures, 20);
}

}  // namespace
