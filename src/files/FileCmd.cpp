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
  /// Whether this command has ever been the next of another.
  bool wasLinked = false;
  /// Set while the first command of a chain deletes this one: receives `next`, and the destructor does not delete it.
  FileCmd** following = nullptr;
};

FileCmd::FileCmd(const std::string& file, Priority priority) : _data(std::make_unique<Private>()) {
  _data->file = file;
  _data->priority = priority;
}

// The first command deletes all others in a loop: if each deleted its own next, the stack would grow with the chain.
FileCmd::~FileCmd() {
  if (_data->following != nullptr) {
    *_data->following = _data->next;
    return;
  }
  FileCmd* next = _data->next;
  while (next != nullptr && next->getAutoDelete()) {
    FileCmd* following = nullptr;
    next->_data->following = &following;
    delete next;
    next = following;
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
  if (cmd == nullptr || cmd == this || _isFollowedBy(*cmd)) {
    return;
  }
  cmd->_data->next = _data->next;
  cmd->_data->wasLinked = true;
  _data->next = cmd;
}

// A command that has never been linked follows none. So a long chain can be built without traversing it each time.
bool FileCmd::_isFollowedBy(const FileCmd& cmd) const {
  if (!cmd._data->wasLinked) {
    return false;
  }
  const FileCmd* follower = _data->next;
  while (follower != nullptr && follower != &cmd) {
    follower = follower->_data->next;
  }
  return follower != nullptr;
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
  if (proxy != nullptr) {
    proxy->unmap(p);
  }
}

OpenFile::OpenFile(const std::string& file, Priority priority) : FileCmd(file, priority) {}

// Fixed by the interface: it works only without a proxy, and on a copy of the registry, so a new file is opened and
// closed again but not registered.
void OpenFile::operator()(const FileProxy* proxy, FileManager* manager) {
  if (proxy != nullptr || manager == nullptr || !canBeRead(getFile())) {
    return;
  }
  FileRegistry registry = manager->_data->registry;
  if (registry.find(getFile()) == registry.end()) {
    registry[getFile()] = new FilePtr(getFile().c_str());
  }
  if (FilePtr* file = fileOf(registry, getFile())) {
    file->open();
  }
}

CloseFile::CloseFile(const std::string& file, Priority priority) : FileCmd(file, priority) {}

void CloseFile::operator()(const FileProxy* proxy, FileManager* /*manager*/) {
  osg::ref_ptr<FilePtr> file;
  if (proxy != nullptr && proxy->_data->currentFile.lock(file)) {
    file->close();
  }
}

RemoveFile::RemoveFile(const std::string& file, Priority priority) : FileCmd(file, priority) {}

void RemoveFile::operator()(const FileProxy* proxy, FileManager* manager) {
  if (proxy == nullptr || manager == nullptr || !canBeRead(getFile())) {
    return;
  }
  FilePtr* const file = fileOf(manager->_data->registry, getFile());
  if (file == nullptr) {
    return;
  }
  file->close();
  static_cast<void>(std::remove(getFile().c_str()));
}

RegisterFile::RegisterFile(FilePtr* file, Priority priority)
    : FileCmd(file != nullptr ? file->file() : "", priority), _registered(file) {}

RegisterFile::~RegisterFile() = default;

void RegisterFile::operator()(const FileProxy* /*proxy*/, FileManager* manager) {
  if (manager != nullptr && _registered) {
    manager->_data->registry[getFile()] = _registered;
  }
}

}  // namespace QuorOsgUtils
