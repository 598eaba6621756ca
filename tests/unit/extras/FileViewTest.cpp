#include "support/FilesFixture.h"
#include "support/OnThreads.h"

#include <QuorOsgUtils/FilePtr.h>
#include <QuorOsgUtils/FileView.h>
#include <QuorOsgUtils/ReadOnlyFile.h>

#include <osg/ref_ptr>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <limits>
#include <string>
#include <system_error>
#include <utility>

using namespace QuorOsgUtils;
using namespace QuorTests;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

namespace {

constexpr std::int64_t kFileBytes = 300000;
constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();

std::string textOf(const FileView& view) {
  return {reinterpret_cast<const char*>(view.data()), static_cast<std::size_t>(view.size())};
}

std::string reasonOf(int error) {
  return std::system_category().message(error);
}

class FileViewTest : public FilesFixture {
 protected:
  const std::string _path = makeFile("big.bin", kFileBytes);
  osg::ref_ptr<FilePtr> _writable = new FilePtr(_path.c_str());
  osg::ref_ptr<ReadOnlyFile> _readOnly = new ReadOnlyFile(_path);
};

struct Range {
  std::int64_t offset;
  std::int64_t size;
};

}  // namespace

TEST_F(FileViewTest, aRangeAtAnyOffsetHasTheBytesOfTheFile) {
  const std::int64_t step = granularityBytes();
  for (const Range& range : {Range{0, 10}, Range{1, 1}, Range{step, 100}, Range{step + 5, 7}, Range{step - 1, 2},
                             Range{2 * step + 17, step}, Range{kFileBytes - 3, 3}, Range{0, kFileBytes}}) {
    SCOPED_TRACE(range.offset);
    const std::string expected = readPlainly(_path, range.offset, range.size);
    const FileView readOnly(*_readOnly, range.offset, range.size);
    const FileView writable(*_writable, range.offset, range.size);
    ASSERT_TRUE(readOnly && writable) << readOnly.error() << writable.error();
    EXPECT_EQ(textOf(readOnly), expected);
    EXPECT_EQ(textOf(writable), expected);
  }
}

TEST_F(FileViewTest, aRangeThatExtendsPastTheEndIsShortened) {
  for (const std::int64_t size : {std::int64_t{11}, kFileBytes, kLargest}) {
    const FileView readOnly(*_readOnly, kFileBytes - 10, size);
    const FileView writable(*_writable, kFileBytes - 10, size);
    EXPECT_EQ(readOnly.size(), 10);
    EXPECT_EQ(writable.size(), 10);
    EXPECT_EQ(textOf(readOnly), readPlainly(_path, kFileBytes - 10, 10));
  }
}

TEST_F(FileViewTest, aRangeWithoutBytesIsValidAndMapsNothing) {
  for (const Range& range : {Range{0, 0}, Range{12345, 0}, Range{kFileBytes, 0}, Range{kFileBytes, 5}}) {
    const FileView readOnly(*_readOnly, range.offset, range.size);
    const FileView writable(*_writable, range.offset, range.size);
    EXPECT_TRUE(readOnly && writable);
    EXPECT_EQ(readOnly.size() + writable.size(), 0);
    EXPECT_EQ(readOnly.data(), nullptr);
    EXPECT_EQ(writable.data(), nullptr);
  }
  EXPECT_TRUE(listedViews(_path).empty());
}

TEST_F(FileViewTest, rangesOutsideTheFileAreErrorsWithAReason) {
  struct Row {
    Range range;
    const char* reason;
  };
  for (const Row& row :
       {Row{{kFileBytes + 1, 5}, "the range at offset 300001 of size 5 begins after the end of the file"},
        Row{{kLargest, kLargest}, "begins after the end of the file (300000 bytes)"},
        Row{{-1, 5}, "the range at offset -1 of size 5 is not valid"},
        Row{{5, -1}, "the range at offset 5 of size -1 is not valid"}}) {
    testing::internal::CaptureStdout();
    const FileView readOnly(*_readOnly, row.range.offset, row.range.size);
    const FileView writable(*_writable, row.range.offset, row.range.size);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_FALSE(readOnly || writable);
    EXPECT_THAT(readOnly.error(), StartsWith(_path + ": "));
    EXPECT_THAT(readOnly.error(), HasSubstr(row.reason));
    EXPECT_EQ(writable.error(), readOnly.error());
    EXPECT_EQ(readOnly.data(), nullptr);
    EXPECT_EQ(readOnly.size(), 0);
  }
}

TEST_F(FileViewTest, seventyThousandViewsAtUnalignedOffsetsDoNotExhaustTheProcess) {
  constexpr int kViews = 70000;
  int mapped = 0;
  for (int i = 0; i < kViews; ++i) {
    const std::int64_t offset = 1 + i % (kFileBytes - 1);
    const FileView readOnly(*_readOnly, offset, 1);
    const FileView writable(*_writable, offset, 1);
    mapped += readOnly && writable && *readOnly.data() == *writable.data() ? 1 : 0;
  }
  EXPECT_EQ(mapped, kViews);
  EXPECT_TRUE(listedViews(_path).empty());
}

TEST_F(FileViewTest, threadsMapAndUnmapAtTheSameTime) {
  constexpr int kViews = 2000;
  std::atomic<int> right{0};
  const std::string bytes = readPlainly(_path, 0, kFileBytes);
  onThreads(4, [&](std::size_t thread) {
    for (int i = 0; i < kViews; ++i) {
      const std::int64_t offset = static_cast<std::int64_t>(thread) * 70001 + i * 7;
      const FileView readOnly(*_readOnly, offset, 50);
      const FileView writable(*_writable, offset, 50);
      const std::string expected = bytes.substr(static_cast<std::size_t>(offset), 50);
      right += textOf(readOnly) == expected && textOf(writable) == expected ? 1 : 0;
    }
  });
  EXPECT_EQ(right, 4 * kViews);
  EXPECT_TRUE(listedViews(_path).empty());
}

TEST_F(FileViewTest, whatIsWrittenToAWritableViewReachesTheFile) {
  {
    const FileView view(*_writable, 12345, 5);
    ASSERT_NE(view.writableData(), nullptr);
    std::copy_n("point", 5, view.writableData());
  }
  EXPECT_EQ(readPlainly(_path, 12345, 5), "point");
  EXPECT_EQ(FileView(*_readOnly, 12345, 5).writableData(), nullptr);
}

TEST_F(FileViewTest, aMovedViewKeepsItsRangeAndUnmapsItOnce) {
  FileView first(*_readOnly, 5, 10);
  const FileView second(std::move(first));
  EXPECT_FALSE(first);  // NOLINT(bugprone-use-after-move): the state after a move is documented
  EXPECT_EQ(first.data(), nullptr);
  EXPECT_EQ(textOf(second), readPlainly(_path, 5, 10));
  FileView third(*_writable, 99, 3);
  third = FileView(*_readOnly, 200, 4);
  EXPECT_EQ(textOf(third), readPlainly(_path, 200, 4));
  EXPECT_EQ(third.writableData(), nullptr);
  EXPECT_EQ(listedViews(_path).size(), 2U);
  third = FileView();
  EXPECT_EQ(listedViews(_path).size(), 1U);
}

TEST_F(FileViewTest, aViewKeepsItsFileOpen) {
  _writable = nullptr;
  const FileView view(*_readOnly, 7, 20);
  _readOnly = nullptr;
  EXPECT_EQ(listedHandles(_path).size(), 1U);
  EXPECT_EQ(textOf(view), readPlainly(_path, 7, 20));
}

TEST_F(FileViewTest, aFilePtrThatIsClosedOrInvalidGivesNoView) {
  _writable->close();
  EXPECT_EQ(FileView(*_writable, 0, 1).error(), _path + ": is not open");
  testing::internal::CaptureStderr();
  const osg::ref_ptr<FilePtr> missing = new FilePtr(path("none").c_str());
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(FileView(*missing, 0, 1).error(), path("none") + ": is not open");
}

TEST_F(FileViewTest, aFileThatMayNotBeWrittenIsOpenedForReading) {
  _writable = nullptr;  // Windows protects only a file that nobody has open for writing
  const WriteProtection protection(_path);
  testing::internal::CaptureStderr();
  const osg::ref_ptr<FilePtr> writable = new FilePtr(_path.c_str());
  testing::internal::GetCapturedStderr();
  EXPECT_FALSE(writable->isValid());
  const osg::ref_ptr<ReadOnlyFile> file = new ReadOnlyFile(_path);
  ASSERT_TRUE(file->isValid()) << file->error();
  EXPECT_EQ(file->size(), kFileBytes);
  EXPECT_EQ(textOf(FileView(*file, 3, 30)), readPlainly(_path, 3, 30));
}

TEST_F(FileViewTest, aFileThatCannotBeOpenedIsReportedWithTheSystemsReason) {
  testing::internal::CaptureStderr();
  const osg::ref_ptr<ReadOnlyFile> file = new ReadOnlyFile(path("none"));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_FALSE(file->isValid());
  EXPECT_EQ(file->size(), 0);
  EXPECT_EQ(file->path(), path("none"));
  EXPECT_EQ(file->error(), path("none") + ": cannot be opened: " + reasonOf(fileErrors().missing));
  EXPECT_EQ(FileView(*file, 0, 1).error(), file->error());
}

TEST_F(FileViewTest, aFolderIsNoFile) {
  EXPECT_FALSE(osg::ref_ptr<ReadOnlyFile>(new ReadOnlyFile(folder()))->isValid());
}

TEST_F(FileViewTest, anEmptyFileHasAnEmptyView) {
  const osg::ref_ptr<ReadOnlyFile> file = new ReadOnlyFile(makeFile("empty", 0));
  ASSERT_TRUE(file->isValid());
  const FileView view(*file, 0, 10);
  EXPECT_TRUE(view) << view.error();
  EXPECT_EQ(view.size(), 0);
}

TEST_F(FileViewTest, namesOfOneFileAreEqualWhenNormalized) {
  std::filesystem::create_directory(toPath(path("sub")));
  const std::string expected = normalizedPath(_path);
  EXPECT_EQ(normalizedPath(path("./big.bin")), expected);
  EXPECT_EQ(normalizedPath(path("sub/../big.bin")), expected);
  EXPECT_EQ(normalizedPath(folder() + "//big.bin"), expected);
  EXPECT_NE(normalizedPath(path("other.bin")), expected);
  EXPECT_THAT(expected, EndsWith("big.bin"));

  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(toPath(folder()));
  EXPECT_EQ(normalizedPath("big.bin"), expected);
  EXPECT_EQ(normalizedPath("./big.bin"), expected);
  EXPECT_EQ(normalizedPath("./missing.bin"), normalizedPath(path("missing.bin")));
  std::filesystem::current_path(before);
}

TEST_F(FileViewTest, aLinkToAFileIsThatFile) {
  std::error_code refused;
  std::filesystem::create_symlink(toPath(_path), toPath(path("link.bin")), refused);
  if (refused) {
    GTEST_SKIP() << "no links on this system";
  }
  EXPECT_EQ(normalizedPath(path("link.bin")), normalizedPath(_path));
}
