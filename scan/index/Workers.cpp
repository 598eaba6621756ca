#include "scan/index/Workers.h"

#include <atomic>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace QuorViewer {

void forEachOnThreads(unsigned threads, std::uint64_t count,
                      const std::function<void(unsigned thread, std::uint64_t number)>& work) {
  std::atomic<std::uint64_t> next{0};
  std::mutex mutex;
  std::exception_ptr failure;
  const auto loop = [&](unsigned thread) {
    try {
      for (std::uint64_t number = next++; number < count; number = next++) {
        work(thread, number);
      }
    } catch (...) {
      const std::lock_guard<std::mutex> lock(mutex);
      failure = failure ? failure : std::current_exception();
      next = count;
    }
  };
  std::vector<std::thread> others;
  try {
    for (unsigned thread = 1; thread < threads; ++thread) {
      others.emplace_back(loop, thread);
    }
  } catch (const std::system_error&) {  // the system allows no more: those that run do all the work
  }
  loop(0);
  for (std::thread& other : others) {
    other.join();
  }
  if (failure) {
    std::rethrow_exception(failure);
  }
}

}  // namespace QuorViewer
