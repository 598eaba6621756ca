#include "support/platform/Platform.h"
#include "tests/viewer/ScansFolder.h"
#include "tests/viewer/ViewerProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace {

class ScansTourTest : public testing::TestWithParam<std::string> {};

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(ScansTourTest);

TEST_P(ScansTourTest, runsThroughWithoutAGlError) {
  if (!QuorTests::holdDisplay()) {
    GTEST_SKIP() << "there is no display";
  }
  const auto folder =
      std::filesystem::temp_directory_path() / ("quor_scans_tour_" + std::to_string(QuorTests::processNumber()));
  QuorTests::ViewerProcess viewer({"--size", "480x270", "--tour", folder.string(), GetParam()});
  EXPECT_EQ(viewer.exitStatus(std::chrono::minutes(14)), 0) << viewer.output();
  EXPECT_THAT(viewer.output(), testing::HasSubstr(" 0 GL errors"));
  std::filesystem::remove_all(folder);
}

INSTANTIATE_TEST_SUITE_P(Folder, ScansTourTest, testing::ValuesIn(QuorTests::scansInFolder()), QuorTests::scanTestName);

}  // namespace
