#pragma once

#include <deque>
#include <mutex>
#include <optional>
#include <utility>

namespace QuorViewer {

/// Passes results from the threads that produce them to the one that uses them, in the order pushed. All methods may be
/// called on any thread.
template <typename Result>
class ResultQueue {
 public:
  void push(Result result) {
    const std::lock_guard<std::mutex> held(_mutex);
    _results.push_back(std::move(result));
  }

  /// The oldest result; nothing if the queue is empty. Never waits for one.
  std::optional<Result> tryPop() {
    const std::lock_guard<std::mutex> held(_mutex);
    if (_results.empty()) {
      return std::nullopt;
    }
    std::optional<Result> result(std::move(_results.front()));
    _results.pop_front();
    return result;
  }

 private:
  std::mutex _mutex;
  std::deque<Result> _results;
};

}  // namespace QuorViewer
