#include "support/NewProcess.h"
#include "support/OnThreads.h"

#include <QuorOsgUtils/ThreadCount.h>

#include <gtest/gtest.h>

#include <array>
#include <type_traits>

using QuorOsgUtils::ThreadCount;
using QuorTests::expectInANewProcess;
using QuorTests::onThreads;

namespace {

/// Nothing resets the single instance, so tests that change it run in a separate, newly started process.
class ThreadCountTest : public ::testing::Test {
 protected:
  ThreadCountTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

ThreadCount& threads() {
  return *ThreadCount::getInstance();
}

}  // namespace

TEST_F(ThreadCountTest, firstCallsFromDifferentThreadsYieldOneInstanceWithCountZeroAndBothFlagsFalse) {
  expectInANewProcess([] {
    std::array<ThreadCount*, 4> seen{};
    onThreads(seen.size(), [&seen](std::size_t i) { seen[i] = ThreadCount::getInstance(); });
    const bool same = seen[0] && seen[1] == seen[0] && seen[2] == seen[0] && seen[3] == seen[0];
    return same && threads().value() == 0 && !threads().isStop() && !threads().isOK();
  });
}

TEST_F(ThreadCountTest, unrefWithoutRefLeavesTheCountAtMinusOne) {
  expectInANewProcess([] {
    threads().unref();
    return threads().value() == -1;
  });
}

TEST_F(ThreadCountTest, refAndUnrefCountUpAndDown) {
  expectInANewProcess([] {
    threads().ref();
    threads().ref();
    const bool two = threads().value() == 2;
    threads().unref();
    return two && threads().value() == 1;
  });
}

TEST_F(ThreadCountTest, noCountIsLostBetweenThreads) {
  expectInANewProcess([] {
    onThreads(4, [](std::size_t) {
      for (int i = 0; i < 5000; ++i) {
        threads().ref();
        threads().ref();
        threads().unref();
      }
    });
    return threads().value() == 20000;
  });
}

TEST_F(ThreadCountTest, stopStaysSetAndLeavesOkAndTheCountAlone) {
  expectInANewProcess([] {
    threads().stop();
    const bool first = threads().isStop();
    threads().ref();
    threads().unref();
    threads().stop();
    return first && threads().isStop() && !threads().isOK() && threads().value() == 0;
  });
}

TEST_F(ThreadCountTest, okStaysSetAndLeavesStopAndTheCountAlone) {
  expectInANewProcess([] {
    threads().ok();
    const bool first = threads().isOK();
    threads().ref();
    threads().unref();
    threads().ok();
    return first && threads().isOK() && !threads().isStop() && threads().value() == 0;
  });
}

TEST_F(ThreadCountTest, aThreadThatSeesTheStopSeesWhatWasWrittenBeforeIt) {
  expectInANewProcess([] {
    int written = 0;
    int seen = 0;
    std::thread worker([&] {
      while (!threads().isStop()) {
      }
      seen = written;
    });
    written = 42;
    threads().stop();
    worker.join();
    return seen == 42;
  });
}

TEST_F(ThreadCountTest, applicationsCanNeitherCreateNorCopyNorDestroyOne) {
  static_assert(!std::is_default_constructible_v<ThreadCount>);
  static_assert(!std::is_copy_constructible_v<ThreadCount>);
  static_assert(!std::is_destructible_v<ThreadCount>);
}
