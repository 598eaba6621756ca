#include "support/FilesFixture.h"
#include "support/NotifyRecorder.h"
#include "support/OnThreads.h"
#include "support/Work.h"

#include <QuorOsgUtils/FileCmd.h>
#include <QuorOsgUtils/FileManager.h>
#include <QuorOsgUtils/FilePtr.h>

#include <osg/Notify>
#include <osg/ref_ptr>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

using QuorOsgUtils::CloseFile;
using QuorOsgUtils::FileCmd;
using QuorOsgUtils::FileManager;
using QuorOsgUtils::FileProxy;
using QuorOsgUtils::FilePtr;
using QuorOsgUtils::OpenFile;
using QuorOsgUtils::RegisterFile;
using QuorOsgUtils::RemoveFile;
using ::testing::ElementsAre;
using ::testing::ExitedWithCode;
using ::testing::HasSubstr;
using namespace QuorTests;

namespace {

constexpr auto kHigh = FileCmd::High;
constexpr auto kNormal = FileCmd::Normal;
constexpr auto kLow = FileCmd::Low;

/// Gives access to the private `run`, which applications reach as friends: naming a private member is allowed where a
/// template is instantiated explicitly.
template <void (FileManager::*Run)()>
struct RunAccess {
  friend void callRun(FileManager& fileManager) { (fileManager.*Run)(); }
};
void callRun(FileManager& fileManager);
template struct RunAccess<&FileManager::run>;

/// The manager owns the command from here on.
void pushOwned(FileCmd* cmd) {
  cmd->setAutoDelete(true);
  manager().push(cmd);
}

void pushWork(const std::string& file, FileCmd::Priority priority, Work::Function function) {
  pushOwned(new Work(file, priority, std::move(function)));
}

/// Runs what is queued, to the end.
void runQueued() {
  manager().startWorker();
  manager().stopWorker();
}

/// Runs one command of the library's and waits for it.
template <typename Command, typename... Arguments>
void runOwned(Arguments&&... arguments) {
  pushOwned(new Command(std::forward<Arguments>(arguments)...));
  runQueued();
}

class FileManagerTest : public FilesFixture {
 protected:
  ~FileManagerTest() override { manager().stopWorker(); }

  /// Creates a registered file.
  osg::ref_ptr<FilePtr> registered(const std::string& name, std::int64_t size) const {
    const osg::ref_ptr<FilePtr> file = new FilePtr(makeFile(name, size).c_str());
    runOwned<RegisterFile>(file, kNormal);
    return file;
  }

  /// A command that writes its name into the record when it runs.
  Work* recording(const std::string& name, FileCmd::Priority priority) {
    return new Work("no file", priority, [this, name](Work::Proxy) { _record.push_back(name); });
  }

  std::vector<std::string> _record;  // written on the worker, read once it has stopped
};

/// A random chain and its expected result.
class ChainModel {
 public:
  ChainModel(std::mt19937& random, std::vector<int>& run, std::vector<int>& destroyed, int firstNumber) {
    std::vector<FileCmd*> chain;
    const std::size_t length = 1 + random() % 6;
    for (std::size_t i = 0; i < length; ++i) {
      const int number = firstNumber + static_cast<int>(i);
      auto* const work = new Work(
          "no file", kNormal, [&run, number](Work::Proxy) { run.push_back(number); },
          [&destroyed, number] { destroyed.push_back(number); });
      work->setAutoDelete(random() % 3 != 0);
      const std::size_t place = chain.empty() ? 0 : 1 + random() % chain.size();
      if (place > 0) {
        chain[place - 1]->setNext(work);
      }
      chain.insert(chain.begin() + static_cast<std::ptrdiff_t>(place), work);
      _numbers.insert(_numbers.begin() + static_cast<std::ptrdiff_t>(place), number);
    }
    for (FileCmd* cmd : chain) {
      _autoDelete.push_back(cmd->getAutoDelete());
    }
    _chain = std::move(chain);
  }

  FileCmd* head() const { return _chain.front(); }
  /// In the order in which they run.
  const std::vector<int>& numbers() const { return _numbers; }

  /// Those that the manager destroys: from a head with auto delete up to the first without.
  std::size_t countDestroyedByManager() const { return _autoDelete.front() ? endOfRunFrom(0) : 0; }

  /// Deletes what the manager left, front first, as its owner has to.
  void deleteTheRest() const {
    for (std::size_t i = countDestroyedByManager(); i < _chain.size(); i = endOfRunFrom(i + 1)) {
      delete _chain[i];
    }
  }

 private:
  std::size_t endOfRunFrom(std::size_t place) const {
    while (place < _autoDelete.size() && _autoDelete[place]) {
      ++place;
    }
    return place;
  }

  std::vector<FileCmd*> _chain;
  std::vector<int> _numbers;
  std::vector<bool> _autoDelete;
};

}  // namespace

TEST_F(FileManagerTest, thereIsOneManagerThatCannotBeCreatedOrCopied) {
  static_assert(!std::is_default_constructible_v<FileManager> && !std::is_destructible_v<FileManager>);
  static_assert(!std::is_copy_constructible_v<FileManager> && !std::is_copy_assignable_v<FileManager>);
  static_assert(!std::is_default_constructible_v<FileProxy> && !std::is_destructible_v<FileProxy>);
  static_assert(!std::is_copy_constructible_v<FileProxy> && !std::is_copy_assignable_v<FileProxy>);
  std::array<FileManager*, 4> seen{};
  onThreads(seen.size(), [&seen](std::size_t i) { seen[i] = FileManager::getInstance(); });
  EXPECT_THAT(seen, ::testing::Each(FileManager::getInstance()));
}

TEST_F(FileManagerTest, memorySizeIsSixteen) {
  EXPECT_EQ(manager().memorySize(), 16);
}

TEST_F(FileManagerTest, highRunsBeforeNormalAndNormalBeforeLowWhateverTheOrderOfPushing) {
  pushOwned(recording("high", kHigh));
  pushOwned(recording("low", kLow));
  pushOwned(recording("normal", kNormal));
  runQueued();
  EXPECT_THAT(_record, ElementsAre("high", "normal", "low"));
}

TEST_F(FileManagerTest, commandsOfOnePriorityRunInTheOrderPushed) {
  for (const char* name : {"1", "2"}) {
    pushOwned(recording(std::string("low ") + name, kLow));
  }
  for (const char* name : {"1", "2", "3"}) {
    pushOwned(recording(std::string("high ") + name, kHigh));
  }
  pushOwned(recording("low 3", kLow));
  runQueued();
  EXPECT_THAT(_record, ElementsAre("high 1", "high 2", "high 3", "low 1", "low 2", "low 3"));
}

TEST_F(FileManagerTest, whatACommandPushesRunsByItsPriorityToo) {
  pushWork("no file", kNormal, [this](Work::Proxy) {
    pushOwned(recording("low", kLow));
    pushOwned(recording("high", kHigh));
  });
  pushOwned(recording("normal", kNormal));
  runQueued();
  EXPECT_THAT(_record, ElementsAre("high", "normal", "low"));
}

TEST_F(FileManagerTest, aCommandOfUnknownPriorityNeverRunsAndStillBelongsToTheCaller) {
  for (const int priority : {3, -1, 1000, -2147483647 - 1}) {
    bool destroyed = false;
    Work* const cmd = new Work(
        "no file", static_cast<FileCmd::Priority>(priority), [this](Work::Proxy) { _record.push_back("unknown"); },
        [&destroyed] { destroyed = true; });
    pushOwned(cmd);
    runQueued();
    EXPECT_FALSE(destroyed) << priority;
    delete cmd;
  }
  EXPECT_TRUE(_record.empty());
}

TEST_F(FileManagerTest, nullIsNotQueued) {
  manager().push(nullptr);
  pushOwned(recording("next", kLow));
  runQueued();
  EXPECT_THAT(_record, ElementsAre("next"));
}

TEST_F(FileManagerTest, emptyQueuesChangeNothing) {
  runQueued();
  runQueued();
  EXPECT_TRUE(_record.empty());
}

TEST_F(FileManagerTest, aCommandPushedTwiceRunsTwice) {
  const std::unique_ptr<Work> cmd(recording("twice", kNormal));
  manager().push(cmd.get());
  manager().push(cmd.get());
  runQueued();
  EXPECT_THAT(_record, ElementsAre("twice", "twice"));
}

TEST_F(FileManagerTest, aChainRunsInOrderWithThePriorityOfItsFirstCommand) {
  Work* const a = recording("a", kNormal);
  Work* const b = recording("b", kHigh);
  Work* const c = recording("c", static_cast<FileCmd::Priority>(9));
  for (Work* cmd : {b, c}) {
    cmd->setAutoDelete(true);
  }
  a->setNext(b);
  a->setNext(c);
  pushOwned(recording("low", kLow));
  pushOwned(a);
  pushOwned(recording("high", kHigh));
  runQueued();
  EXPECT_THAT(_record, ElementsAre("high", "a", "c", "b", "low"));
}

TEST_F(FileManagerTest, aChainWithAutoDeleteIsDestroyedOnceAllOfItHasRun) {
  const auto make = [this](const std::string& name) {
    return new Work(
        "no file", kNormal, [this, name](Work::Proxy) { _record.push_back(name + " runs"); },
        [this, name] { _record.push_back(name + " ends"); });
  };
  Work* const head = make("head");
  Work* const next = make("next");
  const std::unique_ptr<Work> kept(make("kept"));
  next->setAutoDelete(true);
  head->setNext(next);
  next->setNext(kept.get());
  pushOwned(head);
  runQueued();
  EXPECT_THAT(_record, ElementsAre("head runs", "next runs", "kept runs", "head ends", "next ends"));
}

TEST_F(FileManagerTest, aChainWhoseFirstHasNoAutoDeleteStillBelongsToItsCreator) {
  int destroyed = 0;
  const auto count = [&destroyed] { ++destroyed; };
  auto head = std::make_unique<Work>(
      "no file", kNormal, [](Work::Proxy) {}, count);
  Work* const next = new Work(
      "no file", kNormal, [](Work::Proxy) {}, count);
  next->setAutoDelete(true);
  head->setNext(next);
  manager().push(head.get());
  runQueued();
  EXPECT_EQ(destroyed, 0);
  head.reset();
  EXPECT_EQ(destroyed, 2);
}

TEST_F(FileManagerTest, tenThousandRandomChainsRunInOrderAndEveryCommandIsDestroyedOnce) {
  constexpr int kChains = 10000;
  std::mt19937 random(23);
  std::vector<int> run;
  std::vector<int> destroyed;
  std::vector<ChainModel> chains;
  std::vector<int> expectedRun;
  manager().startWorker();
  for (int i = 0; i < kChains; ++i) {
    chains.emplace_back(random, run, destroyed, static_cast<int>(expectedRun.size()));
    const std::vector<int>& numbers = chains.back().numbers();
    expectedRun.insert(expectedRun.end(), numbers.begin(), numbers.end());
    manager().push(chains.back().head());
  }
  manager().stopWorker();
  EXPECT_EQ(run, expectedRun);

  std::vector<int> expectedDestroyed;
  for (const ChainModel& chain : chains) {
    const auto begin = chain.numbers().begin();
    expectedDestroyed.insert(expectedDestroyed.end(), begin,
                             begin + static_cast<std::ptrdiff_t>(chain.countDestroyedByManager()));
  }
  EXPECT_EQ(destroyed, expectedDestroyed);
  for (const ChainModel& chain : chains) {
    chain.deleteTheRest();
  }
  std::sort(destroyed.begin(), destroyed.end());
  std::sort(expectedRun.begin(), expectedRun.end());
  EXPECT_EQ(destroyed, expectedRun) << "each command is destroyed once";
}

TEST_F(FileManagerTest, aCommandMapsAndUnmapsItsRegisteredFile) {
  const std::int64_t page = granularityBytes();
  const osg::ref_ptr<FilePtr> file = registered("scan", 3 * page);
  const std::string name = file->file();
  std::string seen;
  std::vector<std::size_t> views;
  pushWork(name, kNormal, [&](Work::Proxy proxy) {
    void* const view = Work::map(proxy, page, 100);
    seen.assign(static_cast<const char*>(view), 100);
    views.push_back(listedViews(name).size());
    Work::unmap(proxy, view);
    views.push_back(listedViews(name).size());
  });
  runQueued();
  EXPECT_EQ(seen, readPlainly(name, page, 100));
  EXPECT_THAT(views, ElementsAre(1U, 0U));
}

TEST_F(FileManagerTest, aCommandMayMapOnAnyThreadThatCallsRun) {
  const osg::ref_ptr<FilePtr> file = registered("scan", 100);
  const std::string name = file->file();
  std::vector<std::string> seen;
  const auto pushReading = [&] {
    pushWork(name, kNormal, [&seen](Work::Proxy proxy) {
      void* const view = Work::map(proxy, 0, 100);
      seen.emplace_back(static_cast<const char*>(view), 100);
      Work::unmap(proxy, view);
    });
  };
  pushReading();
  callRun(manager());
  pushReading();
  std::thread([] { callRun(manager()); }).join();
  pushReading();
  runQueued();
  pushReading();
  callRun(manager());
  EXPECT_THAT(seen, ::testing::AllOf(::testing::SizeIs(4), ::testing::Each(readPlainly(name, 0, 100))));
  EXPECT_TRUE(listedViews(name).empty());
}

TEST_F(FileManagerTest, eachCallOfRunRunsOneChainAndNoneOnEmptyQueues) {
  Work* const head = recording("head", kLow);
  Work* const next = recording("next", kLow);
  next->setAutoDelete(true);
  head->setNext(next);
  pushOwned(head);
  pushOwned(recording("other", kLow));
  callRun(manager());
  EXPECT_THAT(_record, ElementsAre("head", "next"));
  callRun(manager());
  callRun(manager());
  EXPECT_THAT(_record, ElementsAre("head", "next", "other"));
}

TEST_F(FileManagerTest, aViewOutlivesItsCommandAndAnotherCommandEndsIt) {
  const osg::ref_ptr<FilePtr> file = registered("scan", 100);
  const std::string name = file->file();
  void* view = nullptr;
  pushWork(name, kNormal, [&view](Work::Proxy proxy) { view = Work::map(proxy, 0, 100); });
  runQueued();
  ASSERT_EQ(listedViews(name).size(), 1U);
  EXPECT_EQ(std::string(static_cast<const char*>(view), 100), readPlainly(name, 0, 100));
  pushWork(name, kNormal, [view](Work::Proxy proxy) { Work::unmap(proxy, view); });
  runQueued();
  EXPECT_TRUE(listedViews(name).empty());
}

TEST_F(FileManagerTest, aCommandOnAFileThatTheManagerDoesNotKnowHasNoViews) {
  const std::string name = makeFile("unknown", 100);
  ::testing::internal::CaptureStdout();
  int elsewhere = 0;
  pushWork(name, kNormal, [&elsewhere](Work::Proxy proxy) {
    EXPECT_NE(proxy, nullptr);
    EXPECT_EQ(Work::map(proxy, 0, 100), nullptr);
    Work::unmap(proxy, &elsewhere);
  });
  runQueued();
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
}

TEST_F(FileManagerTest, eachCommandOfAChainHasItsOwnFile) {
  const osg::ref_ptr<FilePtr> first = registered("first", 100);
  const osg::ref_ptr<FilePtr> second = registered("second", 200);
  std::vector<std::string> seen;
  const auto reading = [&seen](const FilePtr& file, std::size_t size) {
    Work* const work = new Work(file.file(), kNormal, [&seen, size](Work::Proxy proxy) {
      seen.emplace_back(static_cast<const char*>(Work::map(proxy, 0, 200)), size);
    });
    work->setAutoDelete(true);
    return work;
  };
  Work* const head = reading(*first, 100);
  head->setNext(reading(*second, 200));
  manager().push(head);
  runQueued();
  EXPECT_THAT(seen, ElementsAre(readPlainly(first->file(), 0, 100), readPlainly(second->file(), 0, 200)));
}

TEST_F(FileManagerTest, aRegisteredFileIsKeptUntilAnotherOfTheSameNameReplacesIt) {
  const osg::ref_ptr<FilePtr> first = registered("scan", 100);
  EXPECT_EQ(first->referenceCount(), 2) << "the references of the test and the manager";
  const osg::ref_ptr<FilePtr> second = new FilePtr(first->file());
  runOwned<RegisterFile>(second, kNormal);
  EXPECT_EQ(first->referenceCount(), 1);
  EXPECT_EQ(second->referenceCount(), 2);
  second->close();
  ::testing::internal::CaptureStdout();
  pushWork(first->file(), kNormal, [](Work::Proxy proxy) { EXPECT_EQ(Work::map(proxy, 0, 10), nullptr); });
  runQueued();
  EXPECT_NE(::testing::internal::GetCapturedStdout(), "");
}

TEST_F(FileManagerTest, registeringNothingIsHarmless) {
  runOwned<RegisterFile>(nullptr, kNormal);
  pushOwned(recording("next", kLow));
  runQueued();
  EXPECT_THAT(_record, ElementsAre("next"));
}

TEST_F(FileManagerTest, closeFileClosesARegisteredFileWithAllItsViews) {
  const osg::ref_ptr<FilePtr> file = registered("scan", 100);
  ASSERT_NE(file->map(0, 10), nullptr);
  ASSERT_NE(file->map(5, 10), nullptr);
  runOwned<CloseFile>(file->file(), kNormal);
  EXPECT_FALSE(file->isOpen());
  EXPECT_TRUE(listedViews(file->file()).empty());
}

TEST_F(FileManagerTest, closeFileAndRemoveFileLeaveFilesThatTheManagerDoesNotKnow) {
  const osg::ref_ptr<FilePtr> file = new FilePtr(makeFile("scan", 100).c_str());
  runOwned<CloseFile>(file->file(), kNormal);
  runOwned<RemoveFile>(file->file(), kNormal);
  EXPECT_TRUE(file->isOpen());
  EXPECT_TRUE(std::filesystem::exists(file->file()));
}

TEST_F(FileManagerTest, removeFileClosesARegisteredFileAndDeletesIt) {
  const osg::ref_ptr<FilePtr> file = registered("scan", 100);
  runOwned<RemoveFile>(file->file(), kNormal);
  EXPECT_FALSE(file->isOpen());
  EXPECT_FALSE(std::filesystem::exists(file->file()));
}

TEST_F(FileManagerTest, removeFileDeletesAFileOfAChineseName) {
  const std::optional<std::string> name = inUsersEncoding("点云");
  if (!name) {
    GTEST_SKIP() << "this user's encoding has no Chinese characters";
  }
  const osg::ref_ptr<FilePtr> file = registered(*name, 100);
  EXPECT_TRUE(file->isValid());
  runOwned<RemoveFile>(file->file(), kNormal);
  EXPECT_FALSE(std::filesystem::exists(toPath(file->file())));
}

TEST_F(FileManagerTest, aRemovedFileStaysKnownAndCanBeOpenedOnceItIsThereAgain) {
  const osg::ref_ptr<FilePtr> file = registered("scan", 100);
  runOwned<RemoveFile>(file->file(), kNormal);
  makeFile("scan", 50);
  OpenFile(file->file(), kNormal)(nullptr, &manager());
  EXPECT_TRUE(file->isOpen());
}

TEST_F(FileManagerTest, removeFileOfARegisteredFileThatIsNotOnTheDiskDoesNothing) {
  ::testing::internal::CaptureStderr();
  const osg::ref_ptr<FilePtr> file = new FilePtr(path("missing").c_str());
  ::testing::internal::GetCapturedStderr();
  runOwned<RegisterFile>(file, kNormal);
  runOwned<RemoveFile>(file->file(), kNormal);
  EXPECT_TRUE(file->isOpen());
}

TEST_F(FileManagerTest, openFilePushedToTheManagerDoesNothing) {
  const osg::ref_ptr<FilePtr> file = registered("scan", 100);
  file->close();
  runOwned<OpenFile>(file->file(), kNormal);
  EXPECT_FALSE(file->isOpen());
}

TEST_F(FileManagerTest, openFileDoesNotOpenTheFileOfACommandThatHasRun) {
  const std::string name = makeFile("protected", 10);
  const auto linesOfOpening = [&name] {
    const WriteProtection protection(name);
    ::testing::internal::CaptureStderr();
    OpenFile(name, kNormal)(nullptr, &manager());
    return ::testing::internal::GetCapturedStderr();
  };
  EXPECT_NE(linesOfOpening(), "") << "a file that may not be written is refused";
  pushWork(name, kNormal, [](Work::Proxy) {});
  runQueued();
  EXPECT_EQ(linesOfOpening(), "");
}

TEST_F(FileManagerTest, commandsWaitUntilTheWorkerIsStartedAndRunOnAnotherThread) {
  std::thread::id ranOn;
  pushWork("no file", kNormal, [&ranOn](Work::Proxy) { ranOn = std::this_thread::get_id(); });
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_EQ(ranOn, std::thread::id()) << "the library starts no worker by itself";
  runQueued();
  EXPECT_NE(ranOn, std::thread::id());
  EXPECT_NE(ranOn, std::this_thread::get_id());
}

TEST_F(FileManagerTest, startingOrStoppingTwiceHasNoFurtherEffect) {
  manager().stopWorker();
  manager().startWorker();
  manager().startWorker();
  pushOwned(recording("ran", kNormal));
  manager().stopWorker();
  manager().stopWorker();
  EXPECT_THAT(_record, ElementsAre("ran"));
}

TEST_F(FileManagerTest, startingAndStoppingFromACommandDoNothing) {
  const NotifyRecorder notifier(osg::WARN);
  manager().startWorker();
  pushWork("no file", kNormal, [this](Work::Proxy) {
    manager().stopWorker();
    manager().startWorker();
    _record.push_back("ran");
  });
  pushOwned(recording("next", kNormal));
  manager().stopWorker();
  EXPECT_THAT(_record, ElementsAre("ran", "next"));
  EXPECT_TRUE(notifier.entries().empty());
}

TEST_F(FileManagerTest, startingAndStoppingFromACommandOnAnotherThreadThanTheWorkerDoNothing) {
  const osg::ref_ptr<FilePtr> file = registered("scan", 100);
  pushWork(file->file(), kNormal, [this](Work::Proxy proxy) {
    manager().startWorker();
    manager().stopWorker();
    if (Work::map(proxy, 0, 100) != nullptr) {
      _record.push_back("mapped");
    }
  });
  pushOwned(recording("next", kNormal));
  callRun(manager());
  EXPECT_THAT(_record, ElementsAre("mapped")) << "no worker runs the next command";
  runQueued();
  EXPECT_THAT(_record, ElementsAre("mapped", "next"));
}

TEST_F(FileManagerTest, stopWorkerFinishesAllThatIsQueued) {
  constexpr int kCommands = 5000;
  std::promise<void> release;
  const std::shared_future<void> released = release.get_future().share();
  int count = 0;
  manager().startWorker();
  pushWork("no file", kHigh, [released](Work::Proxy) { released.wait(); });
  for (int i = 0; i < kCommands; ++i) {
    pushWork("no file", static_cast<FileCmd::Priority>(i % 3), [&count](Work::Proxy) { ++count; });
  }
  std::thread stopper([] { manager().stopWorker(); });
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  release.set_value();
  stopper.join();
  EXPECT_EQ(count, kCommands);
}

TEST_F(FileManagerTest, theWorkerMayBeStartedAndStoppedThousandsOfTimes) {
  constexpr int kRounds = 3000;
  int count = 0;
  for (int round = 0; round < kRounds; ++round) {
    if (round % 2 == 0) {
      pushWork("no file", kLow, [&count](Work::Proxy) { ++count; });
    }
    manager().startWorker();
    if (round % 2 != 0) {
      pushWork("no file", kHigh, [&count](Work::Proxy) { ++count; });
    }
    manager().stopWorker();
    ASSERT_EQ(count, round + 1);
  }
}

TEST_F(FileManagerTest, anIdleWorkerCostsNoProcessorTimeAndStillWakesAtAPush) {
  manager().startWorker();
  std::promise<void> warm;
  pushWork("no file", kNormal, [&warm](Work::Proxy) { warm.set_value(); });
  warm.get_future().wait();
  const double before = processorSeconds();
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  EXPECT_LT(processorSeconds() - before, 0.05);
  std::promise<void> woken;
  pushWork("no file", kNormal, [&woken](Work::Proxy) { woken.set_value(); });
  EXPECT_EQ(woken.get_future().wait_for(std::chrono::seconds(60)), std::future_status::ready);
}

TEST_F(FileManagerTest, aBurstFromSeveralThreadsRunsCompletelyAndInOrderWithinEachPriority) {
  constexpr std::size_t kPushers = 4;
  constexpr int kCommands = 3000;
  using Place = std::array<int, 3>;  // pusher, priority, number
  std::vector<Place> run;
  manager().startWorker();
  onThreads(kPushers, [&run](std::size_t pusher) {
    std::mt19937 random(static_cast<std::mt19937::result_type>(pusher));
    for (int number = 0; number < kCommands; ++number) {
      const int priority = static_cast<int>(random() % 3);
      const Place place{static_cast<int>(pusher), priority, number};
      pushWork("no file", static_cast<FileCmd::Priority>(priority),
               [&run, place](Work::Proxy) { run.push_back(place); });
      if (random() % 500 == 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
    }
  });
  manager().stopWorker();
  ASSERT_EQ(run.size(), kPushers * kCommands);
  // A stable sort by pusher and priority alone must give the same as a full sort.
  std::stable_sort(run.begin(), run.end(), [](const Place& a, const Place& b) {
    return std::make_pair(a[0], a[1]) < std::make_pair(b[0], b[1]);
  });
  EXPECT_TRUE(std::is_sorted(run.begin(), run.end()));
  EXPECT_EQ(std::adjacent_find(run.begin(), run.end()), run.end()) << "none runs twice";
}

TEST_F(FileManagerTest, pushesWhileTheWorkerGoesToSleepAreNotLost) {
  constexpr int kRounds = 20000;
  std::atomic<int> count{0};
  manager().startWorker();
  for (int round = 1; round <= kRounds; ++round) {
    pushWork("no file", kNormal, [&count](Work::Proxy) { ++count; });
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (count < round && std::chrono::steady_clock::now() < end) {
      std::this_thread::yield();
    }
    ASSERT_EQ(count, round);
  }
}

TEST_F(FileManagerTest, aCommandThatThrowsIsReportedOnceWithItsFileAndTheWorkGoesOn) {
  struct Row {
    std::string file;
    std::function<void()> fail;
    std::string reason;
  };
  const std::vector<Row> rows = {{"town.las", [] { throw std::runtime_error("no header"); }, "no header"},
                                 {"城市.las", [] { throw 5; }, "no std::exception"},
                                 {"park.las", [] { throw std::string("text"); }, "no std::exception"}};
  for (const Row& row : rows) {
    const NotifyRecorder notifier(osg::WARN);
    Work* const failing = new Work(row.file, kNormal, [&row](Work::Proxy) { row.fail(); });
    Work* const next = recording("next", kNormal);
    next->setAutoDelete(true);
    failing->setNext(next);
    manager().startWorker();
    pushOwned(failing);
    pushOwned(recording("later", kLow));
    manager().stopWorker();
    ASSERT_EQ(notifier.entries().size(), 1U);
    EXPECT_EQ(notifier.entries()[0].severity, osg::WARN);
    EXPECT_THAT(notifier.entries()[0].text, HasSubstr(row.file));
    EXPECT_THAT(notifier.entries()[0].text, HasSubstr(row.reason));
  }
  EXPECT_THAT(_record, ElementsAre("next", "later", "next", "later", "next", "later"));
}

namespace {

/// Tests that end the process run in a separate, newly started process.
class FileManagerProcessTest : public ::testing::Test {
 protected:
  FileManagerProcessTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

const std::string& foreignThreadText() {
  static const std::string text = gbk("该方法运行线程不合法");
  return text;
}

/// Prints what OSG's notifier receives, with its level, to the standard error stream.
struct ShowingHandler : osg::NotifyHandler {
  void notify(osg::NotifySeverity severity, const char* message) override {
    std::fprintf(stderr, "[%d]%s", static_cast<int>(severity), message);
  }
};

void showNotifications(osg::NotifySeverity level) {
  osg::setNotifyHandler(new ShowingHandler);
  osg::setNotifyLevel(level);
}

std::string shown(osg::NotifySeverity severity, const std::string& line) {
  return "[" + std::to_string(static_cast<int>(severity)) + "]" + line + "\n";
}

/// The proxy, which is the same for all commands, from a command that has ended.
Work::Proxy proxyOfAnEndedCommand() {
  std::promise<Work::Proxy> proxy;
  pushWork("no file", kNormal, [&proxy](Work::Proxy given) { proxy.set_value(given); });
  pushWork("no file", kNormal, [](Work::Proxy) {});
  runQueued();
  return proxy.get_future().get();
}

void useOnAForeignThreadWhileTheCommandRuns(const std::function<void(Work::Proxy)>& use, bool join) {
  std::promise<void> never;
  pushWork("no file", kNormal, [&](Work::Proxy proxy) {
    std::thread foreign([&use, proxy] { use(proxy); });
    if (!join) {
      never.get_future().wait();
    }
    foreign.join();
  });
  manager().startWorker();
  std::this_thread::sleep_for(std::chrono::seconds(60));
}

void mapSomething(Work::Proxy proxy) {
  static_cast<void>(Work::map(proxy, 0, 10));
}

void unmapNothing(Work::Proxy proxy) {
  Work::unmap(proxy, nullptr);
}

}  // namespace

TEST_F(FileManagerProcessTest, mapOnAnotherThreadThatTheCommandJoinsEndsTheProcessWithAMessageAtTheDebugLevel) {
  EXPECT_EXIT(
      {
        showNotifications(osg::DEBUG_INFO);
        useOnAForeignThreadWhileTheCommandRuns(mapSomething, true);
      },
      ExitedWithCode(1), HasSubstr(shown(osg::DEBUG_INFO, foreignThreadText())));
}

TEST_F(FileManagerProcessTest, unmapOnAnotherThreadWhileTheCommandRunsEndsTheProcessWithAMessage) {
  EXPECT_EXIT(
      {
        showNotifications(osg::DEBUG_INFO);
        useOnAForeignThreadWhileTheCommandRuns(unmapNothing, false);
      },
      ExitedWithCode(1), HasSubstr(shown(osg::DEBUG_INFO, foreignThreadText())));
}

TEST_F(FileManagerProcessTest, usingTheProxyAfterItsCommandHasRunEndsTheProcessWithAMessage) {
  for (const auto use : {mapSomething, unmapNothing}) {
    EXPECT_EXIT(
        {
          const Work::Proxy proxy = proxyOfAnEndedCommand();
          showNotifications(osg::DEBUG_INFO);
          use(proxy);
        },
        ExitedWithCode(1), HasSubstr(shown(osg::DEBUG_INFO, foreignThreadText())));
  }
}

TEST_F(FileManagerProcessTest, usingTheProxyOnTheWorkerBetweenCommandsEndsTheProcessWithAMessage) {
  EXPECT_EXIT(
      {
        showNotifications(osg::DEBUG_INFO);
        static Work::Proxy proxy = nullptr;
        pushOwned(new Work(
            "no file", kNormal, [](Work::Proxy given) { proxy = given; }, [] { mapSomething(proxy); }));
        manager().startWorker();
        std::this_thread::sleep_for(std::chrono::seconds(60));
      },
      ExitedWithCode(1), HasSubstr(shown(osg::DEBUG_INFO, foreignThreadText())));
}

TEST_F(FileManagerProcessTest, belowTheDebugLevelTheProcessEndsWithoutAText) {
  EXPECT_EXIT(
      {
        const Work::Proxy proxy = proxyOfAnEndedCommand();
        showNotifications(osg::INFO);
        mapSomething(proxy);
      },
      ExitedWithCode(1), ::testing::Not(HasSubstr(foreignThreadText())));
}

TEST_F(FileManagerProcessTest, misuseEndsTheProcessWithStatusOneWhileTheWorkerIsBusy) {
  EXPECT_EXIT(
      {
        const Work::Proxy proxy = proxyOfAnEndedCommand();
        std::atomic<bool> busy{false};
        for (int i = 0; i < 100000; ++i) {
          pushWork("no file", kNormal, [&busy](Work::Proxy) { busy = true; });
        }
        manager().startWorker();
        while (!busy) {
          std::this_thread::yield();
        }
        std::thread([proxy] { mapSomething(proxy); }).join();
      },
      ExitedWithCode(1), "");
}

TEST_F(FileManagerProcessTest, anExitFromACommandEndsTheProcess) {
  EXPECT_EXIT(
      {
        pushWork("no file", kNormal, [](Work::Proxy) { std::exit(7); });
        manager().startWorker();
        std::this_thread::sleep_for(std::chrono::seconds(60));
      },
      ExitedWithCode(7), "");
}

TEST_F(FileManagerProcessTest, anExitFinishesTheRunningChainAndNeitherRunsNorDeletesWhatIsQueued) {
  using Left = std::array<Work*, 3>;
  EXPECT_EXIT(
      {
        static std::atomic<bool> runs{false};
        static std::atomic<bool> exits{false};
        manager().startWorker();
        std::atexit([] { exits = true; });
        Work* const next = new Work("no file", kLow, [](Work::Proxy) { std::fputs("next ran, ", stderr); });
        Work* const head = new Work("no file", kLow, [](Work::Proxy) {
          runs = true;
          while (!exits) {
            std::this_thread::yield();
          }
          std::this_thread::sleep_for(std::chrono::milliseconds(50));
          std::fputs("head ran, ", stderr);
        });
        next->setAutoDelete(true);
        head->setNext(next);
        pushOwned(head);
        while (!runs) {
          std::this_thread::yield();
        }
        const auto queued = [](Work::Proxy) { std::fputs("queued ran, ", stderr); };
        const auto deleted = [] { std::fputs("queued deleted, ", stderr); };
        // Reachable at exit, so that a leak checker accepts that they are not deleted. Unless something reads it then,
        // a compiler may drop the array.
        static Left left;
        std::atexit([] {
          if (left[0] == nullptr) {
            std::abort();
          }
        });
        for (int priority = 0; priority < 3; ++priority) {
          left.at(static_cast<std::size_t>(priority)) =
              new Work("no file", static_cast<FileCmd::Priority>(priority), queued, deleted);
        }
        for (Work* cmd : left) {
          pushOwned(cmd);
        }
        std::exit(0);
      },
      ExitedWithCode(0), "^head ran, next ran, $");
}

TEST_F(FileManagerProcessTest, aQueuedCommandWithStaticStorageMayBeDestroyedBeforeTheManager) {
  EXPECT_EXIT(
      {
        static std::atomic<bool> runs{false};
        static std::atomic<bool> destroyed{false};
        manager().startWorker();
        pushWork("no file", kNormal, [](Work::Proxy) {
          runs = true;
          while (!destroyed) {
            std::this_thread::yield();
          }
          std::this_thread::sleep_for(std::chrono::milliseconds(200));  // until the manager stops the worker
        });
        while (!runs) {
          std::this_thread::yield();
        }
        static Work queued(
            "no file", kHigh, [](Work::Proxy) { std::abort(); }, [] { destroyed = true; });
        manager().push(&queued);
        std::exit(0);
      },
      ExitedWithCode(0), "^$");
}

TEST_F(FileManagerProcessTest, anExitWithTheWorkerIdleEndsCleanly) {
  EXPECT_EXIT(
      {
        manager().startWorker();
        pushWork("no file", kHigh, [](Work::Proxy) {});
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        std::exit(0);
      },
      ExitedWithCode(0), "");
}

TEST_F(FileManagerProcessTest, anExitWithCommandsQueuedAndNoWorkerLeavesThemToTheirOwners) {
  EXPECT_EXIT(
      {
        static Work waiting(
            "no file", kHigh, [](Work::Proxy) { std::abort(); }, [] { std::fputs("once", stderr); });
        manager().push(&waiting);
        std::exit(0);
      },
      ExitedWithCode(0), "^once$");
}
