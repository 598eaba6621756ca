#pragma once

#include <QuorOsgUtils/FileManager.h>
#include <QuorOsgUtils/FilePtr.h>

#include <osg/observer_ptr>

#include <atomic>
#include <cstdint>

namespace QuorOsgUtils {

/// What the proxy is bound to. Only the atomic members are used elsewhere than on the worker.
struct FileProxy::Private {
  static constexpr std::uint32_t kNoThread = ~0u;

  osg::observer_ptr<FilePtr> currentFile;
  std::atomic<std::uint32_t> thread{0};
  /// Set once a misuse ends the process: the command at hand, if any, is then left where it is.
  std::atomic<bool> misused{false};
};

}  // namespace QuorOsgUtils
