#pragma once

#include <atomic>
#include <cstddef>
#include <thread>
#include <vector>

namespace QuorTests {

/// Runs work(0) to work(count - 1), each on its own thread, all started as close together as possible, and waits.
template <typename Work>
void onThreads(std::size_t count, Work work) {
  std::atomic<bool> go{false};
  std::vector<std::thread> running;
  for (std::size_t i = 0; i < count; ++i) {
    running.emplace_back([&go, work, i] {
      while (!go) {
      }
      work(i);
    });
  }
  go = true;
  for (std::thread& thread : running) {
    thread.join();
  }
}

}  // namespace QuorTests
