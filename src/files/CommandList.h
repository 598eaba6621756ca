#pragma once

#include <QuorOsgUtils/FileCmd.h>

#include <array>
#include <cassert>
#include <cstddef>
#include <list>
#include <utility>

namespace QuorOsgUtils {

/// A first-in, first-out list of commands, in blocks that the caller allocates. Appending takes constant time: no block
/// is ever copied or grown.
class CommandList {
 public:
  struct Block {
    std::array<FileCmd*, 61> cmds;  // so a list node takes 512 bytes
    std::size_t end = 0;
  };
  using Blocks = std::list<Block>;

  bool empty() const { return _blocks.empty() || _first == _blocks.front().end; }
  /// Moves the block in `fresh` into this list if the last one is full; false if that is needed and `fresh` is empty.
  [[nodiscard]] bool append(FileCmd* cmd, Blocks& fresh);
  /// The list must not be empty. Frees a block once all of its commands are removed, unless it is the last.
  [[nodiscard]] FileCmd* removeFront();
  void swap(CommandList& other) noexcept;

 private:
  Blocks _blocks;
  std::size_t _first = 0;  // in the first block
};

/// By priority.
using CommandLists = std::array<CommandList, 3>;

inline bool CommandList::append(FileCmd* cmd, Blocks& fresh) {
  const bool isFull = _blocks.empty() || _blocks.back().end == _blocks.back().cmds.size();
  if (isFull && fresh.empty()) {
    return false;
  }
  if (isFull) {
    _blocks.splice(_blocks.end(), fresh, fresh.begin());
  }
  Block& last = _blocks.back();
  last.cmds[last.end++] = cmd;
  return true;
}

inline FileCmd* CommandList::removeFront() {
  assert(!empty());
  Block& front = _blocks.front();
  FileCmd* const cmd = front.cmds[_first++];
  if (_first < front.end) {
    return cmd;
  }
  _first = 0;
  if (_blocks.size() > 1) {
    _blocks.pop_front();
  } else {
    front.end = 0;
  }
  return cmd;
}

inline void CommandList::swap(CommandList& other) noexcept {
  _blocks.swap(other._blocks);
  std::swap(_first, other._first);
}

}  // namespace QuorOsgUtils
