#include "support/LogFixture.h"
#include "support/OnThreads.h"

#include <QuorOsgUtils/LogFile.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <type_traits>

using QuorOsgUtils::LogFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;
using namespace QuorTests;

namespace {

constexpr std::size_t kThreads = 8;
constexpr int kMessagesEach = 250;

/// Lengths from a few bytes to several times what a pipe or a page takes at once.
std::string numbered(std::size_t thread, int message) {
  return "thread " + std::to_string(thread) + " message " + std::to_string(message) + " " +
         std::string(static_cast<std::size_t>(message) % 50 * 300, 'x');
}

class LogFileTest : public LogFixture {
 protected:
  /// The time of the log's first entry without its fraction of a second.
  std::string secondOfFirstEntry() const { return log().substr(3, kTimeBytes - 4); }
};

std::string localSecond(std::time_t time) {
  const std::tm parts = *std::gmtime(&time);
  std::array<char, 32> text{};
  std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &parts);
  return text.data();
}

}  // namespace

TEST_F(LogFileTest, eachCallWritesItsSeverityItsFixedFunctionAndLineAndAnEmptyLine) {
  inNewProcess("work", writeOneOfEach);
  expectEntries(log(), {info(thread(), "one"), debug(thread(), "two"), error(thread(), "three")});
}

TEST_F(LogFileTest, thereIsNoFileBeforeTheFirstInstanceNorBeforeTheFirstMessage) {
  expectInANewProcess([this] {
    std::filesystem::current_path(path("work"));
    if (!namesIn(".").empty()) {
      return false;
    }
    LogFile* const instance = LogFile::getInstance();
    const bool stillNone = namesIn(".").empty();
    instance->info("now");
    return stillNone && namesIn(".") == std::vector<std::string>{kLogName};
  });
}

TEST_F(LogFileTest, theInstanceStaysTheSameAndWritesEachMessageOnce) {
  expectInANewProcess([] { return LogFile::getInstance() == LogFile::getInstance(); });
  inNewProcess("work", [] {
    LogFile::getInstance();
    LogFile::getInstance()->info("once");
  });
  expectEntries(log(), {info(thread(), "once")});
}

TEST_F(LogFileTest, firstCallsFromDifferentThreadsStillWriteEachMessageOnce) {
  expectInANewProcess([this] {
    std::filesystem::current_path(path("work"));
    std::array<LogFile*, 4> seen{};
    onThreads(seen.size(), [&seen](std::size_t i) { seen[i] = LogFile::getInstance(); });
    seen[0]->info("once");
    return seen[0] != nullptr && seen[1] == seen[0] && seen[2] == seen[0] && seen[3] == seen[0];
  });
  EXPECT_EQ(log().find("once"), log().rfind("once"));
}

TEST_F(LogFileTest, anEmptyMessageStillMakesAnEntry) {
  inNewProcess("work", [] {
    theLog().debug("");
    theLog().info("after");
  });
  expectEntries(log(), {debug(thread(), ""), info(thread(), "after")});
}

TEST_F(LogFileTest, aMessageThatEndsInALineEndIsFollowedByTwoEmptyLines) {
  inNewProcess("work", [] { theLog().error("ends\n"); });
  const std::string entry = error(thread(), "ends\n");
  const std::string end = withNativeLineEnds("ends\n\n\n");
  ASSERT_EQ(entry.substr(entry.size() - end.size()), end);
  expectEntries(log(), {entry});
}

TEST_F(LogFileTest, linesWithinAMessageStayAsTheyAre) {
  inNewProcess("work", [] { theLog().info("first\nsecond\r\n\tthird %s \\ [x] (y)"); });
  expectEntries(log(), {info(thread(), "first\nsecond\r\n\tthird %s \\ [x] (y)")});
}

TEST_F(LogFileTest, textInTheUsersEncodingIsWrittenInUtf8) {
  // Two, three and four bytes to a character.
  std::vector<std::string> entries;
  std::vector<std::string> texts;
  for (const char* text : {"caf\xC3\xA9", "\xE7\x82\xB9\xE4\xBA\x91", "\xF0\xA0\x80\x80"}) {
    const std::optional<std::string> message = inUsersEncoding(text);
    if (!message) {
      continue;
    }
    texts.push_back(*message);
    entries.push_back(text);
  }
  ASSERT_FALSE(texts.empty());
  inNewProcess("work", [&texts] {
    for (const std::string& text : texts) {
      theLog().info(text.c_str());
    }
  });
  for (std::string& entry : entries) {
    entry = info(thread(), entry);
  }
  expectEntries(log(), entries);
}

TEST_F(LogFileTest, aMessageOfOneMebibyteIsWrittenWhole) {
  std::string text(std::size_t{1} << 20U, '\0');
  for (std::size_t i = 0; i < text.size(); ++i) {
    text[i] = static_cast<char>('a' + i % 25);
  }
  inNewProcess("work", [&text] {
    theLog().info(text.c_str());
    theLog().info("after");
  });
  expectEntries(log(), {info(thread(), text), info(thread(), "after")});
}

TEST_F(LogFileTest, aMessageOfNullIsWrittenAsSuch) {
  inNewProcess("work", [] { theLog().info(nullptr); });
  expectEntries(log(), {info(thread(), "(null)")});
}

TEST_F(LogFileTest, theTimeIsTheLocalTimeOfTheCall) {
  const std::time_t before = std::time(nullptr);
  inNewProcess("work", [] {
    setTimeZone("TST-5:30");
    theLog().info("now");
  });
  const std::time_t after = std::time(nullptr);
  constexpr std::time_t kAhead = 5 * 3600 + 30 * 60;
  EXPECT_GE(secondOfFirstEntry(), localSecond(before + kAhead));
  EXPECT_LE(secondOfFirstEntry(), localSecond(after + kAhead));
}

TEST_F(LogFileTest, messagesOfSimultaneousThreadsAreNeitherMixedNorLost) {
  expectInANewProcess([this] {
    std::filesystem::current_path(path("work"));
    LogFile* const shared = LogFile::getInstance();
    onThreads(kThreads, [this, shared](std::size_t i) {
      std::ofstream(path("number" + std::to_string(i))) << threadNumber();
      for (int message = 0; message < kMessagesEach; ++message) {
        shared->debug(numbered(i, message).c_str());
      }
    });
    return true;
  });

  const std::string bytes = log();
  std::array<int, kThreads> next{};
  std::size_t place = 3;
  while (place < bytes.size()) {
    ASSERT_TRUE(isTime(bytes.substr(place, kTimeBytes))) << "at byte " << place;
    place += kTimeBytes;
    const std::string fields = bytes.substr(place, 100);
    std::size_t writer = kThreads;
    ASSERT_EQ(std::sscanf(fields.c_str(), " DEBUG [%*d] [QuorOsgUtils::LogFile::debug@25] thread %zu", &writer), 1);
    ASSERT_LT(writer, kThreads);
    const long number = std::stol(wholeFile(path("number" + std::to_string(writer))));
    const std::string expected = debug(number, numbered(writer, next[writer]++));
    ASSERT_TRUE(bytes.compare(place, expected.size(), expected) == 0) << "at byte " << place;
    place += expected.size();
  }
  EXPECT_THAT(next, ::testing::Each(kMessagesEach));
}

TEST_F(LogFileTest, eachWorkingDirectoryGetsItsOwnLog) {
  makeFolder("other");
  inNewProcess("work", [] { theLog().info("here"); });
  const long first = thread();
  inNewProcess("other", [] { theLog().info("there"); });
  expectEntries(log("work"), {info(first, "here")});
  expectEntries(log("other"), {info(thread(), "there")});
}

TEST_F(LogFileTest, theFileIsCreatedInTheWorkingDirectoryOfTheFirstMessageAndStaysOpen) {
  makeFolder("other");
  inNewProcess(".", [this] {
    LogFile* const instance = LogFile::getInstance();
    std::filesystem::current_path(path("work"));
    instance->info("first");
    std::filesystem::current_path(path("other"));
    instance->info("second");
  });
  expectEntries(log("work"), {info(thread(), "first"), info(thread(), "second")});
  EXPECT_THAT(namesIn(path("other")), IsEmpty());
}

TEST_F(LogFileTest, aLaterProcessContinuesTheFileWithoutAnotherByteOrderMark) {
  inNewProcess("work", [] { theLog().info("first"); });
  const long first = thread();
  inNewProcess("work", [] { theLog().info("second"); });
  expectEntries(log(), {info(first, "first"), info(thread(), "second")});
}

TEST_F(LogFileTest, theFileIsNeverRolledOver) {
  constexpr int kMessages = 600;
  const std::string text(1024, 'r');
  inNewProcess("work", [&text] {
    for (int i = 0; i < kMessages; ++i) {
      theLog().info(text.c_str());
    }
  });
  EXPECT_THAT(namesIn(path("work")), ElementsAre(kLogName));
  expectEntries(log(), std::vector<std::string>(kMessages, info(thread(), text)));
}

TEST_F(LogFileTest, aFolderOfItsNameMakesTheCallsReturnWithoutAFile) {
  makeFolder(std::string("work/") + kLogName);
  inNewProcess("work", writeOneOfEach);
  EXPECT_THAT(namesIn(path("work")), ElementsAre(kLogName));
  EXPECT_THAT(namesIn(path("work") + "/" + kLogName), IsEmpty());
}

TEST_F(LogFileTest, aFileThatMayNotBeWrittenMakesTheCallsReturnAndStaysAsItIs) {
  const std::string file = path("work") + "/" + kLogName;
  std::ofstream(file) << "earlier";
  inNewProcess("work", [&file] {
    const WriteProtection protection(file);
    writeOneOfEach();
  });
  EXPECT_EQ(log(), "earlier");
}

TEST_F(LogFileTest, aFileThatCouldNotBeOpenedIsNotTriedAgain) {
  makeFolder(std::string("work/") + kLogName);
  inNewProcess("work", [] {
    theLog().info("lost");
    std::filesystem::remove(kLogName);
    theLog().info("lost, too");
  });
  EXPECT_THAT(namesIn(path("work")), IsEmpty());
}

TEST_F(LogFileTest, applicationsCanNeitherCreateNorCopyNorDestroyOne) {
  static_assert(!std::is_default_constructible_v<LogFile>);
  static_assert(!std::is_copy_constructible_v<LogFile>);
  static_assert(!std::is_copy_assignable_v<LogFile>);
  static_assert(!std::is_destructible_v<LogFile>);
}
