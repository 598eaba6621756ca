#include "files/FileManagerPrivate.h"
#include "files/FileProxyPrivate.h"
#include "files/ThreadNumber.h"
#include "files/platform/ProcessEnd.h"

#include <QuorOsgUtils/FileCmd.h>
#include <QuorOsgUtils/FileManager.h>

#include <osg/Notify>

#include <exception>
#include <mutex>
#include <new>
#include <system_error>

namespace QuorOsgUtils {

namespace {

// Guards the worker slot. Never destroyed: a thread may still unlock it after the manager has been destroyed.
std::mutex& workerMutex() {
  static auto* const mutex = new std::mutex;
  return *mutex;
}

// If memory is exhausted, the message may be lost.
void report(const FileCmd& cmd, const char* event, const char* reason) noexcept {
  try {
    OSG_WARN << "A command on the file " << cmd.getFile() << ' ' << event << ": " << reason << std::endl;
  } catch (...) {
    return;
  }
}

}  // namespace

FileManager* FileManager::getInstance() {
  static FileManager manager;
  return &manager;
}

FileManager::FileManager() : _data(new Private) {
  // Never deleted: commands may outlive the manager and use the proxy.
  static FileProxy* const proxy = new FileProxy;
  _data->proxy = proxy;
  beforeProcessEnds([] { getInstance()->_stopForGood(); });
}

FileManager::~FileManager() {
  if (_stopForGood()) {
    delete _data;
  }
}

// What the queued commands use may be destroyed already, so they are not run. The worker cannot be joined if its
// command called `exit` or waits for the thread that did. Its data is then never released.
bool FileManager::_stopForGood() {
  _data->queue.abandon();
  if (_data->onWorker()) {
    return false;
  }
  if (_data->proxy->_data->misused) {
    // Without waiting: another thread may be joining the worker.
    const std::unique_lock<std::mutex> held(workerMutex(), std::try_to_lock);
    if (held && _data->worker && _data->worker->joinable()) {
      _data->worker->detach();
    }
    return false;
  }
  _joinWorker();
  return true;
}

int FileManager::memorySize() const {
  constexpr int kMemorySize = 16;
  return kMemorySize;
}

void FileManager::push(FileCmd* cmd) {
  if (cmd != nullptr && !_tryPush(*cmd)) {
    report(*cmd, "was not queued", std::bad_alloc().what());
  }
}

bool FileManager::_tryPush(FileCmd& cmd) {
  try {
    _data->queue.push(&cmd);
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

void FileManager::startWorker() {
  if (const std::error_code error = _tryStartWorker()) {
    OSG_WARN << "The worker of the file manager cannot be started: " << error.message() << std::endl;
  }
}

std::error_code FileManager::_tryStartWorker() {
  if (_runsCommandHere()) {
    return {};
  }
  const std::lock_guard<std::mutex> held(workerMutex());
  if (_data->worker) {
    return {};
  }
  _data->queue.resume();
  try {
    _data->worker = std::make_unique<std::thread>([this] { _work(); });
  } catch (const std::system_error& error) {
    return error.code();
  } catch (const std::bad_alloc&) {
    return std::make_error_code(std::errc::not_enough_memory);
  }
  return {};
}

void FileManager::stopWorker() {
  if (_runsCommandHere()) {
    return;
  }
  _data->queue.finish();
  _joinWorker();
}

bool FileManager::_runsCommandHere() const {
  return _data->onWorker() || _data->proxy->_data->thread == currentThreadNumber();
}

// Process exit may call this while another thread is in `stopWorker`.
void FileManager::_joinWorker() {
  const std::lock_guard<std::mutex> held(workerMutex());
  if (!_data->worker) {
    return;
  }
  _data->worker->join();
  _data->worker.reset();
}

void FileManager::_work() {
  _data->workerThread = currentThreadNumber();
  while (_data->queue.wait()) {
    run();
  }
}

void FileManager::run() {
  const std::uint32_t thread = currentThreadNumber();
  FileCmd* const first = _data->queue.take();
  if (first == nullptr) {
    return;
  }
  for (FileCmd* cmd = first; cmd != nullptr; cmd = cmd->getNext()) {
    _runOne(*cmd, thread);
  }
  if (first->getAutoDelete()) {
    delete first;
  }
}

void FileManager::_runOne(FileCmd& cmd, std::uint32_t thread) {
  FileProxy::Private& proxy = *_data->proxy->_data;
  try {
    proxy.currentFile = _data->fileOf(cmd.getFile());
    proxy.thread.store(thread, std::memory_order_relaxed);
    cmd(_data->proxy, this);
  } catch (const std::exception& error) {
    report(cmd, "failed", error.what());
  } catch (...) {
    report(cmd, "failed", "the exception is no std::exception");
  }
  proxy.currentFile = nullptr;
  proxy.thread.store(FileProxy::Private::kNoThread, std::memory_order_relaxed);
}

}  // namespace QuorOsgUtils
