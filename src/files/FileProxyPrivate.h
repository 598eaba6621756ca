#pragma once

#include <QuorOsgUtils/FileManager.h>
#include <QuorOsgUtils/FilePtr.h>

#include <osg/observer_ptr>

#include <atomic>
#include <cstdint>

namespace QuorOsgUtils {

/// The current file and thread of the proxy. Only the atomic members are used on threads other than the worker.
struct FileProxy::Private {
  static constexpr std::uint32_t kNoThread = ~0U;

  osg::observer_ptr<FilePtr> currentFile;
  std::atomic<std::uint32_t> thread{0};
  /// Set when a misuse ends the process: the manager then does not wait for the running command.
  std::atomic<bool> misused{false};
};

}  // namespace QuorOsgUtils
