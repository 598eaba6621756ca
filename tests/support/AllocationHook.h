#pragma once

#include <cstddef>

namespace QuorTests {

/// Counts what its thread takes from `operator new`, in every library of the program, while it lives. One at a time.
/// A program that links AllocationHook.cpp has the hook in place of the standard operators.
class AllocationCount {
 public:
  AllocationCount();
  ~AllocationCount();

  std::size_t value() const;
};

/// While it lives, `operator new` fails on its thread for anything larger than a number of bytes.
class AllocationLimit {
 public:
  explicit AllocationLimit(std::size_t greatestSize);
  ~AllocationLimit();
};

}  // namespace QuorTests
