#pragma once

#include <QuorOsgUtils/FileManager.h>
#include <QuorOsgUtils/FilePtr.h>

#include <osg/observer_ptr>

#include <atomic>
#include <cstdint>

namespace QuorOsgUtils {

/// What the proxy is bound to. Only the thread number is read elsewhere than on the worker.
struct FileProxy::Private {
  static constexpr std::uint32_t kNoThread = ~0u;

  osg::observer_ptr<FilePtr> currentFile;
  std::atomic<std::uint32_t> thread{0};
};

}  // namespace QuorOsgUtils
