#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <string>

namespace QuorBenchmarks {

/// An existing file, opened by the system call for reading and writing. Its number is -1 if that failed.
class Descriptor {
 public:
  explicit Descriptor(const std::string& path) : _number(::open(path.c_str(), O_RDWR | O_CLOEXEC)) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() { ::close(_number); }

  int number() const { return _number; }

 private:
  int _number;
};

}  // namespace QuorBenchmarks
