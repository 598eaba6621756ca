// What reaches plog. The log's source is a part of this program, so that plog's instance 0 is the same for both.
#include "support/LogFixture.h"

#include <QuorOsgUtils/LogFile.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <plog/Initializers/RollingFileInitializer.h>
#include <plog/Log.h>

#include <stdexcept>

using QuorOsgUtils::LogFile;
using ::testing::IsEmpty;
using namespace QuorTests;

namespace {

struct Seen {
  plog::Severity severity;
  std::string function;
  std::size_t line;
  std::string file;
  const void* object;
  int instance;
  unsigned int thread;
  plog::util::nstring message;  // of char or wchar_t, depending on the system
};

bool operator==(const Seen& a, const Seen& b) {
  return a.severity == b.severity && a.function == b.function && a.line == b.line && a.file == b.file &&
         a.object == b.object && a.instance == b.instance && a.thread == b.thread && a.message == b.message;
}

class Recorder : public plog::IAppender {
 public:
  void write(const plog::Record& record) override {
    seen.push_back({record.getSeverity(), record.getFunc(), record.getLine(), record.getFile(), record.getObject(),
                    record.getInstanceId(), record.getTid(), record.getMessage()});
  }
  std::vector<Seen> seen;
};

class Thrower : public plog::IAppender {
 public:
  void write(const plog::Record&) override { throw std::runtime_error("no more paper"); }
};

using LogFileRecordTest = LogFixture;

}  // namespace

TEST_F(LogFileRecordTest, theFirstInstanceCreatesTheLoggerAtTheDebugLevel) {
  expectInANewProcess([] {
    const bool before = plog::get<0>() == nullptr;
    LogFile::getInstance();
    return before && plog::get<0>() != nullptr && plog::get<0>()->getMaxSeverity() == plog::debug;
  });
}

TEST_F(LogFileRecordTest, everyAppenderReceivesTheFixedFieldsAndNeitherFileNorObject) {
  inNewProcess("work", [] {
    LogFile::getInstance();
    Recorder first;
    Recorder second;
    plog::get<0>()->addAppender(&first).addAppender(&second);
    writeOneOfEach();
    const auto number = static_cast<unsigned int>(threadNumber());
    const std::vector<Seen> expected = {
        {plog::info, "QuorOsgUtils::LogFile::info", 20, "", nullptr, 0, number, PLOG_NSTR("one\n")},
        {plog::debug, "QuorOsgUtils::LogFile::debug", 25, "", nullptr, 0, number, PLOG_NSTR("two\n")},
        {plog::error, "QuorOsgUtils::LogFile::error", 30, "", nullptr, 0, number, PLOG_NSTR("three\n")}};
    if (first.seen != expected || second.seen != expected) {
      std::exit(2);
    }
  });
  expectEntries(log(), {info(thread(), "one"), debug(thread(), "two"), error(thread(), "three")});
}

TEST_F(LogFileRecordTest, aMaximumSeverityOfInfoSilencesDebugAlone) {
  inNewProcess("work", [] {
    LogFile::getInstance();
    plog::get<0>()->setMaxSeverity(plog::info);
    writeOneOfEach();
  });
  expectEntries(log(), {info(thread(), "one"), error(thread(), "three")});
}

TEST_F(LogFileRecordTest, aMaximumSeverityOfErrorLetsErrorPass) {
  inNewProcess("work", [] {
    LogFile::getInstance();
    plog::get<0>()->setMaxSeverity(plog::error);
    writeOneOfEach();
  });
  expectEntries(log(), {error(thread(), "three")});
}

TEST_F(LogFileRecordTest, aMaximumSeverityBelowAllCallsCreatesNoFile) {
  inNewProcess("work", [] {
    LogFile::getInstance();
    plog::get<0>()->setMaxSeverity(plog::fatal);
    writeOneOfEach();
  });
  EXPECT_THAT(namesIn(path("work")), IsEmpty());
}

TEST_F(LogFileRecordTest, anAppenderThatThrowsDoesNotAffectTheCaller) {
  inNewProcess("work", [] {
    LogFile::getInstance();
    Thrower thrower;
    plog::get<0>()->addAppender(&thrower);
    writeOneOfEach();
  });
  expectEntries(log(), {info(thread(), "one"), debug(thread(), "two"), error(thread(), "three")});
}
