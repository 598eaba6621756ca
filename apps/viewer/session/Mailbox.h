#pragma once

#include <deque>
#include <mutex>
#include <optional>
#include <utility>

namespace QuorViewer {

/// A result queue: passes objects from the threads that make them to the one that uses them, in the order posted. All
/// methods may be called on any thread.
template <typename Letter>
class Mailbox {
 public:
  void post(Letter letter) {
    const std::lock_guard<std::mutex> held(_mutex);
    _letters.push_back(std::move(letter));
  }

  /// The oldest object; nothing if the queue is empty. Never blocks.
  std::optional<Letter> take() {
    const std::lock_guard<std::mutex> held(_mutex);
    if (_letters.empty()) return std::nullopt;
    std::optional<Letter> letter(std::move(_letters.front()));
    _letters.pop_front();
    return letter;
  }

 private:
  std::mutex _mutex;
  std::deque<Letter> _letters;
};

}  // namespace QuorViewer
