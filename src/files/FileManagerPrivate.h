#pragma once

#include "files/CommandQueue.h"
#include "files/FileRegistry.h"

#include <QuorOsgUtils/FileManager.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <thread>

namespace QuorOsgUtils {

struct FileManager::Private {
  FileRegistry registry;  // touched on the worker only
  CommandQueue queue;
  std::unique_ptr<std::thread> worker;
  FileProxy* proxy = nullptr;
  std::map<std::string, std::intptr_t> secondTable;
  /// Set when the process ends in the middle of a command, which then is left where it is.
  std::atomic<bool> abandoned{false};
};

}  // namespace QuorOsgUtils
