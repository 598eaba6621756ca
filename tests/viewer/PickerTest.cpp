#include "tests/scan/LasFile.h"
#include "tests/scan/ScanBytes.h"
#include "viewer/measure/Picker.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace {

using namespace QuorTests;
using namespace QuorViewer;
using QuorOsgUtils::FrameSnapshot;

constexpr int kMiddle = 4;  // of nine by nine pixels

/// A frame in which one pixel shows a point of the first scan.
class OnePoint : public QuorOsgUtils::SnapshotSource {
 public:
  explicit OnePoint(std::uint64_t index) {
    _frame->viewport = _frame->region = {0, 0, 2 * kMiddle + 1, 2 * kMiddle + 1};
    const std::size_t pixels = _frame->pixelCount();
    _frame->depths.assign(pixels, 1.0f);
    _frame->itemFloats.assign(4 * pixels, 0.0f);
    _frame->pcFloats.assign(4 * pixels, 0.0f);
    _frame->pcInts.assign(4 * pixels, 0);
    _frame->itemIDs.assign(4 * pixels, 0U);
    const std::size_t middle = *_frame->pixelAt(kMiddle, kMiddle);
    _frame->depths[middle] = 0.5f;
    _frame->itemIDs[4 * middle] = 1U;
    _frame->itemIDs[4 * middle + 1] = static_cast<unsigned int>(index & 0xFFFFFFFFU);
    _frame->itemIDs[4 * middle + 2] = static_cast<unsigned int>(index >> 32U);
  }

  osg::ref_ptr<const FrameSnapshot> latest() const override { return _frame; }

 private:
  osg::ref_ptr<FrameSnapshot> _frame = new FrameSnapshot;
};

class PickerTest : public testing::Test {
 protected:
  PickerTest() { writeLasFile(_folder.path("scan.las"), {{100, 0, 0}, {200, 0, 0}, {300, 0, 0}}, 0.0, 0.0); }

  ScanBytes::Folder _folder;
};

TEST_F(PickerTest, thePointOfThePixelIsReadFromItsFile) {
  ScanSet scans({_folder.path("scan.las")});
  const OnePoint frames(2);
  Picker picker(frames, scans);
  const std::optional<PickedPoint> picked = picker.pick(kMiddle, kMiddle);
  ASSERT_TRUE(picked);
  EXPECT_EQ(picked->point, 2U);
  EXPECT_NEAR(picked->coordinates.x(), 300 * kLasFileScale, 1e-9);
}

TEST_F(PickerTest, anIndexBeyondThirtyTwoBitsIsNotTruncated) {
  ScanSet scans({_folder.path("scan.las")});
  const OnePoint frames((std::uint64_t{5} << 32U) + 2);  // a file of that size would take too long to write
  Picker picker(frames, scans);
  EXPECT_EQ(picker.scanAt(kMiddle, kMiddle), 1U);
  EXPECT_THROW(picker.pick(kMiddle, kMiddle), ScanError);
}

}  // namespace
