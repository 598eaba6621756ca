#include "support/FilesFixture.h"

#include <QuorOsgUtils/FilePtr.h>

#include <osg/ref_ptr>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <string>
#include <thread>

namespace {

using QuorOsgUtils::FilePtr;
using namespace QuorTests;

/// A file lease, as a file server takes one, that is released once the file is opened elsewhere.
class Lease {
 public:
  explicit Lease(const std::string& path) : _file(::open(path.c_str(), O_RDWR | O_CLOEXEC)) {
    std::signal(SIGIO, SIG_IGN);
    EXPECT_EQ(::fcntl(_file, F_SETLEASE, F_WRLCK), 0) << path;
    _releasing = std::thread([this] { releaseOnceBroken(); });
  }
  Lease(const Lease&) = delete;
  Lease& operator=(const Lease&) = delete;
  ~Lease() {
    _releasing.join();
    ::close(_file);
    std::signal(SIGIO, SIG_DFL);
  }

 private:
  void releaseOnceBroken() const {
    while (::fcntl(_file, F_GETLEASE) == F_WRLCK) {
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    ::fcntl(_file, F_SETLEASE, F_UNLCK);
  }

  int _file;
  std::thread _releasing;
};

class FilePtrLeasedTest : public FilesFixture {};

TEST_F(FilePtrLeasedTest, openWaitsForTheHolderOfALeaseToReleaseIt) {
  const std::string name = makeFile("scan", 100);
  ::testing::internal::CaptureStderr();
  osg::ref_ptr<FilePtr> file;
  {
    const Lease lease(name);
    file = new FilePtr(name.c_str());
  }
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
  EXPECT_TRUE(file->isValid());
  const void* const address = file->map(0, 100);
  ASSERT_NE(address, nullptr);
  EXPECT_EQ(std::string(static_cast<const char*>(address), 100), readPlainly(name, 0, 100));
}

}  // namespace
