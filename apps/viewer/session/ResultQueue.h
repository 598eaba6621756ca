#pragma once

#include <list>
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
    std::list<Result> one;
    one.push_back(std::move(result));
    push(std::move(one));
  }
  /// Pushes results that have their memory already: this cannot fail.
  void push(std::list<Result>&& results) noexcept {
    const std::lock_guard<std::mutex> held(_mutex);
    _results.splice(_results.end(), results);
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
  std::list<Result> _results;
};

}  // namespace QuorViewer
