#include "support/platform/Platform.h"
#include "tests/viewer/ViewerProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace {

std::vector<std::string> scansToTour() {
  std::vector<std::string> scans;
  const char* folder = std::getenv("QUOR_SCANS");
  for (const auto& entry : std::filesystem::directory_iterator(folder != nullptr ? folder : ".")) {
    const std::string extension = entry.path().extension().string();
    if (folder != nullptr && (extension == ".las" || extension == ".laz")) {
      scans.push_back(entry.path().string());
    }
  }
  std::sort(scans.begin(), scans.end());
  return scans;
}

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

INSTANTIATE_TEST_SUITE_P(Folder, ScansTourTest, testing::ValuesIn(scansToTour()), [](const auto& scan) {
  std::string name = std::filesystem::path(scan.param).stem().string();
  std::replace_if(
      name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
  return name;
});

}  // namespace
