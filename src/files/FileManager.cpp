#include "files/FileManagerPrivate.h"
#include "files/FileProxyPrivate.h"
#include "files/ThreadNumber.h"
#include "files/platform/ProcessEnd.h"

#include <QuorOsgUtils/FileCmd.h>
#include <QuorOsgUtils/FileManager.h>

#include <osg/Notify>

#include <exception>
#include <system_error>

namespace QuorOsgUtils {

namespace {

void report(const FileCmd& cmd, const char* reason) {
  OSG_WARN << "A command on the file " << cmd.getFile() << " failed: " << reason << std::endl;
}

}  // namespace

FileManager* FileManager::getInstance() {
  static FileManager manager;
  return &manager;
}

FileManager::FileManager() : _data(new Private) {
  // Commands may outlive the manager, and they know the proxy.
  static FileProxy* const proxy = new FileProxy;
  _data->proxy = proxy;
  beforeProcessEnds([] { getInstance()->stopForGood(); });
}

FileManager::~FileManager() {
  if (stopForGood()) delete _data;
}

// Where a command ended the process, or waits for the thread that does, the worker goes on until the process is gone
// and finds everything as it knows it.
bool FileManager::stopForGood() {
  if (_data->onWorker() || _data->proxy->_data->misused) return false;
  stopWorker();
  return true;
}

int FileManager::memorySize() const {
  constexpr int kMemorySize = 16;
  return kMemorySize;
}

void FileManager::push(FileCmd* cmd) {
  if (cmd != nullptr) _data->queue.push(cmd);
}

void FileManager::startWorker() {
  if (_data->onWorker() || _data->worker) return;
  _data->queue.resume();
  try {
    _data->worker = std::make_unique<std::thread>([this] { work(); });
  } catch (const std::system_error& error) {
    OSG_WARN << "The worker of the file manager cannot be started: " << error.what() << std::endl;
  }
}

void FileManager::stopWorker() {
  if (_data->onWorker() || !_data->worker) return;
  _data->queue.interrupt();
  _data->worker->join();
  _data->worker.reset();
}

void FileManager::work() {
  _data->workerThread = currentThreadNumber();
  while (_data->queue.wait()) run();
}

void FileManager::run() {
  const std::uint32_t thread = _data->workerThread.load(std::memory_order_relaxed);
  FileCmd* const first = _data->queue.take();
  if (first == nullptr) return;
  for (FileCmd* cmd = first; cmd != nullptr; cmd = cmd->getNext()) runOne(*cmd, thread);
  if (first->getAutoDelete()) delete first;
}

void FileManager::runOne(FileCmd& cmd, std::uint32_t thread) {
  FileProxy::Private& proxy = *_data->proxy->_data;
  proxy.currentFile = _data->fileOf(cmd.getFile());
  proxy.thread.store(thread, std::memory_order_relaxed);
  try {
    cmd(_data->proxy, this);
  } catch (const std::exception& error) {
    report(cmd, error.what());
  } catch (...) {
    report(cmd, "something was thrown that is no std::exception");
  }
  proxy.currentFile = nullptr;
  proxy.thread.store(FileProxy::Private::kNoThread, std::memory_order_relaxed);
}

}  // namespace QuorOsgUtils
