#include "support/AllocationHook.h"

#include <QuorOsgUtils/FileJobs.h>

#include <gtest/gtest.h>

#include <exception>
#include <future>
#include <optional>
#include <string>

using namespace QuorOsgUtils;
using QuorTests::AllocationLimit;

TEST(FileJobsAllocationTest, aJobThatFailsForLackOfMemoryStillEnds) {
  const std::string known(200, 'n');
  std::optional<AllocationLimit> limit;  // on the worker
  StopSource stop;
  FileJobs jobs;
  jobs.submit(known, FileCmd::Normal, [](FileJob&) {}).get();
  std::promise<void> go;
  jobs.submit("", FileCmd::Normal, [&, opened = go.get_future().share()](FileJob&) {
    opened.wait();
    limit.emplace(0);
  });
  std::future<int> stopped = jobs.submit(
      known, FileCmd::Normal, [](FileJob&) { return 1; }, stop.token());
  jobs.submit("", FileCmd::Normal, [&](FileJob&) { limit.reset(); });
  stop.requestStop();
  go.set_value();
  jobs.drain();
  EXPECT_EQ(jobs.queueLength(), 0U);
  ASSERT_EQ(stopped.wait_for(std::chrono::seconds(0)), std::future_status::ready);
  EXPECT_THROW(stopped.get(), std::exception) << "a FileJobError without a text, or std::bad_alloc";
  EXPECT_EQ(jobs.submit(known, FileCmd::Normal, [](FileJob&) { return 2; }).get(), 2);
}
