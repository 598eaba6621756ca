#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace QuorTests {

/// A program that this one has started, whose standard output and error streams come through one pipe, with lines ended
/// by a line feed alone.
class ChildProgram {
 public:
  ChildProgram(const std::string& program, const std::vector<std::string>& arguments);
  ChildProgram(const ChildProgram&) = delete;
  ChildProgram& operator=(const ChildProgram&) = delete;
  /// Ends the program if it still runs.
  ~ChildProgram();

  /// Appends what has been written since, after waiting until there is something. False when nothing came in time.
  bool readSome(std::string& output, std::chrono::milliseconds limit);
  /// Its exit status, once it has ended; -1: it was ended by a fault or from outside.
  std::optional<int> status();

 private:
  struct Private;
  std::unique_ptr<Private> _data;
};

}  // namespace QuorTests
