// Folders and devices that only systems of this kind have.
#include "support/LogFixture.h"

#include <QuorOsgUtils/LogFile.h>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

using QuorOsgUtils::LogFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace QuorTests;

namespace {

constexpr uid_t kNobody = 65534;

/// Writes as user nobody in another user's folder. Skips the normal exit, where tools that watch the process would fail
/// because of its new user.
void writeAsNobody() {
  if (::geteuid() == 0 && ::seteuid(kNobody) != 0) {
    ::_exit(1);
  }
  if (::open("probe", O_CREAT | O_WRONLY, 0600) != -1 || errno != EACCES) {
    ::_exit(2);
  }
  writeOneOfEach();
  ::_exit(0);
}

using LogFilePosixTest = LogFixture;

}  // namespace

TEST_F(LogFilePosixTest, inAFolderWithoutWritePermissionTheCallsReturnAndThereIsNoFile) {
  std::filesystem::permissions(path(""), std::filesystem::perms::others_exec, std::filesystem::perm_options::add);
  ASSERT_EQ(::chmod(path("work").c_str(), 0555), 0);
  inNewProcess("work", writeAsNobody);
  EXPECT_THAT(namesIn(path("work")), IsEmpty());
}

TEST_F(LogFilePosixTest, aWorkingDirectoryThatIsGoneMakesTheCallsReturn) {
  makeFolder("gone");
  inNewProcess("gone", [this] {
    std::filesystem::remove(path("gone"));
    writeOneOfEach();
  });
  EXPECT_FALSE(std::filesystem::exists(path("gone")));
}

TEST_F(LogFilePosixTest, aFullDeviceMakesTheCallsReturn) {
  if (!std::filesystem::exists("/dev/full")) {
    GTEST_SKIP() << "this system has no /dev/full";
  }
  std::filesystem::create_symlink("/dev/full", path("work") + "/" + kLogName);
  inNewProcess("work", writeOneOfEach);
  EXPECT_THAT(namesIn(path("work")), ElementsAre(kLogName));
}
