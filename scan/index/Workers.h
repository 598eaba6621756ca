#pragma once

#include <cstdint>
#include <functional>

namespace QuorViewer {

/// Calls `work(thread, number)` for each number from 0 on, less than `count`, on `threads` threads. The first exception
/// ends the others' loops and is thrown again.
void forEachOnThreads(unsigned threads, std::uint64_t count,
                      const std::function<void(unsigned thread, std::uint64_t number)>& work);

}  // namespace QuorViewer
