#include "index/RunIndex.h"
#include "tests/scan/ScanBytes.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::MatchesRegex;

/// The program quor_index, without its process.
class RunIndexTest : public testing::Test {
 protected:
  int run(std::vector<std::string> arguments) {
    std::ostringstream out, err;
    arguments.insert(arguments.end(), {"--index-dir", _folder.path("index")});
    const int status = QuorViewer::runIndex(arguments, out, err, [](std::uint64_t, std::uint64_t) {});
    _printed = out.str();
    _errors = err.str();
    return status;
  }
  std::string writeScan(const std::string& name, unsigned count) {
    return _folder.write(name, ScanBytes::file({4, 7}, ScanBytes::variedPoints(count, 7)));
  }
  std::size_t indexes() const {
    const auto files = std::filesystem::directory_iterator(_folder.path("index"));
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
  }

  ScanBytes::Folder _folder;
  std::string _printed, _errors;
};

TEST_F(RunIndexTest, eachScanIsIndexedAndReportedInALine) {
  EXPECT_EQ(run({writeScan("one.las", 1500), writeScan("two.las", 25000)}), 0) << _errors;
  EXPECT_THAT(_printed, AllOf(HasSubstr("one.las: 1,500 points in 1 node, "), HasSubstr("two.las: 25,000 points in ")));
  EXPECT_EQ(indexes(), 2U);
}

TEST_F(RunIndexTest, anIndexThatIsUpToDateIsKeptUnlessAskedOtherwise) {
  const std::string scan = writeScan("scan.las", 1500);
  run({scan});
  EXPECT_EQ(run({scan}), 0);
  EXPECT_THAT(_printed, HasSubstr("scan.las: its index is up to date: "));
  EXPECT_EQ(run({scan, "--rebuild"}), 0);
  EXPECT_THAT(_printed, HasSubstr("1,500 points in 1 node"));
}

TEST_F(RunIndexTest, theReasonWhyAnIndexIsBuiltAgainIsReported) {
  const std::string scan = writeScan("scan.las", 1500);
  run({scan});
  writeScan("scan.las", 1501);
  EXPECT_EQ(run({scan}), 0);
  EXPECT_THAT(_printed,
              AllOf(HasSubstr("scan.las: the file has changed since its index was built; it will be built again"),
                    HasSubstr("1,501 points in 1 node")));
}

TEST_F(RunIndexTest, theLimitHoldsForAllIndexesTogether) {
  const std::vector<std::string> limit = {"--index-limit", "0.0001"};  // 107,374 bytes
  EXPECT_EQ(run({writeScan("one.las", 4000), limit[0], limit[1]}), 0) << _errors;
  EXPECT_EQ(run({writeScan("two.las", 4000), limit[0], limit[1]}), 0) << _errors;
  EXPECT_EQ(indexes(), 1U) << "the first one made room";
  EXPECT_EQ(run({writeScan("large.las", 8000), limit[0], limit[1]}), 1);
  EXPECT_THAT(_errors, HasSubstr("all indexes together may take only 107374"));
}

TEST_F(RunIndexTest, aScanThatCannotBeReadIsReportedAndTheOthersAreIndexed) {
  EXPECT_EQ(run({_folder.path("missing.las"), writeScan("scan.las", 10)}), 1);
  EXPECT_THAT(_errors, AllOf(HasSubstr("quor_index: "), HasSubstr("missing.las: no such file")));
  EXPECT_THAT(_printed, HasSubstr("scan.las: 10 points in 1 node"));
}

TEST_F(RunIndexTest, helpIsPrintedAndNothingIsBuilt) {
  EXPECT_EQ(run({"--help"}), 0);
  EXPECT_THAT(_printed, AllOf(HasSubstr("quor_index SCAN... [OPTION...]"), HasSubstr("--rebuild")));
  EXPECT_FALSE(std::filesystem::exists(_folder.path("index")));
}

TEST_F(RunIndexTest, invalidOptionsAreRefused) {
  EXPECT_EQ(run({}), 1);
  EXPECT_THAT(_errors, HasSubstr("the scan is missing"));
  EXPECT_EQ(run({"scan.las", "--threads", "0"}), 1);
  EXPECT_THAT(_errors, HasSubstr("--threads expects a whole number from 1 to 1024, not '0'"));
}

}  // namespace
