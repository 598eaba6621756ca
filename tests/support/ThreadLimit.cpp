#include "support/ThreadLimit.h"

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>

namespace QuorTests {
namespace {

std::atomic<bool> isReached{false};

}  // namespace

ThreadLimit::ThreadLimit() {
  isReached = true;
}

ThreadLimit::~ThreadLimit() {
  isReached = false;
}

}  // namespace QuorTests

// A program's own definition takes precedence over the C library's.
extern "C" __attribute__((visibility("default"))) int pthread_create(pthread_t* thread,
                                                                     const pthread_attr_t* attributes,
                                                                     void* (*run)(void*), void* argument) {
  if (QuorTests::isReached) {
    return EAGAIN;
  }
  static const auto create = reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
  return create(thread, attributes, run, argument);
}
