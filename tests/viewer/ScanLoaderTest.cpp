#include "support/platform/Platform.h"
#include "tests/scan/LasFile.h"
#include "tests/scan/ScanBytes.h"
#include "tests/viewer/WorkerGate.h"
#include "viewer/session/ScanLoader.h"

#include <QuorOsgUtils/FileJobs.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <thread>

namespace {

using namespace QuorTests;
using namespace QuorViewer;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;

using ScanBytes::kPlenty;
constexpr std::uint64_t kHeaderBytes = 227;
constexpr std::uint64_t kRecordBytes = 20;

std::vector<LasFilePoint> manyPoints(int count) {
  std::vector<LasFilePoint> points;
  for (int number = 0; number < count; ++number) {
    points.push_back({number % 1009 * 3, number / 1009 * 5, number % 77, static_cast<std::uint16_t>(number % 60000),
                      static_cast<std::uint8_t>(number % 7)});
  }
  return points;
}

class ScanLoaderTest : public testing::Test {
 protected:
  using Found = std::map<std::pair<unsigned int, std::uint64_t>, osg::Vec3d>;

  std::string write(const std::string& name, const std::vector<LasFilePoint>& points) {
    writeLasFile(_folder.path(name), points, 5000.0, 7000.0);
    return _folder.path(name);
  }

  void load(const std::vector<std::string>& paths, std::uint64_t budget = kPlenty) {
    _scans = std::make_unique<ScanSet>(paths);
    _loader = std::make_unique<ScanLoader>(
        *_scans, budget,
        ScanLoader::Listener{[this](unsigned int scan, const PointChunk& chunk) { take(scan, chunk); },
                             [this](unsigned int, const std::string& error) { _errors.push_back(error); },
                             [this](const std::string& note) { _notes.push_back(note); }});
  }
  void blockWorker() { _gate = std::make_unique<WorkerGate>(QuorOsgUtils::FileCmd::High); }
  void unblockWorker() { _gate->open(); }

  void take(unsigned int scan, const PointChunk& chunk) {
    ASSERT_EQ(chunk.positions->size(), chunk.points.count);
    for (std::uint32_t place = 0; place < chunk.points.count; ++place) {
      const osg::Vec3d position = osg::Vec3d((*chunk.positions)[place]) + _scans->origin();
      EXPECT_TRUE(_found.emplace(std::pair(scan, chunk.points.at(place)), position).second) << "drawn twice";
      EXPECT_TRUE(chunk.bounds.contains((*chunk.positions)[place]));
    }
  }
  void finish() {
    const auto end = std::chrono::steady_clock::now() + 60s;
    while (!_loader->finished() && std::chrono::steady_clock::now() < end) {
      if (!_loader->step(10ms)) {
        std::this_thread::sleep_for(1ms);
      }
    }
    ASSERT_TRUE(_loader->finished());
    EXPECT_EQ(_loader->pointsRead(), _found.size());
  }
  // For tests that have closed scans: points handed out of these no longer count.
  void finishWith(std::uint64_t points) {
    while (!_loader->finished()) {
      if (!_loader->step(10ms)) {
        std::this_thread::sleep_for(1ms);
      }
    }
    EXPECT_EQ(_loader->pointsRead(), points);
  }
  void close(unsigned int scan) {
    _loader->close(scan);
    _scans->close(scan);
  }
  static std::size_t handlesOn(const std::string& path) {
    return QuorTests::listedHandles(std::filesystem::canonical(path).string()).size();
  }
  void expectPoint(unsigned int scan, std::uint64_t index, const LasFilePoint& point) {
    const auto found = _found.find({scan, index});
    ASSERT_NE(found, _found.end()) << index;
    const osg::Vec3d exact(point.x * kLasFileScale + 5000.0, point.y * kLasFileScale + 7000.0, point.z * kLasFileScale);
    EXPECT_LT((found->second - exact).length(), 1e-3) << index;
  }

  ScanBytes::Folder _folder;
  std::unique_ptr<WorkerGate> _gate;
  std::unique_ptr<ScanSet> _scans;
  std::unique_ptr<ScanLoader> _loader;
  Found _found;
  std::vector<std::string> _errors;
  std::vector<std::string> _notes;
};

TEST_F(ScanLoaderTest, everyPointOfEveryScanArrivesOnceInItsPlace) {
  const std::vector<LasFilePoint> points = manyPoints(300000);
  load({write("a.las", points), write("b.las", manyPoints(10))});
  _loader->start();
  EXPECT_EQ(_loader->pointsPlanned(), 300010U);
  finish();
  EXPECT_EQ(_found.size(), 300010U);
  for (const std::uint64_t index : {0U, 1U, 262143U, 262144U, 299999U}) {
    expectPoint(1, index, points[index]);
  }
  EXPECT_THAT(_errors, ElementsAre());
  EXPECT_THAT(_notes, ElementsAre());
  EXPECT_FALSE(_loader->failed());
}

TEST_F(ScanLoaderTest, theSummaryIsThatOfThePoints) {
  load({write("a.las", manyPoints(60000))});
  _loader->start();
  finish();
  const CloudSummary& summary = _loader->summary();
  EXPECT_THAT(summary.classifications, ElementsAre(0U, 1U, 2U, 3U, 4U, 5U, 6U));
  const double origin = _scans->origin().z();
  EXPECT_NEAR(summary.elevations.first + origin, 0.0, 0.011);
  EXPECT_NEAR(summary.elevations.second + origin, 0.76, 0.011);
  EXPECT_NEAR(summary.intensities.first, 0.003 * 60000, 60.0);
  EXPECT_NEAR(summary.intensities.second, 0.997 * 60000, 60.0);
  EXPECT_GT(summary.places.size(), 8000U);
}

TEST_F(ScanLoaderTest, aScanLargerThanTheBudgetIsDecimatedEvenlyAndReported) {
  const std::vector<LasFilePoint> points = manyPoints(100000);
  load({write("a.las", points)}, 40 * 30000);
  _loader->start();
  finish();
  ASSERT_EQ(_found.size(), 25000U);
  for (const auto& [place, position] : _found) {
    EXPECT_EQ(place.second % 4, 0U);
  }
  expectPoint(1, 99996, points[99996]);
  EXPECT_THAT(_notes, ElementsAre("showing every 4th point of a.las: 25,000 of 100,000, to fit into 0.0011 GiB"));
  EXPECT_EQ(_loader->decimation(), 4U);
}

TEST_F(ScanLoaderTest, scansAddedLaterGetTheRemainingMemoryAndAreRefusedWithoutAny) {
  load({write("a.las", manyPoints(1000))}, 40 * 1100);
  _loader->start();
  _scans->add(write("b.las", manyPoints(400)));
  _loader->start();
  _scans->add(write("c.las", manyPoints(400)));
  _loader->start();
  finish();
  EXPECT_EQ(_found.size(), 1100U);
  EXPECT_THAT(_notes, ElementsAre(HasSubstr("every 4th point of b.las: 100 of 400")));
  EXPECT_THAT(_errors, ElementsAre(HasSubstr("c.las: none of its points fit")));
}

TEST_F(ScanLoaderTest, recordsBeyondFourGibibytesArrive) {
  const std::vector<LasFilePoint> points = manyPoints(100);
  writeLasFile(_folder.path("far.las"), points, 5000.0, 7000.0, 4294967000U);
  ASSERT_GT(std::filesystem::file_size(_folder.path("far.las")), std::uint64_t{1} << 32U);
  load({_folder.path("far.las")});
  _loader->start();
  finish();
  ASSERT_EQ(_found.size(), 100U);
  for (std::size_t index = 0; index < points.size(); ++index) {
    expectPoint(1, index, points[index]);
  }
}

TEST_F(ScanLoaderTest, aFileTruncatedWhileItLoadsIsReportedWithItsOffsetAndTheOtherScansContinue) {
  if (!QuorTests::mappedFilesMayChange()) {
    GTEST_SKIP() << "a mapped file cannot be changed on this system";
  }
  const std::vector<LasFilePoint> points = manyPoints(700000);
  load({write("cut.las", points), write("whole.las", manyPoints(50))});
  blockWorker();
  _loader->start();
  const std::uint64_t end = kHeaderBytes + 600001 * kRecordBytes + 7;
  std::filesystem::resize_file(_folder.path("cut.las"), end);
  unblockWorker();
  finish();
  EXPECT_THAT(_errors, ElementsAre(_folder.path("cut.las") +
                                   ": the file was truncated while it was being read, at byte " + std::to_string(end)));
  EXPECT_TRUE(_loader->failed());
  EXPECT_EQ(_found.size(), 600001U + 50U);
  for (const std::uint64_t index : {0U, 524288U, 600000U}) {
    expectPoint(1, index, points[index]);
  }
  EXPECT_EQ(_found.count({1, 600001}), 0U);
}

TEST_F(ScanLoaderTest, aFileEmptiedWhileItLoadsLeavesTheLoaderAlive) {
  if (!QuorTests::mappedFilesMayChange()) {
    GTEST_SKIP() << "a mapped file cannot be changed on this system";
  }
  load({write("gone.las", manyPoints(300000))});
  blockWorker();
  _loader->start();
  std::filesystem::resize_file(_folder.path("gone.las"), 0);
  unblockWorker();
  finish();
  EXPECT_THAT(_errors, ElementsAre(HasSubstr("at byte 0")));
  EXPECT_TRUE(_found.empty());
}

TEST_F(ScanLoaderTest, aFileTruncatedBeforeItIsMappedIsReportedToo) {
  load({write("cut.las", manyPoints(1000))});
  std::filesystem::resize_file(_folder.path("cut.las"), kHeaderBytes + 400 * kRecordBytes);
  _loader->start();
  finish();
  EXPECT_EQ(_found.size(), 400U);
  EXPECT_THAT(_errors, ElementsAre(HasSubstr("at byte " + std::to_string(kHeaderBytes + 400 * kRecordBytes))));
}

TEST_F(ScanLoaderTest, aFileThatIsDeletedStillLoads) {
  if (!QuorTests::mappedFilesMayChange()) {
    GTEST_SKIP() << "a mapped file cannot be changed on this system";
  }
  load({write("unlinked.las", manyPoints(1000))});
  blockWorker();
  _loader->start();
  std::filesystem::remove(_folder.path("unlinked.las"));
  unblockWorker();
  finish();
  EXPECT_EQ(_found.size(), 1000U);
  EXPECT_THAT(_errors, ElementsAre());
}

TEST_F(ScanLoaderTest, aFileThatIsReplacedByAnotherStillLoads) {
  if (!QuorTests::mappedFilesMayChange()) {
    GTEST_SKIP() << "a mapped file cannot be changed on this system";
  }
  const std::vector<LasFilePoint> points = manyPoints(1000);
  load({write("scan.las", points)});
  blockWorker();
  _loader->start();
  std::filesystem::rename(write("short.las", {LasFilePoint{1, 2, 3, 4, 5}}), _folder.path("scan.las"));
  unblockWorker();
  finish();
  EXPECT_EQ(_found.size(), 1000U);
  expectPoint(1, 999, points[999]);
  EXPECT_THAT(_errors, ElementsAre());
}

TEST_F(ScanLoaderTest, aScanAddedUnderTheNameOfAScanThatIsLoadingDoesNotDisturbIt) {
  if (!QuorTests::mappedFilesMayChange()) {
    GTEST_SKIP() << "a mapped file cannot be changed on this system";
  }
  const std::vector<LasFilePoint> points = manyPoints(300000);
  const std::vector<LasFilePoint> others(400, LasFilePoint{-1000, -2000, -3000, 4, 5});
  load({write("scan.las", points)});
  blockWorker();
  _loader->start();
  std::filesystem::rename(write("other.las", others), _folder.path("scan.las"));
  _scans->add(_folder.path("scan.las"));
  _loader->start();
  unblockWorker();
  finish();
  EXPECT_EQ(_found.size(), 300400U);
  for (const std::uint64_t index : {0U, 262144U, 299999U}) {
    expectPoint(1, index, points[index]);
  }
  for (const std::uint64_t index : {0U, 399U}) {
    expectPoint(2, index, others[index]);
  }
  EXPECT_THAT(_errors, ElementsAre());
}

TEST_F(ScanLoaderTest, aFileShortenedWhileItLoadsAndAddedAgainIsReadToItsNewEndByBoth) {
  if (!QuorTests::mappedFilesMayChange()) {
    GTEST_SKIP() << "a mapped file cannot be changed on this system";
  }
  std::vector<LasFilePoint> points = manyPoints(700000);
  load({write("scan.las", points)});
  blockWorker();
  _loader->start();
  points.resize(600001);
  _scans->add(write("scan.las", points));
  _loader->start();
  unblockWorker();
  finish();
  EXPECT_THAT(_errors, ElementsAre(HasSubstr("the file was truncated while it was being read, at byte " +
                                             std::to_string(kHeaderBytes + 600001 * kRecordBytes))));
  for (const std::uint64_t index : {0U, 524288U}) {
    expectPoint(1, index, points[index]);
  }
  EXPECT_EQ(_found.count({1, 600001}), 0U);
  for (const std::uint64_t index : {0U, 524288U, 600000U}) {
    expectPoint(2, index, points[index]);
  }
}

TEST_F(ScanLoaderTest, aScanClosedBeforeItIsReadIsDroppedAndTheOthersContinue) {
  load({write("dropped.las", manyPoints(300000)), write("kept.las", manyPoints(50))});
  blockWorker();
  _loader->start();
  close(1);
  EXPECT_EQ(_loader->pointsPlanned(), 50U);
  unblockWorker();
  finish();
  EXPECT_EQ(_found.size(), 50U);
  EXPECT_EQ(_found.begin()->first.first, 2U);
}

TEST_F(ScanLoaderTest, aClosedScanNoLongerCounts) {
  load({write("gone.las", manyPoints(1000)), write("kept.las", manyPoints(50))}, 40 * 1050);
  _loader->start();
  finish();
  close(1);
  EXPECT_EQ(_loader->pointsRead(), 50U);
  EXPECT_EQ(_loader->pointsPlanned(), 50U);
  EXPECT_FALSE(_loader->finished()) << "the summary of all scans is still to come";
  finishWith(50);
  _scans->add(write("next.las", manyPoints(1000)));
  _loader->start();
  finishWith(1050);
  EXPECT_EQ(_loader->decimation(), 1U) << "the memory has not been freed";
}

TEST_F(ScanLoaderTest, whatWasReadOfAScanBeforeItIsReloadedIsDropped) {
  constexpr int kPoints = 1000;
  load({write("a.las", manyPoints(kPoints))});
  _loader->start();
  QuorOsgUtils::FileJobs jobs;
  for (int round = 0; round < 20; ++round) {
    jobs.submit(std::string(), QuorOsgUtils::FileCmd::Low, [](QuorOsgUtils::FileJob&) {}).wait();  // all has been read
    _loader->reload(1);
  }
  finishWith(kPoints);
  EXPECT_EQ(_found.size(), static_cast<std::size_t>(kPoints));
}

TEST_F(ScanLoaderTest, theDecimationOfAClosedScanIsForgotten) {
  load({write("decimated.las", manyPoints(1000))}, 40 * 400);
  _loader->start();
  finish();
  EXPECT_EQ(_loader->decimation(), 3U);
  close(1);
  EXPECT_EQ(_loader->decimation(), 1U);
}

TEST_F(ScanLoaderTest, theRangesFollowWhenAScanIsClosed) {
  std::vector<LasFilePoint> high(500), low(500);
  for (std::size_t number = 0; number < high.size(); ++number) {
    const int step = static_cast<int>(number);
    high[number] = {step, step, 900000 + step, 50000, 6};
    low[number] = {step, step, step, 100, 2};
  }
  load({write("low.las", low), write("high.las", high)});
  _loader->start();
  finish();
  EXPECT_THAT(_loader->summary().classifications, ElementsAre(2U, 6U));
  EXPECT_GT(_loader->summary().elevations.second - _loader->summary().elevations.first, 8000.0f);
  close(2);
  finishWith(500);
  EXPECT_THAT(_loader->summary().classifications, ElementsAre(2U));
  EXPECT_LT(_loader->summary().elevations.second - _loader->summary().elevations.first, 10.0f);
  EXPECT_EQ(_loader->summary().places.size(), 500U);
}

TEST_F(ScanLoaderTest, theFileOfAClosedScanIsNoLongerOpen) {
  const std::string path = write("held.las", manyPoints(1000));
  load({path});
  _loader->start();
  finish();
  EXPECT_GT(handlesOn(path), 1U) << "the loader has not mapped the file";
  close(1);
  finishWith(0);
  EXPECT_EQ(handlesOn(path), 0U);
}

TEST_F(ScanLoaderTest, aFileOpenedTwiceStaysOpenForTheOther) {
  const std::string path = write("twice.las", manyPoints(300000));
  load({path, path});
  blockWorker();
  _loader->start();
  close(1);
  unblockWorker();
  finish();
  EXPECT_EQ(_found.size(), 300000U);
  EXPECT_THAT(_errors, ElementsAre());
}

TEST_F(ScanLoaderTest, scansMayBeAddedAndClosedInAnyOrder) {
  load({write("first.las", manyPoints(100))});
  _loader->start();
  std::mt19937 random(3);
  std::uint64_t left = 100;
  std::map<unsigned int, std::uint64_t> open = {{1, 100}};
  for (int step = 0; step < 300; ++step) {
    if (open.size() < 2 || random() % 2 == 0) {
      const int count = 1 + static_cast<int>(random() % 400);
      open[_scans->add(write(std::to_string(step) + ".las", manyPoints(count)))] = static_cast<std::uint64_t>(count);
      left += static_cast<std::uint64_t>(count);
      _loader->start();
    } else {
      const auto victim = std::next(open.begin(), static_cast<std::ptrdiff_t>(random() % open.size()));
      left -= victim->second;
      close(victim->first);
      open.erase(victim);
    }
    if (random() % 4 == 0) {
      _loader->step(1ms);
    }
  }
  finishWith(left);
  EXPECT_EQ(_scans->pointCount(), left);
  EXPECT_THAT(_errors, ElementsAre());
}

TEST_F(ScanLoaderTest, destroyingTheLoaderDropsWhatIsStillToBeRead) {
  writeHollowLasFile(_folder.path("long.las"), 200000000);
  load({_folder.path("long.las")}, std::uint64_t{16} << 30U);
  _loader->start();
  const auto start = std::chrono::steady_clock::now();
  _loader.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - start, 2s);
}

TEST_F(ScanLoaderTest, aSampleOfALargeScanComesBeforeTheRestOfAnother) {
  writeHollowLasFile(_folder.path("one.las"), 4000000);
  writeHollowLasFile(_folder.path("other.las"), 4000000);
  _scans = std::make_unique<ScanSet>(std::vector{_folder.path("one.las"), _folder.path("other.las")});
  std::vector<unsigned int> arrivals;  // the scans of the chunks
  _loader = std::make_unique<ScanLoader>(
      *_scans, kPlenty,
      ScanLoader::Listener{[&](unsigned int scan, const PointChunk& /*chunk*/) { arrivals.push_back(scan); },
                           [](unsigned int, const std::string&) {}, [](const std::string&) {}});
  blockWorker();
  _loader->start();
  unblockWorker();
  while (!_loader->finished()) {
    if (!_loader->step(10ms)) {
      std::this_thread::sleep_for(1ms);
    }
  }
  const auto second = std::find(arrivals.begin(), arrivals.end(), 2U);
  ASSERT_NE(second, arrivals.end());
  const auto after = std::find(second, arrivals.end(), 1U);
  EXPECT_NE(after, arrivals.end()) << "the second scan's sample waited for the whole of the first";
  EXPECT_EQ(_loader->pointsRead(), 8000000U);
}

TEST_F(ScanLoaderTest, theSampleOfALargeScanIsHandedOutBeforeTheRestAndReported) {
  writeHollowLasFile(_folder.path("large.las"), 4000000);
  _scans = std::make_unique<ScanSet>(std::vector{_folder.path("large.las")});
  std::uint64_t reach = 0;
  _loader = std::make_unique<ScanLoader>(
      *_scans, kPlenty,
      ScanLoader::Listener{[&](unsigned int /*scan*/, const PointChunk& chunk) {
                             reach = std::max(reach, chunk.points.at(chunk.points.count - 1));
                           },
                           [](unsigned int, const std::string&) {}, [](const std::string&) {}});
  _loader->start();
  while (!_loader->finished() && !_loader->pollSampleCompleted()) {
    if (!_loader->step(10s)) {
      std::this_thread::sleep_for(1ms);
    }
  }
  EXPECT_LT(_loader->pointsRead(), 2000000U);
  EXPECT_GT(reach, 3900000U);
  EXPECT_GT(_loader->summary().places.size(), 1000U);
  while (!_loader->finished()) {
    if (!_loader->step(10s)) {
      std::this_thread::sleep_for(1ms);
    }
    EXPECT_FALSE(_loader->pollSampleCompleted());
  }
  EXPECT_EQ(_loader->pointsRead(), 4000000U);
}

TEST_F(ScanLoaderTest, aSampleIsAsSmallAsTheMemoryForSamplesRequires) {
  for (const int count : {1200000, 500000}) {
    const std::string path = write(std::to_string(count) + ".las", manyPoints(count));
    for (const std::uint64_t most : {600000U, 300000U, 10000U, 0U}) {
      load({path}, 40 * 1200000);
      _loader->setReserved(0, 40 * (1200000 - most));
      _loader->start([](unsigned int /*scan*/) { return LoadExtent::Sample; });
      EXPECT_LE(_loader->pointsPlanned(), most);
      EXPECT_EQ(_loader->pointsPlanned() > 0, most > 0);
      finish();
      _found.clear();
    }
  }
  EXPECT_THAT(_errors, ElementsAre());
}

TEST_F(ScanLoaderTest, formatsWithoutPlainRecordsAreReadThroughTheirReader) {
  std::ofstream asc(_folder.path("points.asc"));
  for (int number = 0; number < 100; ++number) {
    asc << number << ' ' << number * 2 << ' ' << number % 5 << '\n';
  }
  asc.close();
  load({_folder.path("points.asc")}, 40 * 34);
  _loader->start();
  finish();
  EXPECT_EQ(_found.size(), 34U);
  EXPECT_LT((_found.at({1, 99}) - osg::Vec3d(99, 198, 4)).length(), 1e-3);
}

}  // namespace
