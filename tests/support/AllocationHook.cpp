#include "support/AllocationHook.h"

#include <cstdlib>
#include <limits>
#include <new>

namespace {

constexpr std::size_t kUnlimited = std::numeric_limits<std::size_t>::max();

thread_local bool isCounting = false;
thread_local std::size_t allocationCount = 0;
thread_local std::size_t greatestSize = kUnlimited;

}  // namespace

void* operator new(std::size_t size) {
  if (isCounting) {
    ++allocationCount;
  }
  void* memory = size <= greatestSize ? std::malloc(size > 0 ? size : 1) : nullptr;
  if (!memory) {
    throw std::bad_alloc();
  }
  return memory;
}

// A sanitizer brings every form of these operators itself, each of them matched with its own; so all stand here.
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
  std::free(memory);
}

void operator delete(void* memory, const std::nothrow_t&) noexcept {
  std::free(memory);
}

void operator delete[](void* memory) noexcept {
  std::free(memory);
}

void operator delete[](void* memory, std::size_t) noexcept {
  std::free(memory);
}

void operator delete[](void* memory, const std::nothrow_t&) noexcept {
  std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
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

AllocationLimit::AllocationLimit(std::size_t size) {
  greatestSize = size;
}

AllocationLimit::~AllocationLimit() {
  greatestSize = kUnlimited;
}

}  // namespace QuorTests
