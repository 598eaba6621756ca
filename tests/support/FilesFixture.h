#pragma once

#include "support/platform/Platform.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace QuorTests {

/// Reads without a mapping; shorter where the file ends.
std::string readPlainly(const std::string& path, std::int64_t offset, std::int64_t size);

/// A folder of its own for each test, shared with the processes started for it, and gone afterwards with all that is in
/// it.
class FilesFixture : public ::testing::Test {
 protected:
  FilesFixture();
  ~FilesFixture() override;

  const std::string& folder() const { return _folder; }
  std::string path(const std::string& name) const;
  /// Bytes that differ from place to place and do not repeat with the page. Returns the path.
  std::string makeFile(const std::string& name, std::int64_t size) const;
  /// A file of one size and no contents but the texts at their offsets.
  std::string makeSparseFile(const std::string& name, std::int64_t size,
                             const std::vector<std::pair<std::int64_t, std::string>>& texts) const;

 private:
  std::string _folder;
  bool _isOwner = false;
};

}  // namespace QuorTests
