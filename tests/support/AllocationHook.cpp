#include "support/AllocationHook.h"

#include <cstdlib>
#include <limits>
#include <new>
#include <utility>

namespace {

constexpr std::size_t kUnlimited = std::numeric_limits<std::size_t>::max();

thread_local bool isCounting = false;
thread_local std::size_t allocationCount = 0;
thread_local std::size_t greatestSize = kUnlimited;
thread_local const std::function<void()>* observer = nullptr;

void observe() noexcept {
  const std::function<void()>* const observing = std::exchange(observer, nullptr);
  if (observing == nullptr) {
    return;
  }
  (*observing)();
  observer = observing;
}

}  // namespace

void* operator new(std::size_t size) {
  observe();
  if (isCounting) {
    ++allocationCount;
  }
  void* memory = size <= greatestSize ? std::malloc(size > 0 ? size : 1) : nullptr;
  if (!memory) {
    throw std::bad_alloc();
  }
  return memory;
}

// A sanitizer has its own version of each of these operators and expects matching pairs, so all of them are defined
// here.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return operator new(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void* operator new[](std::size_t size) {
  return operator new(size);
}

void* operator new[](std::size_t size, const std::nothrow_t& nothrow) noexcept {
  return operator new(size, nothrow);
}

void operator delete(void* memory) noexcept {
  observe();
  std::free(memory);
}

void operator delete(void* memory, const std::nothrow_t&) noexcept {
  operator delete(memory);
}

void operator delete[](void* memory) noexcept {
  operator delete(memory);
}

void operator delete[](void* memory, std::size_t) noexcept {
  operator delete(memory);
}

void operator delete[](void* memory, const std::nothrow_t&) noexcept {
  operator delete(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
  operator delete(memory);
}

namespace QuorTests {

AllocationCount::AllocationCount() {
  allocationCount = 0;
  isCounting = true;
}

AllocationCount::~AllocationCount() {
  isCounting = false;
}

std::size_t AllocationCount::value() const {
  return allocationCount;
}

AllocationObserver::AllocationObserver(std::function<void()> observe) : _observe(std::move(observe)) {
  observer = &_observe;
}

AllocationObserver::~AllocationObserver() {
  observer = nullptr;
}

AllocationLimit::AllocationLimit(std::size_t size) {
  greatestSize = size;
}

AllocationLimit::~AllocationLimit() {
  greatestSize = kUnlimited;
}

}  // namespace QuorTests
