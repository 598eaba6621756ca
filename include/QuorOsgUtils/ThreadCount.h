#pragma once

#include <QuorOsgUtils/Export.h>

#include <atomic>
#include <cstdint>

namespace QuorOsgUtils {

/// A process-wide count of threads with two one-way signals, for a host that wants its threads to finish together.
///
///     ThreadCount::getInstance()->ref();  // a thread counts itself in
///     while (!ThreadCount::getInstance()->isStop()) work();
///     ThreadCount::getInstance()->unref();  // and out
///
/// The library itself neither counts its callers nor looks at the signals, and prescribes no protocol around them.
///
/// Threads: every operation may be called from any thread, and none blocks. What a thread wrote before it gave a signal
/// is visible to a thread that has seen the signal.
class QUOR_OSG_UTILS_EXPORT ThreadCount {
 public:
  /// The one instance, made by the first call and destroyed when the process ends. It starts with a count of 0 and
  /// both signals false.
  static ThreadCount* getInstance();

  ThreadCount(const ThreadCount&) = delete;
  ThreadCount& operator=(const ThreadCount&) = delete;

  /// Adds one to the count.
  void ref();

  /// Takes one from the count. Nothing stops it from going below zero.
  void unref();

  /// The count as it stands: calls of `ref` less calls of `unref`.
  int value();

  /// Asks the threads to finish. Nothing takes this back for the life of the process.
  void stop();

  /// Whether `stop` has been called.
  bool isStop();

  /// Gives the one-time signal. Nothing takes this back for the life of the process.
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
