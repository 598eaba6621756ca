#include "scan/index/TemporaryName.h"

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <random>
#include <system_error>

namespace QuorViewer {

std::string temporaryNameFor(const std::string& path) {
  static std::atomic<std::uint64_t> count{std::random_device()()};
  const std::uint64_t number = std::uint64_t{std::random_device()()} << 32U ^ count++;
  return path + "." + std::to_string(number) + ".part";
}

std::string systemReason() {
  return errno != 0 ? std::generic_category().message(errno) : std::string("the system gives no reason");
}

}  // namespace QuorViewer
