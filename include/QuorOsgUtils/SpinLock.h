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
/// Ownership: reference-counted like every OSG object, so that several owners may share one through `osg::ref_ptr`; it
/// may also be a member by value or a base class.
///
/// Threads: every operation may be called from any thread. What a thread wrote before `unlock` is visible to the thread
/// whose `lock` follows it. Waiting keeps the processor busy and never enters the kernel: no yield, no sleep, no
/// time-out. The lock is unfair, and it is not re-entrant: a thread that locks it twice deadlocks.
/// The owner is not recorded, so any thread may unlock. All of this is fixed by the interface.
class QUOR_OSG_UTILS_EXPORT SpinLock : public osg::Referenced {
 public:
  /// A free lock.
  SpinLock();
  SpinLock(const SpinLock&) = delete;
  SpinLock& operator=(const SpinLock&) = delete;
  ~SpinLock() override;

  /// Waits until the lock is free and takes it.
  void lock();

  /// Frees the lock, whichever thread holds it. A free lock stays free.
  void unlock();

 private:
  /// Bit 0 is set while the lock is held.
  std::atomic<std::int32_t> _lockWord;
};

}  // namespace QuorOsgUtils
