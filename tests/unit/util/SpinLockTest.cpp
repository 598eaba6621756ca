#include <QuorOsgUtils/SpinLock.h>

#include <osg/ref_ptr>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <type_traits>
#include <vector>

using QuorOsgUtils::SpinLock;

namespace {

/// A thread that takes the lock and keeps it; tells whether it got it in time.
class Contender {
 public:
  explicit Contender(SpinLock& lock)
      : _thread([this, &lock] {
          lock.lock();
          _holds = true;
        }) {}
  ~Contender() { _thread.join(); }

  bool holdsWithin(std::chrono::milliseconds time) const {
    const auto end = std::chrono::steady_clock::now() + time;
    while (!_holds && std::chrono::steady_clock::now() < end) {
      std::this_thread::yield();
    }
    return _holds;
  }

 private:
  std::atomic<bool> _holds{false};
  std::thread _thread;
};

constexpr std::chrono::milliseconds kMoment(30);
constexpr std::chrono::seconds kLong(60);

}  // namespace

TEST(SpinLock, aNewLockIsFree) {
  SpinLock lock;
  lock.lock();
  lock.unlock();
}

TEST(SpinLock, aHeldLockKeepsAnotherThreadWaitingUntilItIsUnlocked) {
  SpinLock lock;
  lock.lock();
  Contender contender(lock);
  EXPECT_FALSE(contender.holdsWithin(kMoment));
  lock.unlock();
  EXPECT_TRUE(contender.holdsWithin(kLong));
}

TEST(SpinLock, unlockingAFreeLockLeavesItFreeAndLockingSucceedsAtOnce) {
  SpinLock lock;
  lock.unlock();
  lock.unlock();
  lock.lock();
  Contender contender(lock);
  EXPECT_FALSE(contender.holdsWithin(kMoment)) << "an unlock in advance must not let two threads in";
  lock.unlock();
  EXPECT_TRUE(contender.holdsWithin(kLong));
}

TEST(SpinLock, anyThreadMayUnlock) {
  SpinLock lock;
  lock.lock();
  std::thread([&lock] { lock.unlock(); }).join();
  lock.lock();
  lock.unlock();
}

TEST(SpinLock, onlyOneThreadAtATimeIsInsideAndSeesWhatTheOthersWrote) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 2000;
  SpinLock lock;
  long plainCounter = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < kRounds; ++round) {
        const std::lock_guard<SpinLock> guard(lock);
        ++plainCounter;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(plainCounter, static_cast<long>(kThreads) * kRounds);
}

TEST(SpinLock, isSharedThroughReferencePointers) {
  static_assert(std::is_base_of_v<osg::Referenced, SpinLock>);
  static_assert(std::has_virtual_destructor_v<SpinLock>);
  static_assert(!std::is_copy_constructible_v<SpinLock>);
  const osg::ref_ptr<SpinLock> lock = new SpinLock;
  const osg::ref_ptr<SpinLock> other = lock;
  EXPECT_EQ(lock->referenceCount(), 2);
  lock->lock();
  other->unlock();
}
