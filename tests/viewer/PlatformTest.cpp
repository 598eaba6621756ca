#include "platform/Platform.h"
#include "support/FilesFixture.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <thread>

namespace {

using namespace QuorViewer;
using namespace QuorTests;

class PlatformTest : public FilesFixture {
 protected:
  void SetUp() override { remap(); }
  void TearDown() override { munmap(_view, bytes()); }

  static std::size_t bytes() { return static_cast<std::size_t>(4 * pageBytes()); }
  static std::uintptr_t address(const unsigned char* place) { return reinterpret_cast<std::uintptr_t>(place); }

  void remap() {
    const std::string file = makeFile("mapped", static_cast<std::int64_t>(bytes()));
    const int descriptor = open(file.c_str(), O_RDWR | O_CLOEXEC);
    _view = static_cast<unsigned char*>(mmap(nullptr, bytes(), PROT_READ, MAP_SHARED, descriptor, 0));
    close(descriptor);
    ASSERT_NE(_view, MAP_FAILED);
  }
  void cutAfterPages(std::int64_t pages) {
    std::filesystem::resize_file(path("mapped"), static_cast<std::uintmax_t>(pages * pageBytes()));
  }
  /// Reads forwards; tells how far it came.
  std::optional<std::uintptr_t> readAll() {
    return faultWhile([this] {
      for (_read = 0; _read < bytes(); ++_read) _sum = _sum + _view[_read];
    });
  }

  unsigned char* _view = nullptr;
  volatile std::size_t _read = 0;
  volatile unsigned _sum = 0;
};

TEST_F(PlatformTest, aWholeFileReadsToItsEndWithoutAFault) {
  EXPECT_FALSE(readAll().has_value());
  EXPECT_EQ(_read, bytes());
}

TEST_F(PlatformTest, aTouchBehindTheEndOfACutFileIsToldWithItsAddressAndEndsTheWork) {
  cutAfterPages(2);
  const std::optional<std::uintptr_t> fault = readAll();
  ASSERT_TRUE(fault.has_value());
  EXPECT_EQ(*fault, address(_view + 2 * pageBytes()));
  EXPECT_EQ(_read, static_cast<std::size_t>(2 * pageBytes()));
}

TEST_F(PlatformTest, faultsMayFollowEachOther) {
  cutAfterPages(1);
  for (int time = 0; time < 100; ++time) {
    const std::optional<std::uintptr_t> fault = readAll();
    ASSERT_TRUE(fault.has_value());
    ASSERT_EQ(*fault, address(_view + pageBytes()));
  }
}

TEST_F(PlatformTest, aFaultOnOneThreadLeavesTheWorkOfAnotherAlone) {
  cutAfterPages(1);
  bool otherWasWhole = true;
  std::thread other([&] {
    for (int time = 0; time < 200; ++time) {
      volatile int counted = 0;
      otherWasWhole &= !faultWhile([&] {
                          for (int i = 0; i < 1000; ++i) counted = counted + 1;
                        }).has_value() &&
                       counted == 1000;
    }
  });
  for (int time = 0; time < 200; ++time) EXPECT_TRUE(readAll().has_value());
  other.join();
  EXPECT_TRUE(otherWasWhole);
}

using PlatformDeathTest = PlatformTest;

TEST_F(PlatformDeathTest, aFaultOutsideOfGuardedWorkEndsTheProcessAsEver) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  cutAfterPages(1);
  EXPECT_TRUE(readAll().has_value());
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the sanitizer reports the fault in its own way";
#else
  EXPECT_EXIT(_sum = _sum + _view[2 * pageBytes()], testing::KilledBySignal(SIGBUS), "");
#endif
}

TEST(MachineMemoryTest, isNoMoreThanThePhysicalMemoryAndNotNothing) {
  const auto physical =
      static_cast<std::uint64_t>(sysconf(_SC_PHYS_PAGES)) * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
  EXPECT_GT(machineMemoryBytes(), std::uint64_t{1} << 24U);
  EXPECT_LE(machineMemoryBytes(), physical);
}

}  // namespace
