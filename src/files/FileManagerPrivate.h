#pragma once

#include "files/CommandQueue.h"
#include "files/ThreadNumber.h"

#include <QuorOsgUtils/FileManager.h>
#include <QuorOsgUtils/FilePtr.h>
#include <QuorOsgUtils/SpinLock.h>

#include <osg/ref_ptr>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <thread>

namespace QuorOsgUtils {

/// Files by the names that commands use. A name without a file was used by a command but never registered.
using FileRegistry = std::map<std::string, osg::ref_ptr<FilePtr>>;

// There is one per process, so the order in which the members are released matters more than their padding.
struct FileManager::Private {  // NOLINT(clang-analyzer-optin.performance.Padding)
  bool onWorker() const { return workerThread == currentThreadNumber(); }

  /// The file of a name, which is then registered, with null if it is new. Caches the latest entry: most commands use
  /// the same file as the one before.
  const osg::ref_ptr<FilePtr>& fileOf(const std::string& name) {
    if (latest == nullptr || latest->first != name) {
      latest = &*registry.try_emplace(name).first;
    }
    return latest->second;
  }

  FileRegistry registry;  // used only by the thread that runs commands; destroyed last, which closes files
  CommandLists queues;
  std::unique_ptr<std::thread> worker;  // the worker itself must not use it: it may run before this is set
  FileProxy* proxy = nullptr;
  osg::ref_ptr<SpinLock> queueLock = new SpinLock;
  std::map<std::string, std::intptr_t> secondTable;  // always empty; fixed by the interface

  CommandQueue queue{queues, *queueLock};
  FileRegistry::value_type* latest = nullptr;  // in the registry, which never loses an entry
  std::atomic<std::uint32_t> workerThread{0};  // its number, or that of the last worker
};

}  // namespace QuorOsgUtils
