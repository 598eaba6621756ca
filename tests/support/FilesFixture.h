#pragma once

#include "support/platform/Platform.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace QuorTests {

/// Reads without a mapping; the result is shorter at the end of the file.
std::string readPlainly(const std::string& path, std::int64_t offset, std::int64_t size);

/// A separate folder for each test, shared with the processes started for it and deleted afterwards with its contents.
class FilesFixture : public ::testing::Test {
 protected:
  FilesFixture();
  ~FilesFixture() override;

  const std::string& folder() const { return _folder; }
  std::string path(const std::string& name) const;
  /// Writes bytes that differ from offset to offset and do not repeat with the page. Returns the path.
  std::string makeFile(const std::string& name, std::int64_t size) const;
  /// A sparse file of the given size that holds only the texts at their offsets.
  std::string makeSparseFile(const std::string& name, std::int64_t size,
                             const std::vector<std::pair<std::int64_t, std::string>>& texts) const;

 private:
  std::string _folder;
  bool _isOwner = false;
};

}  // namespace QuorTests
