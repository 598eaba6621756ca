#include "scan/ScanFile.h"
#include "scan/platform/Platform.h"
#include "scan/platform/SharedFile.h"
#include "support/FilesFixture.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

using namespace QuorViewer;
using namespace QuorTests;

class PlatformTest : public FilesFixture {
 protected:
  static constexpr std::int64_t kPages = 4;

  void SetUp() override { _view = std::make_unique<LossyView>(makeFile("mapped", kPages * pageBytes())); }

  std::uintptr_t addressOfPage(std::int64_t page) const {
    return reinterpret_cast<std::uintptr_t>(_view->start()) + static_cast<std::uintptr_t>(page * pageBytes());
  }
  void cutAfterPages(std::int64_t pages) { _view->loseAllBehind(pages * pageBytes()); }
  void touchPage(std::int64_t page) { _sum = _sum + _view->start()[page * pageBytes()]; }
  /// Reads forwards; `_read` tells how far it got.
  std::optional<std::uintptr_t> readAll() {
    return runGuarded([this] {
      for (_read = 0; _read < _view->bytes(); ++_read) {
        _sum = _sum + _view->start()[_read];
      }
    });
  }

  std::unique_ptr<LossyView> _view;
  volatile std::size_t _read = 0;
  volatile unsigned _sum = 0;
};

TEST_F(PlatformTest, aWholeFileReadsToItsEndWithoutAFault) {
  EXPECT_FALSE(readAll().has_value());
  EXPECT_EQ(_read, _view->bytes());
}

TEST_F(PlatformTest, accessPastTheEndOfATruncatedFileIsReportedWithItsAddressAndEndsTheWork) {
  cutAfterPages(2);
  const std::optional<std::uintptr_t> fault = readAll();
  ASSERT_TRUE(fault.has_value());
  EXPECT_EQ(*fault, addressOfPage(2));
  EXPECT_EQ(_read, static_cast<std::size_t>(2 * pageBytes()));
}

TEST_F(PlatformTest, faultsMayFollowEachOther) {
  cutAfterPages(1);
  for (int time = 0; time < 100; ++time) {
    const std::optional<std::uintptr_t> fault = readAll();
    ASSERT_TRUE(fault.has_value());
    ASSERT_EQ(*fault, addressOfPage(1));
  }
}

TEST_F(PlatformTest, aFaultOnOneThreadLeavesTheWorkOfAnotherAlone) {
  cutAfterPages(1);
  bool otherWasWhole = true;
  std::thread other([&] {
    for (int time = 0; time < 200; ++time) {
      volatile int counted = 0;
      otherWasWhole &= !runGuarded([&] {
                          for (int i = 0; i < 1000; ++i) {
                            counted = counted + 1;
                          }
                        }).has_value() &&
                       counted == 1000;
    }
  });
  for (int time = 0; time < 200; ++time) {
    EXPECT_TRUE(readAll().has_value());
  }
  other.join();
  EXPECT_TRUE(otherWasWhole);
}

TEST_F(PlatformTest, exceptionsOfTheWorkPropagate) {
  EXPECT_THROW(runGuarded([] { throw std::runtime_error("of the work"); }), std::runtime_error);
}

using PlatformDeathTest = PlatformTest;

TEST_F(PlatformDeathTest, aFaultOutsideGuardedWorkEndsTheProcessAsUsual) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  cutAfterPages(1);
  EXPECT_TRUE(readAll().has_value());
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the sanitizer handles the fault itself";
#else
  EXPECT_EXIT(touchPage(2), wasEndedByALostPage, "");
#endif
}

TEST_F(PlatformDeathTest, aFaultAfterWorkThatThrewEndsTheProcessAsEver) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  cutAfterPages(1);
  EXPECT_THROW(runGuarded([] { throw std::runtime_error("of the work"); }), std::runtime_error);
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the sanitizer handles the fault itself";
#else
  EXPECT_EXIT(touchPage(2), wasEndedByALostPage, "");
#endif
}

class UsersEncodingTest : public testing::TestWithParam<std::string> {};

TEST_P(UsersEncodingTest, convertsToAPathAndBackAndToUtf8) {
  const std::optional<std::string> name = inUsersEncoding(GetParam());
  if (!name) {
    GTEST_SKIP() << "the user's encoding lacks these characters";
  }
  EXPECT_EQ(utf8Of(*name), GetParam());
  const std::filesystem::path place = std::filesystem::u8path(GetParam());
  EXPECT_EQ(QuorViewer::toPath(*name), place);
  EXPECT_EQ(fromPath(place), *name);
}

INSTANTIATE_TEST_SUITE_P(Names, UsersEncodingTest, testing::Values("", "scan.las", "Gelände.las", "扫描/点云.las"));

class SharedFileTest : public FilesFixture {};

TEST_F(SharedFileTest, threadsReadAtTheirOwnOffsets) {
  constexpr int kBytes = 200000;
  const std::string path = makeFile("file", 0);
  std::ofstream out(path, std::ios::binary);
  for (int at = 0; at < kBytes; ++at) {
    out.put(static_cast<char>(at % 251));
  }
  out.close();
  std::error_code error;
  const std::shared_ptr<const SharedFile> file = SharedFile::open(path, error);
  ASSERT_TRUE(file) << error.message();
  EXPECT_EQ(file->size(), static_cast<std::uint64_t>(kBytes));
  std::atomic<int> wrong{0};
  const auto readFrom = [&](int first) {
    for (int at = first; at + 100 < kBytes; at += 997) {
      std::array<unsigned char, 100> bytes{};
      std::error_code readError;
      if (file->read(static_cast<std::uint64_t>(at), bytes.data(), bytes.size(), readError) != bytes.size()) {
        ++wrong;
      }
      for (std::size_t byte = 0; byte < bytes.size(); ++byte) {
        if (bytes[byte] != (static_cast<std::size_t>(at) + byte) % 251) {
          ++wrong;
        }
      }
    }
  };
  std::thread other([&] { readFrom(0); });
  readFrom(500);
  other.join();
  EXPECT_EQ(wrong, 0);
}

TEST_F(SharedFileTest, aReadBehindTheEndReturnsWhatIsThere) {
  std::error_code error;
  const std::string path = makeFile("file", 10);
  const std::shared_ptr<const SharedFile> file = SharedFile::open(path, error);
  ASSERT_TRUE(file) << error.message();
  std::array<unsigned char, 20> bytes{};
  EXPECT_EQ(file->read(4, bytes.data(), bytes.size(), error), 6U);
  EXPECT_EQ(file->read(std::uint64_t{1} << 33, bytes.data(), bytes.size(), error), 0U);
  EXPECT_FALSE(error);
  std::filesystem::resize_file(path, 7);
  EXPECT_EQ(file->size(), 7U);
}

TEST_F(SharedFileTest, aMissingFileIsReportedWithTheSystemsReason) {
  std::error_code error;
  EXPECT_FALSE(SharedFile::open(makeFile("file", 1) + ".none", error));
  EXPECT_EQ(error, std::errc::no_such_file_or_directory);
}

TEST_F(SharedFileTest, aFileThatTheSystemCannotReadIsReportedWithItsReason) {
  const std::string unreadable = "/proc/self/mem";  // nothing is mapped at address 0
  if (!std::filesystem::exists(unreadable)) {
    GTEST_SKIP() << "this system has no such file";
  }
  std::error_code error;
  const std::shared_ptr<const SharedFile> file = SharedFile::open(unreadable, error);
  ASSERT_TRUE(file) << error.message();
  std::array<unsigned char, 20> bytes{};
  EXPECT_EQ(file->read(0, bytes.data(), bytes.size(), error), 0U);
  EXPECT_TRUE(error);
  try {
    ScanFile(unreadable).readAvailable(0, bytes.data(), bytes.size());
    ADD_FAILURE() << "it was read";
  } catch (const ScanReadError& failure) {
    EXPECT_EQ(failure.what(), unreadable + ": cannot read the file at byte 0: " + error.message());
  }
}

TEST(MachineMemoryTest, isPositiveAndNoMoreThanThePhysicalMemory) {
  EXPECT_GT(machineMemoryBytes(), std::uint64_t{1} << 24U);
  if (physicalMemoryBytes() == 0) {
    GTEST_SKIP() << "this system does not report its memory size";
  }
  EXPECT_LE(machineMemoryBytes(), physicalMemoryBytes());
}

}  // namespace
