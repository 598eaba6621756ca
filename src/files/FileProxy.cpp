#include "files/FileProxyPrivate.h"
#include "files/ThreadNumber.h"

#include <osg/Notify>

#include <cstdlib>

namespace QuorOsgUtils {

namespace {

// "该方法运行线程不合法" in GBK.
constexpr const char* kForeignThread =
    "\xB8\xC3\xB7\xBD\xB7\xA8\xD4\xCB\xD0\xD0\xCF\xDF\xB3\xCC\xB2\xBB\xBA\xCF\xB7\xA8";

}  // namespace

FileProxy::FileProxy() : _data(std::make_unique<Private>()) {}

FileProxy::~FileProxy() = default;

void* FileProxy::map(std::int64_t offset, std::int64_t size) const {
  _checkThread();
  osg::ref_ptr<FilePtr> file;
  return _data->currentFile.lock(file) ? file->map(offset, size) : nullptr;
}

void FileProxy::unmap(void* p) const {
  _checkThread();
  osg::ref_ptr<FilePtr> file;
  if (_data->currentFile.lock(file)) {
    file->unmap(p);
  }
}

// The current command may be waiting for this thread, so process exit must not wait for the worker. The text and the
// exit status are fixed by the interface.
void FileProxy::_checkThread() const {
  if (_data->thread == currentThreadNumber()) {
    return;
  }
  if (osg::isNotifyEnabled(osg::DEBUG_INFO)) {
    osg::notify(osg::DEBUG_INFO) << kForeignThread << std::endl;
  }
  _data->misused = true;
  std::exit(EXIT_FAILURE);
}

}  // namespace QuorOsgUtils
