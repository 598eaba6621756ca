#include "viewer/session/Mailbox.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

namespace {

using QuorViewer::Mailbox;

TEST(MailboxTest, anEmptyMailboxAnswersAtOnceWithNothing) {
  Mailbox<int> mailbox;
  EXPECT_FALSE(mailbox.take().has_value());
}

TEST(MailboxTest, messagesComeOnceEachInTheOrderPosted) {
  Mailbox<std::unique_ptr<int>> mailbox;
  for (int number = 0; number < 5; ++number) mailbox.post(std::make_unique<int>(number));
  for (int number = 0; number < 5; ++number) EXPECT_EQ(**mailbox.take(), number);
  EXPECT_FALSE(mailbox.take().has_value());
}

TEST(MailboxTest, messagesOfSeveralThreadsAllArriveInEachThreadsOrder) {
  constexpr int kLetters = 2000;
  Mailbox<std::pair<int, int>> mailbox;
  std::vector<std::thread> writers;
  for (int writer = 0; writer < 3; ++writer) {
    writers.emplace_back([&mailbox, writer] {
      for (int number = 0; number < kLetters; ++number) mailbox.post({writer, number});
    });
  }
  std::vector<int> next(3, 0);
  for (int taken = 0; taken < 3 * kLetters;) {
    if (const auto letter = mailbox.take()) {
      EXPECT_EQ(letter->second, next[static_cast<std::size_t>(letter->first)]++);
      ++taken;
    }
  }
  for (std::thread& writer : writers) writer.join();
  EXPECT_FALSE(mailbox.take().has_value());
}

}  // namespace
