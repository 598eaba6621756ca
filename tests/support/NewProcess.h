#pragma once

#include <gtest/gtest.h>

#include <cstdlib>

namespace QuorTests {

/// Expects a claim that holds in a process of its own, where it may change what nothing can change back: forked from
/// this one, or started afresh, as the flag `death_test_style` has it. What it writes to the standard error shows when
/// it fails.
template <typename Claim>
void expectInANewProcess(Claim claim) {
  EXPECT_EXIT(std::exit(claim() ? 0 : 1), ::testing::ExitedWithCode(0), "");
}

}  // namespace QuorTests
