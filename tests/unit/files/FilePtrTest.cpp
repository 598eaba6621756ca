#include "support/FilesFixture.h"
#include "support/OnThreads.h"

#include <QuorOsgUtils/FilePtr.h>

#include <osg/ref_ptr>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <iterator>
#include <limits>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

using QuorOsgUtils::FilePtr;
using ::testing::Contains;
using namespace QuorTests;

namespace {

constexpr std::int64_t kGreatest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();

const std::string& noRangeLine() {
  static const std::string line = "Abnormal normal vector data : 84\n";
  return line;
}

std::string refusalLine(int error) {
  return gbk("文件映射参数异常：") + std::to_string(error) + "\n";
}

std::string openingLine(int error) {
  return "Error creating file: " + std::to_string(error) + "\n";
}

/// A range of an open file by its definition, with the start of its view.
struct Range {
  Range(std::int64_t first, std::int64_t size, std::int64_t fileSize)
      : offset(first), viewOffset(first - first % granularityBytes()), end(std::min(first + size, fileSize)) {}

  bool beginsBehindItsEnd() const { return viewOffset > end; }
  std::int64_t bytes() const { return std::max<std::int64_t>(end - offset, 0); }

  std::int64_t offset;
  std::int64_t viewOffset;
  std::int64_t end;
};

std::string textAt(const void* address, std::size_t size) {
  return {static_cast<const char*>(address), size};
}

using Bytes = std::pair<std::int64_t, std::int64_t>;  ///< offset and size

/// The size at which the system lists a view of this many bytes.
std::size_t listedBytes(std::int64_t bytes) {
  return static_cast<std::size_t>((bytes + pageBytes() - 1) / pageBytes() * pageBytes());
}

class FilePtrTest : public FilesFixture {
 protected:
  const std::int64_t _page = granularityBytes();
};

/// The standard output and error streams of some work, byte by byte.
struct Written {
  std::string output;
  std::string error;
};

template <typename Work>
Written writtenBy(Work work) {
  ::testing::internal::CaptureStdout();
  ::testing::internal::CaptureStderr();
  work();
  return {::testing::internal::GetCapturedStdout(), ::testing::internal::GetCapturedStderr()};
}

template <typename Work>
void expectSilence(Work work) {
  const Written written = writtenBy(work);
  EXPECT_EQ(written.output, "");
  EXPECT_EQ(written.error, "");
}

void expectNoRange(FilePtr& file, std::int64_t offset, std::int64_t size) {
  const Written written = writtenBy([&] { EXPECT_EQ(file.map(offset, size), nullptr); });
  EXPECT_EQ(written.output, noRangeLine()) << offset << ", " << size;
}

std::vector<std::string> linesOf(std::string (*line)(int), const std::vector<int>& errors) {
  std::vector<std::string> lines;
  for (const int error : errors) {
    lines.push_back(line(error));
  }
  return lines;
}

void expectAsStated(const PathRow& row) {
  SCOPED_TRACE(row.what);
  const bool opens = row.openingErrors.empty();
  const std::size_t handles = countOfHandles();
  osg::ref_ptr<FilePtr> file;
  const Written opening = writtenBy([&] { file = new FilePtr(row.path.c_str()); });
  EXPECT_THAT(opens ? std::vector<std::string>{""} : linesOf(openingLine, row.openingErrors), Contains(opening.error));
  EXPECT_EQ(opening.output, "");
  EXPECT_TRUE(file->isOpen());
  EXPECT_EQ(file->isValid(), opens);
  EXPECT_EQ(file->file(), row.path);
  EXPECT_EQ(countOfHandles(), handles + (!opens ? 0 : row.mappingError != 0 ? 1 : handlesOfOneFile()));
  const Written mapping = writtenBy([&] { EXPECT_EQ(file->map(0, 10) != nullptr, row.mappingError == 0); });
  EXPECT_EQ(mapping.output, row.mappingError == 0 ? "" : refusalLine(row.mappingError));
  EXPECT_EQ(mapping.error, "");
  file = nullptr;
  EXPECT_EQ(countOfHandles(), handles);
}

}  // namespace

TEST_F(FilePtrTest, isSharedThroughReferencePointersAndCannotBeCopied) {
  static_assert(std::is_base_of_v<osg::Referenced, FilePtr>);
  static_assert(std::has_virtual_destructor_v<FilePtr>);
  static_assert(!std::is_copy_constructible_v<FilePtr> && !std::is_copy_assignable_v<FilePtr>);
  const std::string name = makeFile("scan", 10);
  osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  const osg::ref_ptr<FilePtr> other = file;
  file = nullptr;
  EXPECT_TRUE(other->isOpen());
}

TEST_F(FilePtrTest, anExistingFileIsOpenAndValidAndKeepsItsPath) {
  const std::string name = makeFile("scan", 10);
  expectSilence([&] {
    const osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
    EXPECT_TRUE(file->isOpen());
    EXPECT_TRUE(file->isValid());
    EXPECT_STREQ(file->file(), name.c_str());
  });
}

TEST_F(FilePtrTest, aMissingFileIsOpenAndInvalid) {
  const std::string name = path("missing");
  const Written written = writtenBy([&] {
    const osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
    EXPECT_TRUE(file->isOpen());
    EXPECT_FALSE(file->isValid());
    EXPECT_STREQ(file->file(), name.c_str());
  });
  EXPECT_EQ(written.error, openingLine(fileErrors().missing));
  EXPECT_EQ(written.output, "");
  EXPECT_FALSE(std::filesystem::exists(name));
}

TEST_F(FilePtrTest, anAlignedOffsetReturnsTheStartOfAViewThatUnmapEnds) {
  const std::string name = makeFile("scan", 4 * _page);
  const osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  void* const address = file->map(2 * _page, _page);
  ASSERT_NE(address, nullptr);
  const std::vector<ListedView> views = listedViews(name);
  ASSERT_EQ(views.size(), 1U);
  EXPECT_EQ(views[0].start, reinterpret_cast<std::uintptr_t>(address));
  EXPECT_EQ(textAt(address, 100), readPlainly(name, 2 * _page, 100));
  EXPECT_EQ(views[0].bytes, static_cast<std::size_t>(_page));
  file->unmap(address);
  EXPECT_TRUE(listedViews(name).empty());
}

TEST_F(FilePtrTest, unmapIgnoresAPointerAtAnUnalignedOffsetAndCloseEndsItsView) {
  const std::string name = makeFile("scan", 4 * _page);
  const osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  void* const address = file->map(_page + 5, 100);
  ASSERT_NE(address, nullptr);
  EXPECT_EQ(textAt(address, 100), readPlainly(name, _page + 5, 100));
  ASSERT_EQ(listedViews(name).size(), 1U);
  EXPECT_EQ(listedViews(name)[0].start + 5, reinterpret_cast<std::uintptr_t>(address));
  expectSilence([&] { file->unmap(address); });
  EXPECT_EQ(listedViews(name).size(), 1U);
  file->close();
  EXPECT_TRUE(listedViews(name).empty());
}

TEST_F(FilePtrTest, unmapOfTheViewStartEndsAViewAtAnUnalignedOffset) {
  const std::string name = makeFile("scan", 4 * _page);
  const osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  char* const address = static_cast<char*>(file->map(_page + 5, 100));
  ASSERT_NE(address, nullptr);
  file->unmap(address - 5);
  EXPECT_TRUE(listedViews(name).empty());
}

TEST_F(FilePtrTest, aRangeBeyondTheEndOfTheFileIsTruncatedSilently) {
  const std::string name = makeFile("scan", 2 * _page + 10);
  const osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  expectSilence([&] {
    const void* const address = file->map(_page, 100 * _page);
    ASSERT_NE(address, nullptr);
    EXPECT_EQ(textAt(address, static_cast<std::size_t>(_page + 10)), readPlainly(name, _page, _page + 10));
  });
  ASSERT_EQ(listedViews(name).size(), 1U);
  EXPECT_EQ(listedViews(name)[0].bytes, listedBytes(_page + 10));
}

TEST_F(FilePtrTest, aViewThatWouldStartPastTheEndIsRefusedWithAMessage) {
  const std::string name = makeFile("scan", _page + 10);
  const osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  for (const std::int64_t offset : {2 * _page, 2 * _page + 1, 100 * _page}) {
    const Written written = writtenBy([&] { EXPECT_EQ(file->map(offset, 10), nullptr); });
    EXPECT_EQ(written.output, noRangeLine()) << offset;
    EXPECT_EQ(written.error, "");
  }
  EXPECT_TRUE(listedViews(name).empty());
}

TEST_F(FilePtrTest, anOffsetPastTheEndIsAcceptedIfItsViewStartsBeforeTheEnd) {
  const std::string name = makeFile("scan", _page + 10);
  const osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  expectSilence([&] {
    char* const address = static_cast<char*>(file->map(_page + 20, 10));
    ASSERT_NE(address, nullptr);
    EXPECT_EQ(textAt(address - 20, 10), readPlainly(name, _page, 10));
  });
  EXPECT_EQ(listedViews(name).size(), 1U);
}

TEST_F(FilePtrTest, aViewOfSizeZeroExtendsToTheEndOfTheFile) {
  const std::string name = makeFile("scan", 3 * _page + 10);
  const osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  const void* const address = file->map(_page, 0);
  ASSERT_NE(address, nullptr);
  EXPECT_EQ(textAt(address, static_cast<std::size_t>(2 * _page + 10)), readPlainly(name, _page, 2 * _page + 10));
  ASSERT_EQ(listedViews(name).size(), 1U);
  EXPECT_EQ(listedViews(name)[0].bytes, listedBytes(2 * _page + 10));
}

TEST_F(FilePtrTest, aViewOfSizeZeroAtTheEndIsRefusedByTheSystem) {
  const std::string name = makeFile("scan", 2 * _page);
  const osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  for (const std::int64_t size : {std::int64_t{0}, std::int64_t{10}, kGreatest}) {
    const Written written = writtenBy([&] { EXPECT_EQ(file->map(2 * _page, size), nullptr); });
    EXPECT_THAT(linesOf(refusalLine, fileErrors().viewBehindTheEnd), Contains(written.output));
  }
}

TEST_F(FilePtrTest, aRangeThatEndsBeforeItsViewStartsIsRefusedWithAMessage) {
  const std::string name = makeFile("scan", 4 * _page);
  const osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  for (const auto& [offset, size] : std::vector<Bytes>{
           {0, -1}, {_page, -1}, {_page, -_page}, {_page + 100, -101}, {2 * _page, kLeast}, {kGreatest, kLeast}}) {
    expectNoRange(*file, offset, size);
  }
  EXPECT_TRUE(listedViews(name).empty());
}

TEST_F(FilePtrTest, aNegativeSizeThatEndsAfterTheStartOfItsViewMapsTheViewUpToThatEnd) {
  const std::string name = makeFile("scan", 6 * _page);
  const osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  expectSilence([&] {
    const char* const address = static_cast<char*>(file->map(4 * _page + 100, -40));
    ASSERT_NE(address, nullptr);
    EXPECT_EQ(textAt(address - 100, 60), readPlainly(name, 4 * _page, 60));
  });
  ASSERT_EQ(listedViews(name).size(), 1U);
  EXPECT_EQ(listedViews(name)[0].bytes, listedBytes(60));
}

TEST_F(FilePtrTest, aNegativeSizeThatEndsAtTheStartOfItsViewMapsTheViewUpToTheEndOfTheFile) {
  const std::string name = makeFile("scan", 6 * _page);
  const osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  expectSilence([&] {
    const char* const address = static_cast<char*>(file->map(4 * _page + 100, -100));
    ASSERT_NE(address, nullptr);
    EXPECT_EQ(textAt(address, static_cast<std::size_t>(2 * _page - 100)),
              readPlainly(name, 4 * _page + 100, 2 * _page - 100));
  });
  ASSERT_EQ(listedViews(name).size(), 1U);
  EXPECT_EQ(listedViews(name)[0].bytes, listedBytes(2 * _page));
}

TEST_F(FilePtrTest, anAlignedNegativeOffsetIsRefusedByTheSystem) {
  const std::string name = makeFile("scan", 4 * _page);
  const osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  for (const auto& [offset, size] :
       std::vector<Bytes>{{-_page, 10}, {-_page, 2 * _page}, {-_page, 0}, {-8 * _page, kGreatest}, {kLeast, 10}}) {
    const std::int64_t first = offset;
    const std::int64_t bytes = size;
    const Written written = writtenBy([&] { EXPECT_EQ(file->map(first, bytes), nullptr); });
    EXPECT_THAT(linesOf(refusalLine, fileErrors().viewBeforeTheStart), Contains(written.output)) << offset;
  }
  EXPECT_TRUE(listedViews(name).empty());
}

TEST_F(FilePtrTest, anUnalignedNegativeOffsetIsRefusedAsAnInvalidRange) {
  const std::string name = makeFile("scan", 4 * _page);
  const osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  for (const auto& [offset, size] :
       std::vector<Bytes>{{-1, 10}, {-1, -1}, {-1, kGreatest}, {-_page - 1, 2 * _page}, {kLeast + 1, kGreatest}}) {
    expectNoRange(*file, offset, size);
  }
  EXPECT_TRUE(listedViews(name).empty());
}

TEST_F(FilePtrTest, aViewWhoseLengthOverflowsIsRefusedWithAMessage) {
  const std::string name = makeFile("scan", 4 * _page);
  const osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  for (const auto& [offset, size] : std::vector<Bytes>{{kLeast, 0}, {kLeast, -1}, {kLeast + _page, 0}}) {
    expectNoRange(*file, offset, size);
  }
}

TEST_F(FilePtrTest, theSumOfOffsetAndSizeCannotWrap) {
  const std::string name = makeFile("scan", 4 * _page);
  const osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  for (const std::int64_t size : {kGreatest, kGreatest - _page, kGreatest - 4 * _page + 1}) {
    const void* const address = file->map(3 * _page + 8, size);
    ASSERT_NE(address, nullptr);
    EXPECT_EQ(textAt(address, static_cast<std::size_t>(_page - 8)), readPlainly(name, 3 * _page + 8, _page - 8));
  }
  for (const std::int64_t offset : {kGreatest, kGreatest - 4 * _page}) {
    const Written written = writtenBy([&] { EXPECT_EQ(file->map(offset, kGreatest), nullptr); });
    EXPECT_EQ(written.output, noRangeLine());
  }
}

TEST_F(FilePtrTest, mappingAnOffsetTwiceCreatesTwoViewsThatEndSeparately) {
  const std::string name = makeFile("scan", 4 * _page);
  const osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  void* const first = file->map(_page, 100);
  void* const second = file->map(_page, 100);
  EXPECT_NE(first, second);
  EXPECT_EQ(listedViews(name).size(), 2U);
  file->unmap(first);
  ASSERT_EQ(listedViews(name).size(), 1U);
  EXPECT_EQ(listedViews(name)[0].start, reinterpret_cast<std::uintptr_t>(second));
  EXPECT_EQ(textAt(second, 100), readPlainly(name, _page, 100));
}

TEST_F(FilePtrTest, unmapOfAnyOtherPointerDoesNothing) {
  const std::string name = makeFile("scan", 4 * _page);
  const osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  char* const address = static_cast<char*>(file->map(0, 2 * _page));
  int elsewhere = 0;
  expectSilence([&] {
    for (void* other : std::array<void*, 4>{nullptr, &elsewhere, address + 1, address + _page}) {
      file->unmap(other);
    }
  });
  ASSERT_EQ(listedViews(name).size(), 1U);
  file->unmap(address);
  expectSilence([&] { file->unmap(address); });
  EXPECT_TRUE(listedViews(name).empty());
}

TEST_F(FilePtrTest, viewsAreWritableAndSharedWithOtherOpeners) {
  const std::string name = makeFile("scan", 2 * _page);
  const osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  const osg::ref_ptr<FilePtr> other = new FilePtr(name.c_str());
  const void* const seen = other->map(_page + 7, 5);
  std::memcpy(file->map(_page + 7, 5), "tower", 5);
  EXPECT_EQ(textAt(seen, 5), "tower");
  EXPECT_EQ(readPlainly(name, _page + 7, 5), "tower");
}

TEST_F(FilePtrTest, openOnAnOpenObjectAndCloseOnAClosedOneDoNothing) {
  const std::string name = makeFile("scan", 2 * _page);
  const osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  const void* const address = file->map(0, 100);
  const std::vector<std::intptr_t> handles = listedHandles(name);
  file->open();
  EXPECT_EQ(listedHandles(name), handles);
  EXPECT_EQ(textAt(address, 100), readPlainly(name, 0, 100));
  file->close();
  file->close();
  EXPECT_FALSE(file->isOpen());
  EXPECT_TRUE(file->isValid());
}

TEST_F(FilePtrTest, closeEndsEveryViewAndClosesTheFile) {
  const std::string name = makeFile("scan", 8 * _page);
  const osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  for (int i = 0; i < 8; ++i) {
    EXPECT_NE(file->map(i * _page + i, 2 * _page), nullptr);
  }
  EXPECT_FALSE(listedViews(name).empty());
  EXPECT_EQ(listedHandles(name).size(), 1U);
  file->close();
  EXPECT_TRUE(listedViews(name).empty());
  EXPECT_TRUE(listedHandles(name).empty());
}

TEST_F(FilePtrTest, droppingTheLastReferenceEndsEveryViewAndClosesTheFile) {
  const std::string name = makeFile("scan", 8 * _page);
  osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  for (int i = 0; i < 8; ++i) {
    EXPECT_NE(file->map(i * _page + i, 2 * _page), nullptr);
  }
  file = nullptr;
  EXPECT_TRUE(listedViews(name).empty());
  EXPECT_TRUE(listedHandles(name).empty());
}

TEST_F(FilePtrTest, mapOnAClosedObjectIsRefusedAndUnmapDoesNothing) {
  const std::string name = makeFile("scan", 2 * _page);
  const osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  void* const address = file->map(0, 100);
  file->close();
  const Written written = writtenBy([&] {
    EXPECT_EQ(file->map(0, 100), nullptr);
    file->unmap(address);
  });
  EXPECT_EQ(written.output, refusalLine(fileErrors().mappingOfNoFile));
}

TEST_F(FilePtrTest, theSizeIsThatOfTheLastOpening) {
  const std::string name = makeFile("scan", 10);
  const osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  std::filesystem::resize_file(name, static_cast<std::uintmax_t>(3 * _page));
  writtenBy([&] { EXPECT_EQ(file->map(_page, 10), nullptr); });
  file->close();
  file->open();
  EXPECT_TRUE(file->isOpen());
  const void* const address = file->map(_page, 10);
  ASSERT_NE(address, nullptr);
  EXPECT_EQ(textAt(address, 10), std::string(10, '\0'));
}

TEST_F(FilePtrTest, afterAFailedReopenTheLastSizeStaysAndTheSystemRefusesTheView) {
  const std::string name = makeFile("scan", 3 * _page);
  const osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  file->close();
  std::filesystem::remove(name);
  EXPECT_EQ(writtenBy([&] { file->open(); }).error, openingLine(fileErrors().missing));
  EXPECT_EQ(writtenBy([&] { EXPECT_EQ(file->map(2 * _page, 10), nullptr); }).output,
            refusalLine(fileErrors().mappingOfNoFile));
  expectNoRange(*file, 4 * _page, 10);
}

TEST_F(FilePtrTest, aRefusedFileStaysInvalidButMapsOnceItCanBeOpenedAgain) {
  const std::string name = path("late");
  osg::ref_ptr<FilePtr> file;
  writtenBy([&] { file = new FilePtr(name.c_str()); });
  file->close();
  makeFile("late", 100);
  expectSilence([&] { file->open(); });
  EXPECT_FALSE(file->isValid());
  const void* const address = file->map(0, 100);
  ASSERT_NE(address, nullptr);
  EXPECT_EQ(textAt(address, 100), readPlainly(name, 0, 100));
}

TEST_F(FilePtrTest, theFileIsClosedWhenAnotherProgramIsStarted) {
  const std::string name = makeFile("scan", 10);
  const osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  const std::vector<std::intptr_t> handles = listedHandles(name);
  ASSERT_EQ(handles.size(), 1U);
  EXPECT_FALSE(isInherited(handles[0]));
}

TEST_F(FilePtrTest, everyPathOpensOrIsRefusedWithTheSystemsNumberAndLeavesNothingOpen) {
  const FileErrors& errors = fileErrors();
  const int noFile = errors.mappingOfNoFile;
  std::vector<PathRow> rows = {{"an ordinary file", makeFile("ordinary", _page), {}, 0},
                               {"an empty file", makeFile("empty", 0), {}, errors.mappingOfEmptyFile},
                               {"a missing file", path("none"), {errors.missing}, noFile},
                               {"an empty path", "", {errors.emptyPath}, noFile}};
  for (const PathRow& row : pathsOfEveryKind(folder())) {
    rows.push_back(row);
  }
  // Handles that the system's libraries keep open after their first use are not counted.
  writtenBy([&] { static_cast<void>(osg::ref_ptr<FilePtr>(new FilePtr(path("none").c_str()))->map(0, 10)); });
  for (const PathRow& row : rows) {
    expectAsStated(row);
  }
}

TEST_F(FilePtrTest, aNameInChineseIsReadInTheUsersEncoding) {
  const std::optional<std::string> name = inUsersEncoding("点云·城市.las");
  if (!name) {
    GTEST_SKIP() << "this user's encoding has no Chinese characters";
  }
  expectAsStated({"a name in Chinese", makeFile(*name, _page), {}, 0});
}

TEST_F(FilePtrTest, aNullPathIsTheEmptyPath) {
  osg::ref_ptr<FilePtr> file;
  const Written written = writtenBy([&] { file = new FilePtr(nullptr); });
  EXPECT_EQ(written.error, openingLine(fileErrors().emptyPath));
  EXPECT_STREQ(file->file(), "");
}

TEST_F(FilePtrTest, aFileWithoutWritePermissionIsRefused) {
  const std::string name = makeFile("read-only", 10);
  bool readable = false;
  osg::ref_ptr<FilePtr> file;
  const Written written = writtenBy([&] {
    const WriteProtection protection(name);
    readable = std::ifstream(name).good();
    file = new FilePtr(name.c_str());
  });
  EXPECT_TRUE(readable);
  EXPECT_FALSE(file->isValid());
  EXPECT_EQ(written.error, openingLine(fileErrors().notWritable));
}

TEST_F(FilePtrTest, theMessagesIgnoreTheStreamFormatSetByTheApplication) {
  const std::string name = makeFile("scan", 10);
  const osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  const std::ios_base::fmtflags flags = std::cout.flags();
  const Written written = writtenBy([&] {
    std::cout << std::hex << std::showpos << std::setw(60);
    std::cerr << std::hex << std::setw(60);
    static_cast<void>(file->map(-1, 1));
    file->close();
    static_cast<void>(file->map(0, 1));
    const osg::ref_ptr<FilePtr> missing = new FilePtr(path("missing").c_str());
    std::cout.flags(flags);
    std::cerr << std::dec << std::setw(0);
    std::cout << std::setw(0);
  });
  EXPECT_EQ(written.output, noRangeLine() + refusalLine(fileErrors().mappingOfNoFile));
  EXPECT_EQ(written.error, openingLine(fileErrors().missing));
}

TEST_F(FilePtrTest, nothingIsThrownWhenTheStreamsThrowAndCannotBeWritten) {
  const std::string name = makeFile("scan", 10);
  const osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  const std::string missing = path("missing");
  for (std::ostream* stream : {&std::cout, &std::cerr}) {
    std::streambuf* const buffer = stream->rdbuf(nullptr);
    stream->clear();
    stream->exceptions(std::ios_base::failbit);
    EXPECT_NO_THROW(static_cast<void>(file->map(-1, 1)));
    EXPECT_NO_THROW(osg::ref_ptr<FilePtr>(new FilePtr(missing.c_str())));
    stream->exceptions(std::ios_base::goodbit);
    stream->rdbuf(buffer);
  }
}

TEST_F(FilePtrTest, rangesOfASparseFileBeyondFourGibibytesEqualPlainReads) {
  constexpr std::int64_t kGibibyte = std::int64_t{1} << 30;
  const std::int64_t size = 9 * kGibibyte + 123;
  const std::string name =
      makeSparseFile("sparse", size,
                     {{0, "first"}, {4 * kGibibyte - 3, "across"}, {5 * kGibibyte + 77, "beyond"}, {size - 4, "last"}});
  const osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  struct Place {
    std::int64_t offset;
    const char* text;
  };
  for (const Place& place : {Place{0, "first"}, Place{4 * kGibibyte - 3, "across"}, Place{5 * kGibibyte + 77, "beyond"},
                             Place{size - 4, "last"}}) {
    const std::size_t length = std::strlen(place.text);
    const void* const address = file->map(place.offset, static_cast<std::int64_t>(length));
    ASSERT_NE(address, nullptr);
    EXPECT_EQ(textAt(address, length), place.text);
    EXPECT_EQ(readPlainly(name, place.offset, static_cast<std::int64_t>(length)), place.text);
  }
  const char* const whole = static_cast<const char*>(file->map(0, size));
  ASSERT_NE(whole, nullptr);
  EXPECT_EQ(textAt(whole + 5 * kGibibyte + 77, 6), "beyond");
  EXPECT_EQ(textAt(whole + size - 4, 4), "last");
  writtenBy([&] { EXPECT_EQ(file->map(size + granularityBytes(), 1), nullptr); });
}

TEST_F(FilePtrTest, thousandsOfRandomRangesEqualPlainReads) {
  constexpr int kRanges = 4000;
  const std::int64_t size = 150 * _page + 123;
  const std::string name = makeFile("scan", size);
  const std::string contents = readPlainly(name, 0, size);
  const osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  std::mt19937_64 random(11);
  std::uniform_int_distribution<std::int64_t> offsets(0, size + 2 * _page);
  std::uniform_int_distribution<std::int64_t> sizes(1, 20 * _page);
  int found = 0;
  ::testing::internal::CaptureStdout();
  for (int i = 0; i < kRanges; ++i) {
    const std::int64_t offset = offsets(random);
    const std::int64_t asked = sizes(random);
    const Range range(offset, asked, size);
    char* const address = static_cast<char*>(file->map(offset, asked));
    ASSERT_EQ(address == nullptr, range.beginsBehindItsEnd()) << range.offset;
    if (address == nullptr) {
      continue;
    }
    ++found;
    const auto bytes = static_cast<std::size_t>(range.bytes());
    if (bytes > 0) {
      ASSERT_EQ(std::memcmp(address, contents.data() + range.offset, bytes), 0) << range.offset;
    }
    file->unmap(address - (range.offset - range.viewOffset));
  }
  ::testing::internal::GetCapturedStdout();
  EXPECT_GT(found, kRanges / 2);
  EXPECT_TRUE(listedViews(name).empty());
}

TEST_F(FilePtrTest, theSystemListsTheViewsThatAreLive) {
  const std::string name = makeFile("scan", 64 * _page);
  const osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  std::mt19937 random(3);
  std::vector<void*> live;
  std::size_t bytes = 0;
  for (int i = 0; i < 500; ++i) {
    if (!live.empty() && random() % 3 == 0) {
      file->unmap(live.back());
      live.pop_back();
      bytes -= static_cast<std::size_t>(4 * _page);
    } else {
      live.push_back(file->map(static_cast<std::int64_t>(random() % 60) * _page, 4 * _page));
      bytes += static_cast<std::size_t>(4 * _page);
    }
    if (i % 50 != 0) {
      continue;
    }
    std::size_t listed = 0;
    for (const ListedView& view : listedViews(name)) {
      listed += view.bytes;
    }
    ASSERT_EQ(listed, bytes);
  }
}

TEST_F(FilePtrTest, atTheSystemsLimitOfViewsMapFailsUntilAViewIsUnmapped) {
#if defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the thread sanitizer needs mappings, too, and fails at the limit";
#endif
  if (!limitOfViews()) {
    GTEST_SKIP() << "this system does not limit the number of views";
  }
  const std::size_t limit = *limitOfViews();
  ASSERT_GT(limit, 0U);
  if (limit > 2000000) {
    GTEST_SKIP() << "reaching the limit of " << limit << " views takes too long";
  }
  const std::string name = makeFile("scan", 2 * _page);
  const std::string expectedPage = readPlainly(name, _page, _page);
  const std::string expectedLine = refusalLine(fileErrors().noRoom);
  const osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  std::vector<void*> views;
  views.reserve(limit + 1);
  void* afterUnmap = nullptr;
  const Written written = writtenBy([&] {
    for (void* view = file->map(_page, 1); view != nullptr; view = file->map(_page, 1)) {
      views.push_back(view);
    }
    file->unmap(views.back());
    afterUnmap = file->map(_page, 1);
    // The rest of the test needs mappings, too.
    for (int i = 0; i < 100; ++i) {
      views.pop_back();
      file->unmap(views.back());
    }
    views.pop_back();
  });
  EXPECT_EQ(written.output, expectedLine);
  EXPECT_NE(afterUnmap, nullptr);
  EXPECT_GT(views.size(), limit - 5000) << "the system's limit includes other mappings";
  EXPECT_TRUE(std::all_of(views.begin(), views.end(), [&](const void* view) {
    return std::memcmp(view, expectedPage.data(), expectedPage.size()) == 0;
  }));
  file->close();
  EXPECT_TRUE(listedViews(name).empty());
}

TEST_F(FilePtrTest, severalThreadsMapAndUnmapAtOnceAndEachSeesItsOwnRange) {
  constexpr std::size_t kThreads = 4;
  constexpr int kRounds = 400;
  const std::int64_t size = 64 * _page;
  const std::string name = makeFile("scan", size);
  const std::string contents = readPlainly(name, 0, size);
  const osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  std::atomic<int> wrong{0};
  onThreads(kThreads, [&](std::size_t thread) {
    std::mt19937 random(static_cast<std::mt19937::result_type>(thread));
    for (int round = 0; round < kRounds; ++round) {
      const std::int64_t offset = static_cast<std::int64_t>(random() % 60) * _page;
      void* const first = file->map(offset, 3 * _page);
      void* const second = file->map(offset + _page, _page);
      const auto bytes = static_cast<std::size_t>(_page);
      if (std::memcmp(first, contents.data() + offset, 3 * bytes) != 0) {
        ++wrong;
      }
      file->unmap(first);
      if (std::memcmp(second, contents.data() + offset + _page, bytes) != 0) {
        ++wrong;
      }
      file->unmap(second);
    }
    static_cast<void>(file->map(static_cast<std::int64_t>(thread) * _page + 1, 10));
  });
  EXPECT_EQ(wrong, 0);
  std::size_t listed = 0;
  for (const ListedView& view : listedViews(name)) {
    listed += view.bytes;
  }
  EXPECT_EQ(listed, kThreads * listedBytes(11));
}

TEST_F(FilePtrTest, messagesOfSeveralThreadsAreNotInterleaved) {
  constexpr std::size_t kThreads = 4;
  constexpr int kRounds = 200;
  const std::string name = makeFile("scan", 10);
  const osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  const Written written = writtenBy([&] {
    onThreads(kThreads, [&](std::size_t) {
      for (int round = 0; round < kRounds; ++round) {
        static_cast<void>(file->map(-1, 1));
      }
    });
  });
  std::string expected;
  for (std::size_t i = 0; i < kThreads * kRounds; ++i) {
    expected += noRangeLine();
  }
  EXPECT_EQ(written.output, expected);
}
