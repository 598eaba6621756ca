#pragma once

#include <QuorOsgUtils/Export.h>
#include <QuorOsgUtils/FilePtr.h>

#include <osg/ref_ptr>

#include <cstdint>
#include <memory>
#include <string>

namespace QuorOsgUtils {

class FileManager;
class FileProxy;

/// A command on a file: pushed to the file manager and run on its worker. Applications derive their own commands:
///
///     class ReadHeader : public QuorOsgUtils::FileCmd {
///      public:
///       using FileCmd::FileCmd;
///       void operator()(const QuorOsgUtils::FileProxy* proxy, QuorOsgUtils::FileManager*) override {
///         void* const header = map(proxy, 0, 375);
///         ...
///         unmap(proxy, header);
///       }
///     };
///
///     auto* command = new ReadHeader("town.las", QuorOsgUtils::FileCmd::High);
///     command->setAutoDelete(true);
///     QuorOsgUtils::FileManager::getInstance()->push(command);
///
/// Chains: commands linked by `setNext` run as one unit, in order, with the priority of the first.
/// Ownership: by default the creator owns the command and keeps it alive until the manager has finished with it: that
/// is, until a command pushed later with the same priority runs, or `FileManager::stopWorker` has returned. With auto
/// delete, which is for commands pushed once, the manager deletes the first command of a chain after the whole chain
/// has run, and each deleted command deletes its next if that has auto delete. Deletion stops at the first command
/// without auto delete: that command and all later ones still belong to the creator. Chains are deleted from the front;
/// in the destructor of a command `getNext` still returns the next one, which is deleted after it.
/// Threads: set up a command before pushing it; after that, only the worker uses it.
/// Errors: an exception thrown by a command is reported by the manager, and the next command of the chain runs.
class QUOR_OSG_UTILS_EXPORT FileCmd {
 public:
  /// Lower values run first. A command with any other value is silently not queued and still belongs to its creator.
  enum Priority : std::int32_t { High = 0, Normal = 1, Low = 2 };

  /// `file` is the path under which the file is registered with the manager (see `RegisterFile`).
  FileCmd(const std::string& file, Priority priority);
  FileCmd(const FileCmd&) = delete;
  FileCmd& operator=(const FileCmd&) = delete;
  virtual ~FileCmd();

  /// Does the work. `proxy` represents the command's file and is null only in a direct call.
  virtual void operator()(const FileProxy* proxy, FileManager* manager) = 0;

  /// The path of the file, as given to the constructor.
  const std::string& getFile() const;
  /// The priority, as given to the constructor.
  Priority getPriority() const;
  /// The next command of the chain, or null.
  FileCmd* getNext() const;
  /// Inserts `cmd`, which must not be in another chain, between this command and its next. Null, this command itself
  /// and a command that already follows anywhere in this chain are ignored.
  void setNext(FileCmd* cmd);
  ///@{
  /// Whether the manager deletes the command after it has run. Default: off.
  bool getAutoDelete() const;
  void setAutoDelete(const bool& autoDelete);
  ///@}

 protected:
  ///@{
  /// Call `FilePtr::map` and `FilePtr::unmap` of the proxy's file; `map` returns null if the file is not registered.
  /// Call them only on the thread that runs the command, while it runs; any other use ends the process.
  [[nodiscard]] static void* map(const FileProxy* proxy, std::int64_t offset, std::int64_t size);
  static void unmap(const FileProxy* proxy, void* p);
  ///@}

 private:
  bool _isFollowedBy(const FileCmd& cmd) const;

  struct Private;
  std::unique_ptr<Private> _data;
};

/// Reopens a registered file if it is closed. An unregistered file is opened as a test and closed again; this does not
/// register it. Works only in a direct call with a null proxy, made where the manager's files may be used: from a
/// command, or while there is no worker. A pushed `OpenFile` does nothing. All of this is fixed by the interface.
class QUOR_OSG_UTILS_EXPORT OpenFile : public FileCmd {
 public:
  /// `file` is the path to open.
  OpenFile(const std::string& file, Priority priority);
  void operator()(const FileProxy* proxy, FileManager* manager) override;
};

/// Closes the file and unmaps all its views. Does nothing if the file is not registered.
class QUOR_OSG_UTILS_EXPORT CloseFile : public FileCmd {
 public:
  /// `file` is the path under which the file is registered.
  CloseFile(const std::string& file, Priority priority);
  void operator()(const FileProxy* proxy, FileManager* manager) override;
};

/// Closes the file and deletes it from the disk. Does nothing if the file is not registered.
class QUOR_OSG_UTILS_EXPORT RemoveFile : public FileCmd {
 public:
  /// `file` is the path under which the file is registered.
  RemoveFile(const std::string& file, Priority priority);
  void operator()(const FileProxy* proxy, FileManager* manager) override;
};

/// Registers a file with the manager under the path it was constructed with, replacing any file registered before under
/// that path.
class QUOR_OSG_UTILS_EXPORT RegisterFile : public FileCmd {
 public:
  /// Holds a reference to `file`. Null registers nothing.
  RegisterFile(FilePtr* file, Priority priority);
  ~RegisterFile() override;
  void operator()(const FileProxy* proxy, FileManager* manager) override;

 private:
  osg::ref_ptr<FilePtr> _registered;
};

}  // namespace QuorOsgUtils
