#pragma once

#include <QuorOsgUtils/FileCmd.h>
#include <QuorOsgUtils/FileManager.h>

#include <functional>
#include <string>
#include <utility>

namespace QuorTests {

/// The file manager of the process.
inline QuorOsgUtils::FileManager& manager() {
  return *QuorOsgUtils::FileManager::getInstance();
}

/// An application's command that calls any function and gives the test the views of its file. Reports its destruction.
class Work : public QuorOsgUtils::FileCmd {
 public:
  using Proxy = const QuorOsgUtils::FileProxy*;
  using Function = std::function<void(Proxy)>;

  Work(const std::string& file, Priority priority, Function function, std::function<void()> destroyed = {})
      : FileCmd(file, priority), _function(std::move(function)), _destroyed(std::move(destroyed)) {}
  ~Work() override {
    if (_destroyed) {
      _destroyed();
    }
  }

  void operator()(Proxy proxy, QuorOsgUtils::FileManager*) override { _function(proxy); }

  using FileCmd::map;
  using FileCmd::unmap;

 private:
  Function _function;
  std::function<void()> _destroyed;
};

}  // namespace QuorTests
