#include "files/FileManagerPrivate.h"
#include "files/FileProxyPrivate.h"
#include "files/platform/FileMapping.h"

#include <QuorOsgUtils/FileCmd.h>

#include <cstdio>
#include <fstream>

namespace QuorOsgUtils {

namespace {

bool canBeRead(const std::string& file) {
  return !FileMapping::isPipe(file) && std::ifstream(file).good();
}

FilePtr* fileOf(const FileRegistry& registry, const std::string& name) {
  const auto found = registry.find(name);
  return found != registry.end() ? found->second.get() : nullptr;
}

}  // namespace

struct FileCmd::Private {
  bool autoDelete = false;
  std::string file;
  Priority priority = Normal;
  FileCmd* next = nullptr;
};

FileCmd::FileCmd(const std::string& file, Priority priority) : _data(std::make_unique<Private>()) {
  _data->file = file;
  _data->priority = priority;
}

// One after the other, since each deleting its own next would take as much stack as the chain is long.
FileCmd::~FileCmd() {
  FileCmd* next = _data->next;
  while (next != nullptr && next->getAutoDelete()) {
    FileCmd* const afterNext = next->_data->next;
    next->_data->next = nullptr;
    delete next;
    next = afterNext;
  }
}

const std::string& FileCmd::getFile() const {
  return _data->file;
}

FileCmd::Priority FileCmd::getPriority() const {
  return _data->priority;
}

FileCmd* FileCmd::getNext() const {
  return _data->next;
}

void FileCmd::setNext(FileCmd* cmd) {
  if (cmd == nullptr || cmd == this || cmd == _data->next) return;
  cmd->_data->next = _data->next;
  _data->next = cmd;
}

bool FileCmd::getAutoDelete() const {
  return _data->autoDelete;
}

void FileCmd::setAutoDelete(const bool& autoDelete) {
  _data->autoDelete = autoDelete;
}

void* FileCmd::map(const FileProxy* proxy, std::int64_t offset, std::int64_t size) {
  return proxy != nullptr ? proxy->map(offset, size) : nullptr;
}

void FileCmd::unmap(const FileProxy* proxy, void* p) {
  if (proxy != nullptr) proxy->unmap(p);
}

OpenFile::OpenFile(const std::string& file, Priority priority) : FileCmd(file, priority) {}

void OpenFile::operator()(const FileProxy* proxy, FileManager* manager) {
  if (proxy != nullptr || manager == nullptr || !canBeRead(getFile())) return;
  FileRegistry registry = manager->_data->registry;
  if (registry.find(getFile()) == registry.end()) registry[getFile()] = new FilePtr(getFile().c_str());
  if (FilePtr* file = fileOf(registry, getFile())) file->open();
}

CloseFile::CloseFile(const std::string& file, Priority priority) : FileCmd(file, priority) {}

void CloseFile::operator()(const FileProxy* proxy, FileManager* /*manager*/) {
  osg::ref_ptr<FilePtr> file;
  if (proxy != nullptr && proxy->_data->currentFile.lock(file)) file->close();
}

RemoveFile::RemoveFile(const std::string& file, Priority priority) : FileCmd(file, priority) {}

void RemoveFile::operator()(const FileProxy* proxy, FileManager* manager) {
  if (proxy == nullptr || manager == nullptr || !canBeRead(getFile())) return;
  FilePtr* const file = fileOf(manager->_data->registry, getFile());
  if (file == nullptr) return;
  file->close();
  static_cast<void>(std::remove(getFile().c_str()));
}

RegisterFile::RegisterFile(FilePtr* file, Priority priority)
    : FileCmd(file != nullptr ? file->file() : "", priority), _registered(file) {}

RegisterFile::~RegisterFile() = default;

void RegisterFile::operator()(const FileProxy* /*proxy*/, FileManager* manager) {
  if (manager != nullptr && _registered) manager->_data->registry[getFile()] = _registered;
}

}  // namespace QuorOsgUtils
