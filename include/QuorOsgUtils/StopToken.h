#pragma once

#include <atomic>
#include <memory>
#include <utility>

namespace QuorOsgUtils {

/// Whether work should stop: the reading side of a `StopSource`, given to the work. A default-constructed token never
/// asks to stop. Copies belong to the same source and may be used after it has been destroyed.
/// Threads: any number of threads may use copies, and the source, at the same time.
class StopToken {
 public:
  /// Never asks to stop.
  StopToken() = default;

  /// Whether a stop was requested at the source.
  bool stopRequested() const { return _stop && _stop->load(std::memory_order_acquire); }

 private:
  friend class StopSource;
  explicit StopToken(std::shared_ptr<const std::atomic<bool>> stop) : _stop(std::move(stop)) {}

  std::shared_ptr<const std::atomic<bool>> _stop;
};

/// Asks work to stop: the writing side. A request cannot be withdrawn; use a new source for new work. Copies share one
/// request. Destroying the source requests nothing.
///
///     QuorOsgUtils::StopSource stop;
///     jobs.submit("town.las", QuorOsgUtils::FileCmd::Normal, read, stop.token());
///     ...
///     stop.requestStop();
class StopSource {
 public:
  /// Asks all copies of the token to stop.
  void requestStop() { _stop->store(true, std::memory_order_release); }
  /// Whether a stop was requested.
  bool stopRequested() const { return _stop->load(std::memory_order_acquire); }
  /// A token of this source.
  StopToken token() const { return StopToken(_stop); }

 private:
  std::shared_ptr<std::atomic<bool>> _stop = std::make_shared<std::atomic<bool>>(false);
};

}  // namespace QuorOsgUtils
