#include "support/AllocationHook.h"
#include "tests/scan/ScanBytes.h"
#include "viewer/session/ScanJobs.h"

#include <gtest/gtest.h>

#include <list>
#include <memory>
#include <optional>
#include <string>

namespace {

using namespace QuorViewer;
using QuorTests::AllocationLimit;

struct AllocatingJob : ScanJob {
  using ScanJob::ScanJob;
  void work(LoadResult& /*result*/) override { numbers = std::make_unique<int>(1); }
  std::unique_ptr<int> numbers;
};

TEST(ScanJobsAllocationTest, aJobPostsItsResultAlsoWithoutMemory) {
  const ScanBytes::Folder folder;
  const auto context = std::make_shared<LoadContext>();
  const auto scan = std::make_shared<LoadingScan>();
  scan->number = 3;
  scan->reader = ScanReader::open(folder.write("a scan with a long name.asc", std::string("1 2 3\n")));
  AllocatingJob job(context, scan, QuorOsgUtils::FileCmd::High);
  {
    const AllocationLimit limit(0);
    job.run();
  }
  const std::optional<LoadResult> result = context->results.tryPop();
  ASSERT_TRUE(result);
  EXPECT_EQ(result->scan, 3U);
  EXPECT_EQ(result->of.lock(), scan);
  EXPECT_TRUE(result->ofSample);
  EXPECT_EQ(result->error, "out of memory");
}

TEST(ScanJobsAllocationTest, theSummaryAfterAClosedScanIsPostedAlsoWithoutMemory) {
  LoadContext context;
  std::list<LoadResult> result(1);
  {
    const AllocationLimit limit(0);
    removeFromStatistics(context, 3, std::move(result));
  }
  EXPECT_TRUE(context.results.tryPop());
}

}  // namespace
