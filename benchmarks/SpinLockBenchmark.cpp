#include "benchmarks/Comparison.h"
#include "benchmarks/Program.h"
#include "support/OnThreads.h"

#include <QuorOsgUtils/SpinLock.h>

#include <benchmark/benchmark.h>
#include <pthread.h>

#include <atomic>
#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

#if defined(QUOR_PEER_TBB_TBB)
#  include <oneapi/tbb/spin_mutex.h>
#endif

namespace {

using QuorBenchmarks::Variant;

class TestAndSet {
 public:
  void lock() {
    while (_flag.test_and_set(std::memory_order_acquire)) {
    }
  }
  void unlock() { _flag.clear(std::memory_order_release); }

 private:
  std::atomic_flag _flag = ATOMIC_FLAG_INIT;
};

class PthreadSpinLock {
 public:
  PthreadSpinLock() { ::pthread_spin_init(&_lock, PTHREAD_PROCESS_PRIVATE); }
  PthreadSpinLock(const PthreadSpinLock&) = delete;
  PthreadSpinLock& operator=(const PthreadSpinLock&) = delete;
  ~PthreadSpinLock() { ::pthread_spin_destroy(&_lock); }
  void lock() { ::pthread_spin_lock(&_lock); }
  void unlock() { ::pthread_spin_unlock(&_lock); }

 private:
  pthread_spinlock_t _lock{};
};

template <typename Lock>
Variant variant(const std::string& name, std::size_t threads, double goal = 0.0) {
  const std::size_t each = 400000 / threads;
  const auto work = [threads, each] {
    Lock lock;
    std::size_t count = 0;
    QuorTests::onThreads(threads, [&lock, &count, each](std::size_t) {
      for (std::size_t i = 0; i < each; ++i) {
        const std::lock_guard<Lock> held(lock);
        benchmark::DoNotOptimize(++count);
      }
    });
  };
  return {name, work, {}, each * threads, goal};
}

void criticalSection(benchmark::State& state) {
  const auto threads = static_cast<std::size_t>(state.range(0));
  std::vector<Variant> peers = {variant<TestAndSet>("bare test-and-set", threads, 1.05),
                                variant<std::mutex>("std::mutex", threads),
                                variant<PthreadSpinLock>("pthread_spinlock_t", threads)};
#if defined(QUOR_PEER_TBB_TBB)
  peers.push_back(variant<tbb::spin_mutex>("oneTBB spin_mutex", threads));
#endif
  QuorBenchmarks::compare(state, variant<QuorOsgUtils::SpinLock>("SpinLock", threads), peers);
}

BENCHMARK(criticalSection)->Arg(1)->Arg(2)->Arg(8)->ArgName("threads")->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace

const QuorBenchmarks::Program QuorBenchmarks::program = {
    "Spin lock",
    "Threads that do nothing but increment a shared number under a lock; times are for one such section. The bare "
    "test-and-set is compiled into the loop. A ratio above 1 to `std::mutex` means that a mutex is the better choice "
    "there: with more threads than processors, a thread may lose its processor while it holds the lock, and the "
    "others then wait in vain."};
