#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

namespace QuorTests {

/// Expects a claim that holds in a process of its own, where it may change what nothing can change back: forked from
/// this one, or started afresh, as the flag `death_test_style` has it. What it writes to the standard error shows when
/// it fails.
template <typename Claim>
void expectInANewProcess(Claim claim) {
  EXPECT_EXIT(std::exit(claim() ? 0 : 1), ::testing::ExitedWithCode(0), "");
}

/// Expects that none of the expectations in the work fails in a process of its own.
template <typename Work>
void workInANewProcess(Work work) {
  expectInANewProcess([&work] {
    work();
    // Such a process keeps its failures to itself.
    const ::testing::TestResult& result = *::testing::UnitTest::GetInstance()->current_test_info()->result();
    for (int i = 0; i < result.total_part_count(); ++i) {
      const ::testing::TestPartResult& part = result.GetTestPartResult(i);
      if (part.failed()) std::fprintf(stderr, "line %d: %s\n", part.line_number(), part.message());
    }
    return !result.Failed();
  });
}

}  // namespace QuorTests
