#include "viewer/session/OpenFailures.h"

#include <gtest/gtest.h>

namespace {

using namespace QuorViewer;

OpenFailure failure(const std::string& path, const std::string& reason) {
  return {path, ScanError(path + ": " + reason)};
}

TEST(OpenFailuresTest, theReasonIsTheErrorWithoutThePath) {
  EXPECT_EQ(failure("/scans/a: b.las", "no such file").reason, "no such file");
  EXPECT_EQ(OpenFailure("a.las", ScanError("out of luck")).reason, "out of luck");
}

TEST(OpenFailuresTest, theTerminalGetsEachErrorInFull) {
  EXPECT_EQ(linesOf({failure("/x/a.las", "truncated, at byte 7"), failure("b.laz", "no such file")}),
            "/x/a.las: truncated, at byte 7\nb.laz: no such file");
}

TEST(OpenFailuresTest, theWindowGetsTheNamesAndTheBeginningsOfTheReasons) {
  EXPECT_EQ(summaryOf({failure("/x/a.las", "the file is truncated, at byte 107 (field \"count\"): 9 records"),
                       failure("b.laz", "not a scan (LAS, LAZ): it begins with \"x\"")},
                      4),
            "2 of 4 scans could not be opened: a.las: the file is truncated; b.laz: not a scan");
  EXPECT_EQ(summaryOf({failure("c.ply", "no such file")}, 2), "1 of 2 scans could not be opened: c.ply: no such file");
}

TEST(OpenFailuresTest, theWindowNamesThreeOfManyFiles) {
  const std::vector<OpenFailure> failures(1203, failure("a.las", "no such file"));
  EXPECT_EQ(summaryOf(failures, 1500),
            "1,203 of 1,500 scans could not be opened: a.las: no such file; a.las: no such file; a.las: no such file; "
            "and 1,200 more");
}

}  // namespace
