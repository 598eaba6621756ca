#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace QuorTests {

/// One line of the system's listing of this process's mappings.
struct ListedView {
  std::uintptr_t start = 0;
  std::size_t bytes = 0;
  std::int64_t offset = 0;
};

/// What the system says of this process. The path is the one that the file was opened with.
std::vector<ListedView> listedViews(const std::string& path);
std::vector<int> listedDescriptors(const std::string& path);
std::size_t countOfDescriptors();

std::int64_t pageBytes();

/// The text in the encoding GBK, by the system's own conversion.
std::string gbk(const std::string& utf8);

/// Reads without a mapping; shorter where the file ends.
std::string readPlainly(const std::string& path, std::int64_t offset, std::int64_t size);

/// A folder of its own for each test, gone afterwards with all that is in it.
class FilesFixture : public ::testing::Test {
 protected:
  FilesFixture();
  ~FilesFixture() override;

  std::string path(const std::string& name) const;
  /// Bytes that differ from place to place and do not repeat with the page. Returns the path.
  std::string makeFile(const std::string& name, std::int64_t size) const;
  /// A file of one size and no contents but the texts at their offsets.
  std::string makeSparseFile(const std::string& name, std::int64_t size,
                             const std::vector<std::pair<std::int64_t, std::string>>& texts) const;

 private:
  std::string _folder;
};

}  // namespace QuorTests
