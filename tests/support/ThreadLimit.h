#pragma once

namespace QuorTests {

/// During its lifetime, the process's calls of the system's `pthread_create`, including the library's, fail as they do
/// at the process's limit of threads.
class ThreadLimit {
 public:
  ThreadLimit();
  ThreadLimit(const ThreadLimit&) = delete;
  ThreadLimit& operator=(const ThreadLimit&) = delete;
  ~ThreadLimit();
};

}  // namespace QuorTests
