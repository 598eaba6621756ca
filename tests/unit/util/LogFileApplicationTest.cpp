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

using LogFileApplicationTest = LogFixture;

void startApplicationLog() {
  plog::init<0>(plog::verbose, "application.log");
}

void writeBoth() {
  PLOG_INFO << "of the application";
  LogFile::getInstance()->info("of the library");
}

}  // namespace

TEST_F(LogFileApplicationTest, anApplicationThatStartedPlogBeforeTheLogSharesNothingWithIt) {
  inNewProcess("work", [] {
    startApplicationLog();
    writeBoth();
  });
  expectEntries(log(), {info(thread(), "of the library")});
  const std::string written = wholeFile(path("work/application.log"));
  EXPECT_THAT(written, HasSubstr("of the application"));
  EXPECT_THAT(written, Not(HasSubstr("of the library")));
}

TEST_F(LogFileApplicationTest, anApplicationThatStartsPlogAfterTheLogSharesNothingWithIt) {
  inNewProcess("work", [] {
    LogFile::getInstance();
    if (plog::get<0>() != nullptr) {
      std::exit(2);
    }
    startApplicationLog();
    writeBoth();
  });
  expectEntries(log(), {info(thread(), "of the library")});
  EXPECT_THAT(wholeFile(path("work/application.log")), Not(HasSubstr("of the library")));
}
