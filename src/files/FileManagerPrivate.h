#pragma once

#include "files/CommandQueue.h"
#include "files/FileRegistry.h"
#include "files/ThreadNumber.h"

#include <QuorOsgUtils/FileManager.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <thread>

namespace QuorOsgUtils {

// One of its kind in a process, so the order in which the members are released goes before the room they take.
struct FileManager::Private {  // NOLINT(clang-analyzer-optin.performance.Padding)
  bool onWorker() const { return workerThread == currentThreadNumber(); }

  /// The file of a name, which is known from then on. Most commands are on the file of the one before.
  const osg::ref_ptr<FilePtr>& fileOf(const std::string& name) {
    if (latest == nullptr || latest->first != name) latest = &*registry.try_emplace(name).first;
    return latest->second;
  }

  FileRegistry registry;                       // touched on the worker only; released last, which closes files
  FileRegistry::value_type* latest = nullptr;  // in the registry, from which nothing is taken out
  CommandQueue queue;
  std::unique_ptr<std::thread> worker;         // not for the worker itself, which may run before this is set
  std::atomic<std::uint32_t> workerThread{0};  // its number, or that of the worker before it
  FileProxy* proxy = nullptr;
  std::map<std::string, std::intptr_t> secondTable;
};

}  // namespace QuorOsgUtils
