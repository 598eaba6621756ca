#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace QuorTests {

/// A program started by this one. Its standard output and error streams come through one pipe, with lines ended by a
/// line feed alone.
class ChildProgram {
 public:
  ChildProgram(const std::string& program, const std::vector<std::string>& arguments);
  ChildProgram(const ChildProgram&) = delete;
  ChildProgram& operator=(const ChildProgram&) = delete;
  /// Ends the program if it still runs.
  ~ChildProgram();

  /// Waits for new output and appends it. False if none came in time.
  bool readSome(std::string& output, std::chrono::milliseconds limit);
  /// The exit status once the program has ended; -1 if it was ended by a fault or from outside.
  std::optional<int> status();
  /// The time that its threads have kept processors busy so far; zero after the end.
  std::chrono::nanoseconds processorTime() const;
  /// Whether one of its threads uses or waits for a processor. Always false on Windows.
  bool isRunnable() const;

 private:
  struct Private;
  std::unique_ptr<Private> _data;
};

}  // namespace QuorTests
