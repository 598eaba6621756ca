#include "common/ProgressLine.h"

#include <gtest/gtest.h>

namespace {

using namespace QuorViewer;

TEST(ProgressLineTest, theTextHasTheActivityTheNumbersAndWholePercent) {
  EXPECT_EQ(progressText("loading", 1000, 3000), "loading 1,000 of 3,000 points (33 %)");
  EXPECT_EQ(progressText("writing", 2999, 3000), "writing 2,999 of 3,000 points (99 %)");
  EXPECT_EQ(progressText("saving: read", 3000, 3000), "saving: read 3,000 of 3,000 points (100 %)");
}

TEST(ProgressLineTest, noPointsAreOneHundredPercent) {
  EXPECT_EQ(progressText("loading", 0, 0), "loading 0 of 0 points (100 %)");
}

TEST(ProgressLineTest, nothingIsWrittenToAnErrorStreamThatIsNoTerminal) {
  testing::internal::CaptureStderr();
  const ProgressLine line("loading");
  line.show(1, 2);
  line.clear();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
