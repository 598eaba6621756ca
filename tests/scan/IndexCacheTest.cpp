#include "scan/edit/LasWriter.h"
#include "scan/index/IndexBuilder.h"
#include "scan/index/IndexCache.h"
#include "tests/scan/ScanBytes.h"
#include "tests/scan/ScanDouble.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using namespace QuorViewer;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;

using ScanBytes::kPlenty;

class IndexCacheTest : public testing::Test {
 protected:
  std::string writeScan(const std::string& name, unsigned count = 2000) {
    return _folder.write(name, ScanBytes::file({4, 7}, ScanBytes::variedPoints(count, 7)));
  }
  IndexedScan identityOf(const std::string& path) { return IndexCache::identify(ScanReader::open(path)->info()); }
  /// Builds the index of a scan and returns its path.
  std::string store(const IndexCache& cache, const std::string& scan) {
    cache.makeRoom(0);
    const IndexedScan identity = identityOf(scan);
    IndexFileSink sink(cache.pathFor(identity));
    IndexProgress progress;
    buildIndex(*ScanReader::open(scan), identity, sink, {kPlenty, 1, _folder.path("temporary")}, progress);
    return cache.pathFor(identity);
  }
  /// Builds an index that cannot be renamed at the end: it disappears, where the system deletes open files.
  std::unique_ptr<IndexTree> buildUnnamed(const std::string& scan) {
    IndexProgress progress;
    const QuorTests::ScanDouble reader(ScanReader::open(scan), [this] { removeUnfinished(); });
    return _cache.build(reader, identityOf(scan), {kPlenty, 1, {}}, progress);
  }
  void removeUnfinished() const {
    std::error_code ignored;
    for (const fs::directory_entry& entry : fs::directory_iterator(_cache.folder())) {
      if (entry.path().extension() == ".part") {
        fs::remove(entry.path(), ignored);
      }
    }
  }
  std::vector<std::string> filesInCache() const {
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(_cache.folder())) {
      names.push_back(entry.path().string());
    }
    return names;
  }
  static void setAge(const std::string& path, std::chrono::hours age) {
    fs::last_write_time(path, fs::file_time_type::clock::now() - age);
  }

  ScanBytes::Folder _folder;
  IndexCache _cache{_folder.path("cache/index"), kPlenty};
};

TEST_F(IndexCacheTest, anIndexIsFoundAgain) {
  const std::string scan = writeScan("scan.las");
  EXPECT_EQ(_cache.find(identityOf(scan)).tree, nullptr);
  EXPECT_THAT(store(_cache, scan), HasSubstr("scan-"));
  const IndexCache::Found found = _cache.find(identityOf(scan));
  ASSERT_NE(found.tree, nullptr);
  EXPECT_EQ(found.tree->info().pointCount, 2000U);
  EXPECT_EQ(found.note, "");
}

TEST_F(IndexCacheTest, scansOfOneNameInDifferentFoldersHaveDifferentIndexes) {
  fs::create_directories(_folder.path("other"));
  EXPECT_NE(_cache.pathFor(identityOf(writeScan("scan.las"))), _cache.pathFor(identityOf(writeScan("other/scan.las"))));
}

TEST_F(IndexCacheTest, theIndexOfAChangedScanIsRemovedWithAMessage) {
  const std::string scan = writeScan("scan.las");
  const std::string index = store(_cache, scan);
  fs::last_write_time(scan, fs::last_write_time(scan) + 1s);
  const IndexCache::Found found = _cache.find(identityOf(scan));
  EXPECT_EQ(found.tree, nullptr);
  EXPECT_THAT(found.note, HasSubstr("scan.las: the file has changed since its index was built"));
  EXPECT_FALSE(fs::exists(index));
}

TEST_F(IndexCacheTest, aDamagedIndexIsRemovedWithAMessage) {
  const std::string scan = writeScan("scan.las");
  const std::string index = store(_cache, scan);
  fs::resize_file(index, fs::file_size(index) - 1);
  const IndexCache::Found found = _cache.find(identityOf(scan));
  EXPECT_EQ(found.tree, nullptr);
  EXPECT_THAT(found.note, HasSubstr("the index is damaged: it is truncated"));
  EXPECT_FALSE(fs::exists(index));
}

// On Windows the open file of the other program is what prevents the renaming.
TEST_F(IndexCacheTest, whereTheIndexCannotBeReplacedThatOfAnotherProgramIsUsed) {
  const std::string scan = writeScan("scan.las");
  const std::string index = store(_cache, scan);
  const std::unique_ptr<IndexTree> ofOther = IndexTree::open(index);
  const auto changed = fs::last_write_time(index);
  const std::unique_ptr<IndexTree> tree = buildUnnamed(scan);
  ASSERT_NE(tree, nullptr);
  EXPECT_EQ(tree->info().pointCount, 2000U);
  EXPECT_EQ(tree->read(0).positions->size(), ofOther->nodes().at(0).pointCount);
  EXPECT_EQ(fs::last_write_time(index), changed) << "it is the other program's";
  EXPECT_THAT(filesInCache(), ElementsAre(index)) << "the own one is deleted";
}

TEST_F(IndexCacheTest, anIndexOfAnEarlierStateIsNotUsedWhereItCannotBeReplaced) {
  const std::string scan = writeScan("scan.las");
  const std::string index = store(_cache, scan);
  const std::unique_ptr<IndexTree> ofOther = IndexTree::open(index);
  fs::last_write_time(scan, fs::last_write_time(scan) + 1s);
  EXPECT_THROW(buildUnnamed(scan), ScanWriteError);
  EXPECT_THAT(filesInCache(), ElementsAre(index));
}

TEST_F(IndexCacheTest, aDamagedIndexIsNotUsedWhereItCannotBeReplaced) {
  const std::string scan = writeScan("scan.las");
  const std::string index = store(_cache, scan);
  fs::resize_file(index, fs::file_size(index) - 1);
  const std::ifstream ofOther(index);
  EXPECT_THROW(buildUnnamed(scan), ScanWriteError);
  EXPECT_THAT(filesInCache(), ElementsAre(index));
}

TEST_F(IndexCacheTest, theIndexesUnusedForTheLongestTimeMakeRoom) {
  const std::string oldest = store(_cache, writeScan("oldest.las"));
  const std::string used = store(_cache, writeScan("used.las"));
  const std::string latest = store(_cache, writeScan("latest.las"));
  setAge(oldest, 48h);
  setAge(used, 72h);
  setAge(latest, 1h);
  ASSERT_NE(_cache.find(identityOf(_folder.path("used.las"))).tree, nullptr);  // is the latest one now
  const std::uint64_t each = fs::file_size(oldest);
  const IndexCache small(_cache.folder(), 3 * each + 100);
  small.makeRoom(each);
  EXPECT_FALSE(fs::exists(oldest));
  EXPECT_TRUE(fs::exists(used));
  EXPECT_TRUE(fs::exists(latest));
  small.makeRoom(each);
  EXPECT_TRUE(fs::exists(latest)) << "there is room already";
}

TEST_F(IndexCacheTest, temporaryFilesOfKilledBuildsAreRemovedAfterADay) {
  _cache.makeRoom(0);
  for (const auto& [name, age] : {std::pair("old.quoridx.17.part", 25h), std::pair("running.quoridx.18.part", 1h),
                                  std::pair("download.part", 25h)}) {
    std::ofstream(_cache.folder() + "/" + name) << "x";
    setAge(_cache.folder() + "/" + name, age);
  }
  _cache.makeRoom(0);
  EXPECT_FALSE(fs::exists(_cache.folder() + "/old.quoridx.17.part"));
  EXPECT_TRUE(fs::exists(_cache.folder() + "/running.quoridx.18.part"));
  EXPECT_TRUE(fs::exists(_cache.folder() + "/download.part")) << "it is not ours";
}

TEST_F(IndexCacheTest, aFolderThatCannotBeCreatedIsNamed) {
  writeScan("file");
  const IndexCache cache(_folder.path("file/index"), kPlenty);
  try {
    cache.makeRoom(0);
    FAIL();
  } catch (const ScanWriteError& error) {
    EXPECT_THAT(error.what(), HasSubstr("file/index: cannot create the folder for indexes"));
  }
}

TEST_F(IndexCacheTest, theDefaultLimitOfARelativeFolderIsThatOfItsDisk) {
  EXPECT_GT(IndexCache::defaultLimitBytes("not/there/yet"), 0U);
}

TEST_F(IndexCacheTest, theDefaultLimitIsATenthOfTheDiskThatIsFreeOrTakenByIndexes) {
  _cache.makeRoom(0);
  const std::uint64_t free = fs::space(_cache.folder()).available;
  const std::string index = _cache.folder() + "/large.quoridx";
  std::ofstream(index).close();
  fs::resize_file(index, free / 4);  // a hole: where the system has such, it takes nothing of the disk
  const double tenth = static_cast<double>(free) / 10.0;
  const auto limit = static_cast<double>(IndexCache::defaultLimitBytes(_cache.folder()));
  EXPECT_GT(limit, 0.9 * tenth);
  EXPECT_LT(limit, 1.5 * tenth);
  EXPECT_NEAR(static_cast<double>(IndexCache::defaultLimitBytes(_folder.path("not/yet"))), tenth, 0.1 * tenth);
}

#ifndef _WIN32
TEST_F(IndexCacheTest, theDefaultFolderIsInTheUsersCache) {
  ::setenv("XDG_CACHE_HOME", "/caches", 1);
  EXPECT_EQ(IndexCache::defaultFolder(), "/caches/quor_osg_utils/index");
  ::setenv("XDG_CACHE_HOME", "relative", 1);
  ::setenv("HOME", "/home/someone", 1);
  EXPECT_EQ(IndexCache::defaultFolder(), "/home/someone/.cache/quor_osg_utils/index");
  ::unsetenv("HOME");
  EXPECT_EQ(IndexCache::defaultFolder(), "");
}
#endif

}  // namespace
