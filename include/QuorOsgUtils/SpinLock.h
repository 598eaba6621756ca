#pragma once

#include <QuorOsgUtils/Export.h>

#include <osg/Referenced>

#include <atomic>
#include <cstdint>

namespace QuorOsgUtils {

/// A busy-wait lock for critical sections of a few instructions.
///
///     std::lock_guard<SpinLock> guard(lock);  // or lock.lock(); ... lock.unlock();
///
/// Ownership: reference-counted like every scene-graph object, so that several owners may share one through
/// `osg::ref_ptr`; it may also stand by value as a member or a base.
///
/// Threads: every operation may be called from any thread. What a thread wrote before `unlock` is visible to the thread
/// whose `lock` follows it. Waiting burns the processor and never enters the kernel: no yield, no sleep, no time-out.
/// The lock is unfair, and it is not re-entrant: a thread that locks twice without unlocking waits for ever. Nobody
/// records the owner, so any thread may unlock.
class QUOR_OSG_UTILS_EXPORT SpinLock : public osg::Referenced {
 public:
  /// A free lock.
  SpinLock();
  SpinLock(const SpinLock&) = delete;
  SpinLock& operator=(const SpinLock&) = delete;
  ~SpinLock() override;

  /// Waits until the lock is free and takes it.
  void lock();

  /// Frees the lock, whoever holds it. A free lock stays free.
  void unlock();

 private:
  /// Bit 0 is set while the lock is held.
  std::atomic<std::int32_t> _lockWord;
};

}  // namespace QuorOsgUtils
