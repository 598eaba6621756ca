#pragma once

#include <cstddef>
#include <functional>

namespace QuorTests {

/// Counts what its thread takes from `operator new`, in every library of the program, while it lives. One at a time.
/// A program that links AllocationHook.cpp has the hook in place of the standard operators.
class AllocationCount {
 public:
  AllocationCount();
  ~AllocationCount();

  std::size_t value() const;
};

/// During its lifetime, calls a function before each `operator new` and `operator delete` of its thread. What the
/// function itself allocates and frees is not observed. One at a time for each thread.
class AllocationObserver {
 public:
  explicit AllocationObserver(std::function<void()> observe);
  AllocationObserver(const AllocationObserver&) = delete;
  AllocationObserver& operator=(const AllocationObserver&) = delete;
  ~AllocationObserver();

 private:
  std::function<void()> _observe;
};

/// While it lives, `operator new` fails on its thread for anything larger than a number of bytes.
class AllocationLimit {
 public:
  explicit AllocationLimit(std::size_t greatestSize);
  ~AllocationLimit();
};

}  // namespace QuorTests
