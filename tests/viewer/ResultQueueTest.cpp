#include "viewer/session/ResultQueue.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

namespace {

using QuorViewer::ResultQueue;

TEST(ResultQueueTest, tryPopOnAnEmptyQueueReturnsNothing) {
  ResultQueue<int> queue;
  EXPECT_FALSE(queue.tryPop().has_value());
}

TEST(ResultQueueTest, resultsArriveOnceAndInOrder) {
  ResultQueue<std::unique_ptr<int>> queue;
  for (int number = 0; number < 5; ++number) {
    queue.push(std::make_unique<int>(number));
  }
  for (int number = 0; number < 5; ++number) {
    EXPECT_EQ(**queue.tryPop(), number);
  }
  EXPECT_FALSE(queue.tryPop().has_value());
}

TEST(ResultQueueTest, resultsOfSeveralThreadsArriveInTheOrderOfEachThread) {
  constexpr int kResults = 2000;
  ResultQueue<std::pair<int, int>> queue;
  std::vector<std::thread> writers;
  for (int writer = 0; writer < 3; ++writer) {
    writers.emplace_back([&queue, writer] {
      for (int number = 0; number < kResults; ++number) {
        queue.push({writer, number});
      }
    });
  }
  std::vector<int> next(3, 0);
  for (int taken = 0; taken < 3 * kResults;) {
    if (const auto result = queue.tryPop()) {
      EXPECT_EQ(result->second, next[static_cast<std::size_t>(result->first)]++);
      ++taken;
    }
  }
  for (std::thread& writer : writers) {
    writer.join();
  }
  EXPECT_FALSE(queue.tryPop().has_value());
}

}  // namespace
