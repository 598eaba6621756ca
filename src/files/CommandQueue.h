#pragma once

#include <QuorOsgUtils/FileCmd.h>
#include <QuorOsgUtils/SpinLock.h>

#include <osg/ref_ptr>

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>

namespace QuorOsgUtils {

/// Commands waiting for their turn: three queues, the first of which that is not empty goes first. Any thread pushes,
/// one takes and waits. Commands still queued at the end are not deleted.
class CommandQueue {
 public:
  /// False for a priority that has no queue.
  bool push(FileCmd* cmd);

  /// The command that is next, null when there is none.
  FileCmd* take();

  /// Sleeps until a command is queued (true), or until `interrupt` was called and none is (false).
  bool wait();
  void interrupt();
  /// Takes an interruption back.
  void resume();

 private:
  void wake();

  std::array<std::deque<FileCmd*>, 3> _queues;
  osg::ref_ptr<SpinLock> _lock = new SpinLock;  // guards the queues
  // The taker says that it is about to sleep before it looks for commands a last time, and a pusher counts its command
  // before it looks for a sleeper; in the one order that all threads see, one of the two sees the other. So a push to a
  // taker at work stays clear of the mutex.
  std::atomic<std::size_t> _count{0};
  std::atomic<bool> _sleeping{false};
  std::mutex _mutex;
  std::condition_variable _awake;
  bool _interrupted = false;
};

}  // namespace QuorOsgUtils
