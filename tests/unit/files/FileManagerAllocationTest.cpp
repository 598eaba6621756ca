#include "support/AllocationHook.h"
#include "support/FilesFixture.h"
#include "support/Work.h"

#include <QuorOsgUtils/FileCmd.h>
#include <QuorOsgUtils/FileManager.h>

#include <osg/Notify>
#include <osg/ref_ptr>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <thread>
#include <utility>

using QuorOsgUtils::FileCmd;
using QuorOsgUtils::FileManager;
using namespace QuorTests;

namespace {

constexpr const char* kKnown = "known";

std::unique_ptr<Work> work(const std::string& file, Work::Function function) {
  return std::make_unique<Work>(file, FileCmd::Normal, std::move(function));
}

/// A thread that pushes one command each time it is asked to, and reports whether a push was blocked.
class OtherPusher {
 public:
  OtherPusher() : _thread([this] { work(); }) {}
  OtherPusher(const OtherPusher&) = delete;
  OtherPusher& operator=(const OtherPusher&) = delete;
  ~OtherPusher() {
    _stopped = true;
    _thread.join();
  }

  /// Asks for one push and waits for it, up to a limit. Stops after a blocked push or after 1,000 pushes.
  void push() {
    constexpr int kMostPushes = 1000;
    if (_asked == kMostPushes || isBlocked()) {
      return;
    }
    ++_asked;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (_done != _asked && !isBlocked()) {
      std::this_thread::yield();
      if (std::chrono::steady_clock::now() > end) {
        _isBlocked = true;
      }
    }
  }

  bool isBlocked() const { return _isBlocked; }
  int pushes() const { return _done; }

 private:
  void work() {
    while (!_stopped) {
      if (_done != _asked) {
        manager().push(_pushed.get());
        ++_done;
      }
      std::this_thread::yield();
    }
  }

  const std::unique_ptr<Work> _pushed = ::work(kKnown, [](Work::Proxy) {});
  std::atomic<int> _asked{0};
  std::atomic<int> _done{0};
  std::atomic<bool> _isBlocked{false};
  std::atomic<bool> _stopped{false};
  std::thread _thread;
};

/// Replaces the notifier's handler and keeps the last line without allocating.
class LastLine {
 public:
  LastLine() : _levelBefore(osg::getNotifyLevel()), _handlerBefore(osg::getNotifyHandler()) {
    osg::setNotifyLevel(osg::WARN);
    osg::setNotifyHandler(_handler);
    // Afterwards the notifier's stream has room for a line.
    OSG_WARN << std::string(1000, '.') << std::endl;
    _handler->text[0] = '\0';
  }
  LastLine(const LastLine&) = delete;
  LastLine& operator=(const LastLine&) = delete;
  ~LastLine() {
    osg::setNotifyHandler(_handlerBefore);
    osg::setNotifyLevel(_levelBefore);
  }

  std::string text() const { return _handler->text.data(); }
  bool isEmpty() const { return _handler->text[0] == '\0'; }

 private:
  struct Handler : osg::NotifyHandler {
    void notify(osg::NotifySeverity, const char* message) override {
      if (*message != '\0') {
        std::snprintf(text.data(), text.size(), "%s", message);
      }
    }
    std::array<char, 2000> text{};
  };

  osg::NotifySeverity _levelBefore;
  osg::ref_ptr<osg::NotifyHandler> _handlerBefore;
  osg::ref_ptr<Handler> _handler = new Handler;
};

class FileManagerAllocationTest : public FilesFixture {
 protected:
  // Here the manager is created, before allocations are observed.
  FileManagerAllocationTest() { manager(); }
  ~FileManagerAllocationTest() override { manager().stopWorker(); }
};

TEST_F(FileManagerAllocationTest, pushesGoOnWhileAnotherPushAllocates) {
  OtherPusher other;
  const std::unique_ptr<Work> cmd = work(kKnown, [](Work::Proxy) {});
  {
    const AllocationObserver observer([&other] { other.push(); });
    for (int i = 0; i < 500; ++i) {
      manager().push(cmd.get());
    }
  }
  EXPECT_FALSE(other.isBlocked());
  EXPECT_GT(other.pushes(), 0) << "otherwise the test observed nothing";
  manager().startWorker();
  manager().stopWorker();
}

TEST_F(FileManagerAllocationTest, pushesGoOnWhileTheWorkerAllocatesAndFreesWithABacklog) {
  constexpr int kBacklog = 500;
  OtherPusher other;
  std::optional<AllocationObserver> observer;
  const std::unique_ptr<Work> counted = work(kKnown, [](Work::Proxy) {});
  const std::unique_ptr<Work> first = work(kKnown, [&](Work::Proxy) {
    for (int i = 0; i < kBacklog; ++i) {
      manager().push(counted.get());
    }
    observer.emplace([&other] { other.push(); });
  });
  const std::unique_ptr<Work> last =
      std::make_unique<Work>(kKnown, FileCmd::Low, [&observer](Work::Proxy) { observer.reset(); });
  manager().push(first.get());
  for (int i = 0; i < kBacklog; ++i) {
    manager().push(counted.get());
  }
  manager().push(last.get());
  manager().startWorker();
  manager().stopWorker();
  EXPECT_FALSE(other.isBlocked());
  EXPECT_GT(other.pushes(), 0) << "otherwise the test observed nothing";
}

TEST_F(FileManagerAllocationTest, theWorkerRunsQueuedCommandsWithoutAllocating) {
  constexpr int kCommands = 1000;
  int ran = 0;
  std::optional<AllocationCount> count;
  std::size_t allocations = 0;
  const std::unique_ptr<Work> first = work(kKnown, [&](Work::Proxy) { count.emplace(); });
  const std::unique_ptr<Work> counted = work(kKnown, [&ran](Work::Proxy) { ++ran; });
  const std::unique_ptr<Work> last = work(kKnown, [&](Work::Proxy) {
    allocations = count->value();
    count.reset();
  });
  manager().push(first.get());
  for (int i = 0; i < kCommands; ++i) {
    manager().push(counted.get());
  }
  manager().push(last.get());
  manager().startWorker();
  manager().stopWorker();
  EXPECT_EQ(ran, kCommands);
  EXPECT_EQ(allocations, 0U);
}

TEST_F(FileManagerAllocationTest, aCommandIsReportedAndSkippedWhenMemoryForItsFileNameIsExhausted) {
  const LastLine line;
  bool ranNew = false;
  bool ranKnown = false;
  std::optional<AllocationLimit> limit;
  const std::unique_ptr<Work> first = work(kKnown, [&limit](Work::Proxy) { limit.emplace(0); });
  const std::unique_ptr<Work> unknown = work("never used before", [&ranNew](Work::Proxy) { ranNew = true; });
  const std::unique_ptr<Work> last = work(kKnown, [&](Work::Proxy) {
    ranKnown = true;
    limit.reset();
  });
  for (const auto& cmd : {first.get(), unknown.get(), last.get()}) {
    manager().push(cmd);
  }
  manager().startWorker();
  manager().stopWorker();
  EXPECT_FALSE(ranNew);
  EXPECT_TRUE(ranKnown);
  EXPECT_EQ(line.text(),
            "A command on the file never used before failed: " + std::string(std::bad_alloc().what()) + "\n");

  manager().push(unknown.get());
  manager().startWorker();
  manager().stopWorker();
  EXPECT_TRUE(ranNew) << "with memory it runs";
}

TEST_F(FileManagerAllocationTest, aPushThatFindsNoMemoryIsReportedAndTheCommandStillBelongsToTheCaller) {
  constexpr int kMorePushesThanTheQueueHasRoomFor = 10000;
  const LastLine line;
  bool destroyed = false;
  bool ran = false;
  int queued = 0;
  int ranQueued = 0;
  const std::unique_ptr<Work> filler = work(kKnown, [&ranQueued](Work::Proxy) { ++ranQueued; });
  Work* const refused = new Work(
      "town.las", FileCmd::Normal, [&ran](Work::Proxy) { ran = true; }, [&destroyed] { destroyed = true; });
  refused->setAutoDelete(true);
  {
    const AllocationLimit limit(0);
    while (line.isEmpty() && queued < kMorePushesThanTheQueueHasRoomFor) {
      manager().push(filler.get());
      if (line.isEmpty()) {
        ++queued;
      }
    }
    manager().push(refused);
  }
  manager().startWorker();
  manager().stopWorker();
  EXPECT_EQ(ranQueued, queued);
  EXPECT_FALSE(ran);
  ASSERT_FALSE(destroyed);
  delete refused;
  EXPECT_EQ(line.text(),
            "A command on the file town.las was not queued: " + std::string(std::bad_alloc().what()) + "\n");
}

}  // namespace
