#include "support/FilesFixture.h"
#include "support/OnThreads.h"

#include <QuorOsgUtils/FileJobs.h>
#include <QuorOsgUtils/FileManager.h>
#include <QuorOsgUtils/FilePtr.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

using namespace QuorOsgUtils;
using namespace QuorTests;
using namespace std::chrono_literals;
using ::testing::ElementsAre;

namespace {

constexpr auto kLong = 20s;

std::string read(FileJob& job, std::int64_t offset, std::int64_t size) {
  const FileView view = job.view(offset, size);
  return {reinterpret_cast<const char*>(view.data()), static_cast<std::size_t>(view.size())};
}

/// The failure that the future holds; nothing if it has a result.
template <typename Result>
std::optional<FileJobFailure> failureOf(std::future<Result>& future) {
  try {
    future.get();
  } catch (const FileJobError& error) {
    return FileJobFailure{error.reason(), error.what()};
  }
  return std::nullopt;
}

class FileJobsTest : public FilesFixture {
 protected:
  /// Occupies the worker until `open` or the end of the test. Returns once it does.
  void closeGate() {
    std::promise<void> reached;
    _gate = std::make_unique<std::promise<void>>();
    _jobs.submit("", FileCmd::High, [&reached, opened = _gate->get_future().share()](FileJob&) {
      reached.set_value();
      opened.wait();
    });
    reached.get_future().wait();
  }
  void openGate() {
    if (_gate) {
      _gate->set_value();
    }
    _gate.reset();
  }
  void TearDown() override { openGate(); }

  const std::string _path = makeFile("big.bin", 300000);
  FileJobs _jobs;
  std::unique_ptr<std::promise<void>> _gate;
};

}  // namespace

TEST_F(FileJobsTest, theFutureGetsTheResultOfTheFunction) {
  std::future<std::string> text =
      _jobs.submit(_path, FileCmd::Normal, [](FileJob& job) { return read(job, 12345, 100); });
  std::future<std::int64_t> size = _jobs.submit(_path, FileCmd::Low, [](FileJob& job) { return job.size(); });
  std::future<void> nothing = _jobs.submit(_path, FileCmd::High, [](FileJob&) {});
  std::future<std::unique_ptr<int>> moved =
      _jobs.submit("", FileCmd::Low, [](FileJob&) { return std::make_unique<int>(5); });
  EXPECT_EQ(text.get(), readPlainly(_path, 12345, 100));
  EXPECT_EQ(size.get(), 300000);
  EXPECT_EQ(*moved.get(), 5);
  nothing.get();
}

TEST_F(FileJobsTest, jobsRunOnTheWorkerByPriorityAndInOrder) {
  closeGate();
  std::vector<int> order;
  std::vector<std::thread::id> threads;
  const auto note = [&](int number) {
    return [&, number](FileJob&) {
      order.push_back(number);
      threads.push_back(std::this_thread::get_id());
    };
  };
  _jobs.submit(_path, FileCmd::Low, note(5));
  _jobs.submit(_path, FileCmd::Normal, note(3));
  _jobs.submit(_path, FileCmd::High, note(1));
  _jobs.submit(_path, FileCmd::Normal, note(4));
  _jobs.submit(_path, FileCmd::High, note(2));
  openGate();
  _jobs.drain();
  EXPECT_THAT(order, ElementsAre(1, 2, 3, 4, 5));
  EXPECT_EQ(std::count(threads.begin(), threads.end(), threads.front()), 5);
  EXPECT_NE(threads.front(), std::this_thread::get_id());
}

TEST_F(FileJobsTest, aFileThatCannotBeOpenedIsAnErrorWithTheReason) {
  const std::string missing = path("none");
  std::future<std::string> text = _jobs.submit(missing, FileCmd::Normal, [](FileJob& job) { return read(job, 0, 1); });
  const std::optional<FileJobFailure> failure = failureOf(text);
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->reason, FileJobFailure::NotOpened);
  EXPECT_EQ(failure->text,
            normalizedPath(missing) + ": cannot be opened: " + std::system_category().message(fileErrors().missing));
}

TEST_F(FileJobsTest, aRangeThatCannotBeMappedIsAnErrorWithTheReason) {
  std::future<std::string> text =
      _jobs.submit(_path, FileCmd::Normal, [](FileJob& job) { return read(job, 300001, 1); });
  const std::optional<FileJobFailure> failure = failureOf(text);
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->reason, FileJobFailure::NotMapped);
  EXPECT_EQ(
      failure->text,
      normalizedPath(_path) + ": the range at offset 300001 of size 1 begins after the end of the file (300000 bytes)");
}

TEST_F(FileJobsTest, theFutureGetsTheExceptionOfTheFunction) {
  std::future<int> result =
      _jobs.submit(_path, FileCmd::Normal, [](FileJob&) -> int { throw std::out_of_range("no such record"); });
  EXPECT_THROW(result.get(), std::out_of_range);
  EXPECT_EQ(_jobs.submit(_path, FileCmd::Normal, [](FileJob&) { return 7; }).get(), 7);
}

TEST_F(FileJobsTest, aJobOfAnUnknownPriorityIsAnError) {
  std::future<int> result = _jobs.submit(_path, static_cast<FileCmd::Priority>(3), [](FileJob&) { return 1; });
  const std::optional<FileJobFailure> failure = failureOf(result);
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->reason, FileJobFailure::NotQueued);
  EXPECT_EQ(_jobs.queueLength(), 0U);
}

TEST_F(FileJobsTest, aJobStoppedBeforeItStartsNeverCallsItsFunction) {
  closeGate();
  std::atomic<int> calls{0};
  StopSource stop;
  std::future<void> stopped = _jobs.submit(
      _path, FileCmd::Normal, [&](FileJob&) { ++calls; }, stop.token());
  std::future<void> other = _jobs.submit(_path, FileCmd::Normal, [&](FileJob&) { ++calls; });
  stop.requestStop();
  openGate();
  const std::optional<FileJobFailure> failure = failureOf(stopped);
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->reason, FileJobFailure::Stopped);
  EXPECT_EQ(failure->text, normalizedPath(_path) + ": the job was stopped");
  other.get();
  EXPECT_EQ(calls, 1);
}

TEST_F(FileJobsTest, aRunningFunctionSeesTheRequest) {
  StopSource stop;
  std::promise<void> started;
  std::future<int> steps = _jobs.submit(
      _path, FileCmd::Normal,
      [&](FileJob& job) {
        started.set_value();
        const auto end = std::chrono::steady_clock::now() + kLong;
        while (!job.stopRequested() && std::chrono::steady_clock::now() < end) {
          std::this_thread::sleep_for(1ms);
        }
        return job.stopRequested() ? 1 : 0;
      },
      stop.token());
  started.get_future().wait();
  EXPECT_EQ(steps.wait_for(0s), std::future_status::timeout);
  stop.requestStop();
  EXPECT_EQ(steps.get(), 1);
}

TEST_F(FileJobsTest, stopAllStopsWhatWasSubmittedBeforeIt) {
  closeGate();
  std::future<void> before = _jobs.submit(_path, FileCmd::High, [](FileJob&) {});
  _jobs.stopAll();
  std::future<int> after = _jobs.submit(_path, FileCmd::Low, [](FileJob&) { return 2; });
  openGate();
  const std::optional<FileJobFailure> failure = failureOf(before);
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->reason, FileJobFailure::Stopped);
  EXPECT_EQ(after.get(), 2);
}

TEST_F(FileJobsTest, theQueueLengthCountsJobsThatHaveNotStarted) {
  closeGate();
  EXPECT_EQ(_jobs.queueLength(), 0U);
  for (unsigned int i = 1; i <= 5; ++i) {
    _jobs.submit(_path, FileCmd::Normal, [](FileJob&) {});
    EXPECT_EQ(_jobs.queueLength(), i);
  }
  openGate();
  _jobs.drain();
  EXPECT_EQ(_jobs.queueLength(), 0U);
}

TEST_F(FileJobsTest, drainWaitsUntilTheLastJobHasEnded) {
  std::atomic<int> ended{0};
  for (int i = 0; i < 20; ++i) {
    _jobs.submit(_path, FileCmd::Low, [&](FileJob&) {
      std::this_thread::sleep_for(2ms);
      ++ended;
    });
  }
  _jobs.drain();
  EXPECT_EQ(ended, 20);
}

TEST_F(FileJobsTest, drainStartsAWorkerThatWasStopped) {
  FileManager::getInstance()->stopWorker();
  std::future<int> result = _jobs.submit(_path, FileCmd::Normal, [](FileJob&) { return 3; });
  _jobs.drain();
  EXPECT_EQ(result.wait_for(0s), std::future_status::ready);
  EXPECT_EQ(result.get(), 3);
}

TEST_F(FileJobsTest, submitStartsAWorkerThatWasStopped) {
  FileManager::getInstance()->stopWorker();
  std::future<int> result = _jobs.submit(_path, FileCmd::Normal, [](FileJob&) { return 3; });
  ASSERT_EQ(result.wait_for(kLong), std::future_status::ready);
  EXPECT_EQ(result.get(), 3);
}

TEST_F(FileJobsTest, aFileThatCouldNotBeOpenedIsOpenedAgain) {
  const std::string later = path("later.bin");
  const auto sizeOf = [](FileJob& job) { return job.size(); };
  closeGate();
  std::future<std::int64_t> early = _jobs.submit(later, FileCmd::Normal, sizeOf);
  std::future<void> written = _jobs.submit(later, FileCmd::Normal, [this](FileJob&) { makeFile("later.bin", 123); });
  std::future<std::int64_t> late = _jobs.submit(later, FileCmd::Normal, sizeOf);
  openGate();
  const std::optional<FileJobFailure> failure = failureOf(early);
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->reason, FileJobFailure::NotOpened);
  written.get();
  EXPECT_EQ(late.get(), 123);
}

TEST_F(FileJobsTest, drainReturnsImmediatelyWithinACommandOfTheApplication) {
  struct Drain : FileCmd {
    explicit Drain(FileJobs& all) : FileCmd("", FileCmd::High), jobs(all) { setAutoDelete(true); }
    void operator()(const FileProxy* /*proxy*/, FileManager* /*manager*/) override {
      jobs.drain();
      drained.set_value(jobs.queueLength());
    }
    FileJobs& jobs;
    std::promise<std::size_t> drained;
  };
  closeGate();
  auto* const command = new Drain(_jobs);
  std::future<std::size_t> queued = command->drained.get_future();
  FileManager::getInstance()->push(command);
  _jobs.submit("", FileCmd::Low, [](FileJob&) {});
  openGate();
  ASSERT_EQ(queued.wait_for(kLong), std::future_status::ready);
  EXPECT_EQ(queued.get(), 1U);
}

TEST_F(FileJobsTest, drainReturnsImmediatelyWithinAJob) {
  std::future<void> outer = _jobs.submit(_path, FileCmd::Normal, [this](FileJob&) { _jobs.drain(); });
  EXPECT_EQ(outer.wait_for(kLong), std::future_status::ready);
}

TEST_F(FileJobsTest, twoNamesOfAFileShareOneOpenFileWhichIsThenClosed) {
  closeGate();
  const auto fileOf = [](FileJob& job) { return std::make_pair(job.path(), &job.file()); };
  auto first = _jobs.submit(_path, FileCmd::Normal, fileOf);
  auto second = _jobs.submit(path("./big.bin"), FileCmd::Normal, fileOf);
  auto handles =
      _jobs.submit(path("./big.bin"), FileCmd::Normal, [this](FileJob&) { return listedHandles(_path).size(); });
  openGate();
  EXPECT_EQ(first.get(), second.get());
  EXPECT_EQ(handles.get(), 1U);
  _jobs.drain();
  EXPECT_EQ(listedHandles(_path).size(), 0U);
}

TEST_F(FileJobsTest, aViewMayOutliveItsJob) {
  const FileView view = _jobs.submit(_path, FileCmd::Normal, [](FileJob& job) { return job.view(1000, 10); }).get();
  _jobs.drain();
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(view.data()), 10), readPlainly(_path, 1000, 10));
}

TEST_F(FileJobsTest, aJobWritesThroughAFilePtr) {
  const osg::ref_ptr<FilePtr> file = new FilePtr(_path.c_str());
  _jobs
      .submit(_path, FileCmd::Normal,
              [file](FileJob&) {
                const FileView view(*file, 7777, 5);
                std::copy_n("point", 5, view.writableData());
              })
      .get();
  EXPECT_EQ(readPlainly(_path, 7777, 5), "point");
}

TEST_F(FileJobsTest, theDestructorStopsWhatIsQueuedAndWaits) {
  std::atomic<int> calls{0};
  std::future<void> running;
  std::future<void> queued;
  {
    FileJobs jobs;
    std::promise<void> started;
    running = jobs.submit(_path, FileCmd::Normal, [&](FileJob& job) {
      started.set_value();
      while (!job.stopRequested()) {
        std::this_thread::sleep_for(1ms);
      }
      ++calls;
    });
    queued = jobs.submit(_path, FileCmd::Normal, [&](FileJob&) { ++calls; });
    started.get_future().wait();
  }
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(running.wait_for(0s), std::future_status::ready);
  EXPECT_TRUE(failureOf(queued));
}

TEST_F(FileJobsTest, whatAFunctionCapturesIsDestroyedWithItsJob) {
  const auto captured = std::make_shared<int>(1);
  std::future<void> result = _jobs.submit(_path, FileCmd::Normal, [captured](FileJob&) {});
  _jobs.drain();
  EXPECT_EQ(captured.use_count(), 1);
}

TEST_F(FileJobsTest, manyThreadsSubmitAtTheSameTime) {
  constexpr int kThreads = 8;
  constexpr int kJobs = 200;
  std::atomic<std::int64_t> sum{0};
  onThreads(kThreads, [&](std::size_t thread) {
    for (int i = 0; i < kJobs; ++i) {
      const auto priority = static_cast<FileCmd::Priority>(i % 3);
      const std::int64_t offset = static_cast<std::int64_t>(thread) * 1000 + i;
      _jobs.submit(_path, priority, [&sum, offset](FileJob& job) { sum += *job.view(offset, 1).data(); });
    }
  });
  _jobs.drain();
  std::int64_t expected = 0;
  for (int thread = 0; thread < kThreads; ++thread) {
    for (const char byte : readPlainly(_path, thread * 1000, kJobs)) {
      expected += static_cast<unsigned char>(byte);
    }
  }
  EXPECT_EQ(sum, expected);
}
