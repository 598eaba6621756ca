#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace QuorTests {

/// The LAS and LAZ files in the folder that the environment variable QUOR_SCANS names; none without it.
inline std::vector<std::string> scansInFolder() {
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

/// The name of a test of one scan.
inline std::string scanTestName(const testing::TestParamInfo<std::string>& scan) {
  std::string name = std::filesystem::path(scan.param).stem().string();
  std::replace_if(
      name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
  return name;
}

}  // namespace QuorTests
