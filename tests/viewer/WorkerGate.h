#pragma once

#include <QuorOsgUtils/FileCmd.h>
#include <QuorOsgUtils/FileManager.h>

#include <future>
#include <utility>

namespace QuorTests {

/// Blocks the file manager's worker until it is opened or destroyed. Commands of the same priority that were pushed
/// before run first.
class WorkerGate {
 public:
  explicit WorkerGate(QuorOsgUtils::FileCmd::Priority priority) {
    QuorOsgUtils::FileManager::getInstance()->push(new Wait(priority, _opened.get_future()));
  }
  void open() { _opened.set_value(); }

 private:
  class Wait : public QuorOsgUtils::FileCmd {
   public:
    Wait(Priority priority, std::future<void> opened) : FileCmd("gate", priority), _opened(std::move(opened)) {
      setAutoDelete(true);
    }
    void operator()(const QuorOsgUtils::FileProxy* /*proxy*/, QuorOsgUtils::FileManager* /*manager*/) override {
      _opened.wait();
    }

   private:
    std::future<void> _opened;
  };

  std::promise<void> _opened;
};

}  // namespace QuorTests
