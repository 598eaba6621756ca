#include "scan/Scan.h"
#include "support/AllocationHook.h"
#include "viewer/session/NodeRead.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace {

using namespace QuorViewer;
using QuorTests::AllocationLimit;

/// A tree whose nodes cannot be read, with a long reason.
class DamagedTree : public PointTree {
 public:
  const TreeInfo& info() const override { return _info; }
  const std::vector<TreeNode>& nodes() const override { return _nodes; }
  NodePoints read(std::uint32_t /*node*/) override { throw _error; }
  std::unique_ptr<PointTree> clone() const override { return std::make_unique<DamagedTree>(); }

 private:
  TreeInfo _info;
  std::vector<TreeNode> _nodes;
  ScanError _error{"the points at byte 123456789 do not match their checksum"};
};

class NodeReadAllocationTest : public testing::Test {
 protected:
  NodeReadAllocationTest() {
    _read->node = {1, 7};
    _read->tree = _tree;
  }
  /// What the job has posted.
  NodeResult resultOf(std::unique_ptr<NodeReadJob> job) {
    job.reset();
    std::optional<NodeResult> result = _results->tryPop();
    EXPECT_FALSE(_results->tryPop()) << "more than one result";
    return result ? *result : NodeResult();
  }
  std::unique_ptr<NodeReadJob> job() { return std::make_unique<NodeReadJob>(_read, _results); }

  std::shared_ptr<PointTree> _tree = std::make_shared<DamagedTree>();
  std::shared_ptr<NodeRead> _read = std::make_shared<NodeRead>();
  std::shared_ptr<ResultQueue<NodeResult>> _results = std::make_shared<ResultQueue<NodeResult>>();
};

TEST_F(NodeReadAllocationTest, aDamagedNodeIsReportedWithTheReason) {
  auto damaged = job();
  damaged->run();
  EXPECT_FALSE(_results->tryPop()) << "before the job has ended";
  const NodeResult result = resultOf(std::move(damaged));
  EXPECT_EQ(result.read, _read);
  EXPECT_EQ(result.failure, NodeFailure::Damaged);
  EXPECT_EQ(result.error, "the points at byte 123456789 do not match their checksum");
}

TEST_F(NodeReadAllocationTest, aJobPostsItsResultAlsoWithoutMemory) {
  auto starved = job();
  {
    const AllocationLimit limit(0);
    starved->run();
    starved.reset();
  }
  const NodeResult result = resultOf(nullptr);
  EXPECT_EQ(result.read, _read);
  EXPECT_FALSE(result.points);
  EXPECT_EQ(result.failure, NodeFailure::Postponed);
  EXPECT_EQ(result.error, "not enough memory to load more points");
}

TEST_F(NodeReadAllocationTest, aJobThatIsNeverRunPostsItsResult) {
  const NodeResult result = resultOf(job());
  EXPECT_EQ(result.read, _read);
  EXPECT_FALSE(result.points);
  EXPECT_EQ(result.failure, NodeFailure::Postponed);
}

}  // namespace
