#pragma once

#include <QuorOsgUtils/Export.h>

#include <atomic>
#include <cstdint>

namespace QuorOsgUtils {

/// A process-wide thread count and two flags that can be set but not cleared, for applications that end all their
/// threads together.
///
///     ThreadCount::getInstance()->ref();  // a thread counts itself in
///     while (!ThreadCount::getInstance()->isStop()) work();
///     ThreadCount::getInstance()->unref();  // and out
///
/// The library itself uses neither the count nor the signals, and prescribes no protocol for them.
///
/// Threads: every operation may be called from any thread, and none blocks. What a thread wrote before setting a signal
/// is visible to a thread that has read the signal as set.
class QUOR_OSG_UTILS_EXPORT ThreadCount {
 public:
  /// The only instance, created by the first call and destroyed at process exit. It starts with a count of 0 and both
  /// signals false.
  static ThreadCount* getInstance();

  ThreadCount(const ThreadCount&) = delete;
  ThreadCount& operator=(const ThreadCount&) = delete;

  /// Adds one to the count.
  void ref();

  /// Subtracts one from the count, which may go below zero.
  void unref();

  /// The current count: calls of `ref` minus calls of `unref`.
  int value();

  /// Asks the threads to finish. It cannot be reset.
  void stop();

  /// Whether `stop` has been called.
  bool isStop();

  /// Sets the second flag, whose meaning the application defines. It cannot be cleared.
  void ok();

  /// Whether `ok` has been called.
  bool isOK();

 private:
  ThreadCount();
  ~ThreadCount() = default;

  std::atomic<std::int32_t> _count;
  std::atomic<bool> _stop;
  std::atomic<bool> _ok;
};

}  // namespace QuorOsgUtils
