#pragma once

#include <cstddef>
#include <functional>

namespace QuorTests {

/// During its lifetime, counts the calls of `operator new` by its thread, in every library of the program. One at a
/// time. Programs that link AllocationHook.cpp use the hook instead of the standard operators.
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

/// During its lifetime, `operator new` fails on its thread for anything larger than a number of bytes.
class AllocationLimit {
 public:
  explicit AllocationLimit(std::size_t greatestSize);
  ~AllocationLimit();
};

}  // namespace QuorTests
