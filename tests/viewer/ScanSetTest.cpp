#include "tests/scan/LasFile.h"
#include "tests/scan/ScanBytes.h"
#include "viewer/session/ScanSet.h"

#include <gmock/gmock.h>

namespace {

using namespace QuorTests;
using namespace QuorViewer;
using testing::ElementsAre;

class ScanSetTest : public testing::Test {
 protected:
  std::string write(const std::string& name, int count, double offset) {
    std::vector<LasFilePoint> points;
    for (int number = 0; number < count; ++number) {
      points.push_back({number, 2 * number, 0, 0, 0});
    }
    writeLasFile(_folder.path(name), points, offset, offset);
    return _folder.path(name);
  }

  ScanBytes::Folder _folder;
};

TEST_F(ScanSetTest, scansKeepTheirNumbersWhenOthersAreClosed) {
  ScanSet scans({write("a.las", 1, 0.0), write("b.las", 2, 0.0), write("c.las", 4, 0.0)});
  EXPECT_THAT(scans.numbers(), ElementsAre(1U, 2U, 3U));
  scans.close(2);
  EXPECT_THAT(scans.numbers(), ElementsAre(1U, 3U));
  EXPECT_EQ(fileName(scans.info(3).path), "c.las");
  EXPECT_EQ(scans.pointCount(), 5U);
}

TEST_F(ScanSetTest, filesThatCannotBeOpenedAreLeftOutAndListed) {
  const ScanSet scans({_folder.path("missing.las"), write("a.las", 1, 7000.0), _folder.path(".")});
  EXPECT_THAT(scans.numbers(), ElementsAre(1U));
  EXPECT_NEAR(scans.origin().x(), 7000.0, 10.0);
  ASSERT_EQ(scans.failures().size(), 2U);
  EXPECT_EQ(scans.failures()[0].path, _folder.path("missing.las"));
  EXPECT_EQ(scans.failures()[0].reason, "no such file");
  EXPECT_EQ(scans.failures()[1].reason, "this is a folder, not a file");
}

TEST_F(ScanSetTest, ifNoFileCanBeOpenedTheErrorNamesEach) {
  try {
    const ScanSet scans({_folder.path("first.las"), _folder.path("second.las")});
    FAIL() << "opened";
  } catch (const ScanError& error) {
    EXPECT_EQ(error.what(),
              _folder.path("first.las") + ": no such file\n" + _folder.path("second.las") + ": no such file");
  }
}

TEST_F(ScanSetTest, theNumberOfAClosedScanIsNotReused) {
  ScanSet scans({write("a.las", 1, 0.0)});
  scans.close(1);
  EXPECT_EQ(scans.add(write("b.las", 2, 0.0)), 2U);
  EXPECT_FALSE(scans.isOpen(1));
  EXPECT_TRUE(scans.isOpen(2));
}

TEST_F(ScanSetTest, numbersThatWereNeverAssignedAreNotOpen) {
  const ScanSet scans({write("a.las", 1, 0.0)});
  EXPECT_FALSE(scans.isOpen(0));
  EXPECT_FALSE(scans.isOpen(2));
  EXPECT_FALSE(scans.isOpen(0xFFFFFFFFU));
}

TEST_F(ScanSetTest, theOriginStaysWhenTheFirstScanIsClosed) {
  ScanSet scans({write("a.las", 3, 1000.0), write("b.las", 3, 5000.0)});
  const osg::Vec3d before = scans.origin();
  EXPECT_NEAR(before.x(), 1000.0, 10.0);
  scans.close(1);
  EXPECT_EQ(scans.origin(), before);
}

TEST_F(ScanSetTest, theFirstScanAfterAllWereClosedGivesANewOrigin) {
  ScanSet scans({write("a.las", 3, 1000.0)});
  scans.close(1);
  EXPECT_TRUE(scans.isEmpty());
  EXPECT_EQ(scans.pointCount(), 0U);
  scans.add(write("b.las", 3, 9000000.0));
  EXPECT_NEAR(scans.origin().x(), 9000000.0, 10.0);
}

TEST_F(ScanSetTest, aScanThatCannotBeOpenedChangesNothing) {
  ScanSet scans({write("a.las", 3, 1000.0)});
  EXPECT_THROW(scans.add(_folder.path("missing.las")), ScanError);
  EXPECT_THAT(scans.numbers(), ElementsAre(1U));
}

}  // namespace
