// An application that uses plog itself and, unlike the library, exports all of its symbols: the worst case for sharing.
#include "support/LogFixture.h"

#include <QuorOsgUtils/LogFile.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <plog/Initializers/RollingFileInitializer.h>
#include <plog/Log.h>

using QuorOsgUtils::LogFile;
using ::testing::HasSubstr;
using ::testing::Not;
using namespace QuorTests;

namespace {

using LogFileHostTest = LogFixture;

void startHostLog() {
  plog::init<0>(plog::verbose, "host.log");
}

void writeBoth() {
  PLOG_INFO << "of the host";
  LogFile::getInstance()->info("of the library");
}

}  // namespace

TEST_F(LogFileHostTest, aHostThatStartedItsPlogBeforeTheLogSharesNothingWithIt) {
  inNewProcess("work", [] {
    startHostLog();
    writeBoth();
  });
  expectEntries(log(), {info(thread(), "of the library")});
  const std::string hosts = wholeFile(path("work/host.log"));
  EXPECT_THAT(hosts, HasSubstr("of the host"));
  EXPECT_THAT(hosts, Not(HasSubstr("of the library")));
}

TEST_F(LogFileHostTest, aHostThatStartsItsPlogAfterTheLogSharesNothingWithIt) {
  inNewProcess("work", [] {
    LogFile::getInstance();
    if (plog::get<0>() != nullptr) std::exit(2);
    startHostLog();
    writeBoth();
  });
  expectEntries(log(), {info(thread(), "of the library")});
  EXPECT_THAT(wholeFile(path("work/host.log")), Not(HasSubstr("of the library")));
}
