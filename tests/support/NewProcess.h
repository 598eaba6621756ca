#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

namespace QuorTests {

/// Expects a condition to hold in a separate process, where it may make irreversible changes. The process is forked
/// from this one or newly started, depending on the flag `death_test_style`. Its standard error output is shown if the
/// condition fails.
template <typename Claim>
void expectInANewProcess(Claim claim) {
  EXPECT_EXIT(std::exit(claim() ? 0 : 1), ::testing::ExitedWithCode(0), "");
}

/// Runs the work in a separate process and expects none of its expectations to fail.
template <typename Work>
void workInANewProcess(Work work) {
  expectInANewProcess([&work] {
    work();
    // Failures in such a process do not reach this one.
    const ::testing::TestResult& result = *::testing::UnitTest::GetInstance()->current_test_info()->result();
    for (int i = 0; i < result.total_part_count(); ++i) {
      const ::testing::TestPartResult& part = result.GetTestPartResult(i);
      if (part.failed()) {
        std::fprintf(stderr, "line %d: %s\n", part.line_number(), part.message());
      }
    }
    return !result.Failed();
  });
}

}  // namespace QuorTests
