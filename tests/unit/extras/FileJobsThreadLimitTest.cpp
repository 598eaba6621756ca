#include "support/ThreadLimit.h"

#include <QuorOsgUtils/FileJobs.h>
#include <QuorOsgUtils/FileManager.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <future>
#include <optional>
#include <string>
#include <system_error>

using namespace QuorOsgUtils;
using QuorTests::ThreadLimit;

TEST(FileJobsThreadLimitTest, withoutAThreadForTheWorkerJobsAreRefusedAndNothingWaits) {
  FileManager::getInstance()->stopWorker();
  std::optional<ThreadLimit> limit(std::in_place);
  FileJobs jobs;
  std::future<int> refused = jobs.submit("", FileCmd::Normal, [](FileJob&) { return 1; });
  ASSERT_EQ(refused.wait_for(std::chrono::seconds(0)), std::future_status::ready);
  jobs.drain();
  EXPECT_EQ(jobs.queueLength(), 0U);
  try {
    refused.get();
    FAIL() << "a job ran without a worker";
  } catch (const FileJobError& error) {
    EXPECT_EQ(error.reason(), FileJobFailure::NotQueued);
    EXPECT_EQ(error.what(), ": the worker cannot be started: " + std::generic_category().message(EAGAIN));
  }
  limit.reset();
  EXPECT_EQ(jobs.submit("", FileCmd::Normal, [](FileJob&) { return 2; }).get(), 2);
}
