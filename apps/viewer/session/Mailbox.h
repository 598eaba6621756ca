#pragma once

#include <deque>
#include <mutex>
#include <optional>
#include <utility>

namespace QuorViewer {

/// Hands things from threads that make them to one that uses them, in the order posted. All of it on any thread.
template <typename Letter>
class Mailbox {
 public:
  void post(Letter letter) {
    const std::lock_guard<std::mutex> held(_mutex);
    _letters.push_back(std::move(letter));
  }

  /// The oldest letter; nothing when there is none. Never waits for one.
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
