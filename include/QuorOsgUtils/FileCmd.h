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

/// Work on a file, queued to the file manager and run by its worker. Applications derive their own commands:
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
/// Chains: commands linked by `setNext` run as one unit, in the order of their links, by the priority of the first.
/// Ownership: by default the creator's, who keeps the command alive until the manager has finished with it: when a
/// command pushed later with the same priority runs, or when `FileManager::stopWorker` has returned. With auto delete,
/// which is for commands pushed once, the manager deletes the first command of a chain after the whole chain has run,
/// and each deleted command deletes its next if that has auto delete. Deletion stops at the first command without auto
/// delete: that command and all later ones still belong to the creator. Chains are deleted from the front; in the
/// destructor of a command `getNext` still returns the next one, which is deleted after it. Threads: a command is set
/// up before it is pushed and then belongs to the worker. Errors: an exception that leaves a command is reported by the
/// manager, and the next command of the chain runs.
class QUOR_OSG_UTILS_EXPORT FileCmd {
 public:
  /// Lower numbers run first. A command of any other value is never queued and stays the creator's.
  enum Priority : std::int32_t { High = 0, Normal = 1, Low = 2 };

  /// `file` is the name under which the manager knows the file.
  FileCmd(const std::string& file, Priority priority);
  FileCmd(const FileCmd&) = delete;
  FileCmd& operator=(const FileCmd&) = delete;
  virtual ~FileCmd();

  /// The work. `proxy` stands for the command's file and is null only in a direct call.
  virtual void operator()(const FileProxy* proxy, FileManager* manager) = 0;

  const std::string& getFile() const;
  Priority getPriority() const;
  /// The next command of the chain, or null.
  FileCmd* getNext() const;
  /// Inserts `cmd`, which must not be in another chain, between this command and its next. Null, this command itself
  /// and a command that already follows anywhere in this chain are ignored.
  void setNext(FileCmd* cmd);
  /// Default: off.
  bool getAutoDelete() const;
  void setAutoDelete(const bool& autoDelete);

 protected:
  /// Call `FilePtr::map` and `FilePtr::unmap` of the proxy's file. Null if the manager does not know the file. Only on
  /// the thread that runs the command, and while it runs: any other use ends the process.
  static void* map(const FileProxy* proxy, std::int64_t offset, std::int64_t size);
  static void unmap(const FileProxy* proxy, void* p);

 private:
  bool _isFollowedBy(const FileCmd& cmd) const;

  struct Private;
  std::unique_ptr<Private> _data;
};

/// Opens a file that the manager knows, again if it has been closed; of any other it only tries whether it can be
/// opened. Works in a direct call with a null proxy, which has to be made where the manager's files may be touched:
/// from a command, or while there is no worker. Pushed to the manager it does nothing.
class QUOR_OSG_UTILS_EXPORT OpenFile : public FileCmd {
 public:
  OpenFile(const std::string& file, Priority priority);
  void operator()(const FileProxy* proxy, FileManager* manager) override;
};

/// Closes the file, and with it ends all its views. A file that the manager does not know is left alone.
class QUOR_OSG_UTILS_EXPORT CloseFile : public FileCmd {
 public:
  CloseFile(const std::string& file, Priority priority);
  void operator()(const FileProxy* proxy, FileManager* manager) override;
};

/// Closes the file and deletes it from the disk. A file that the manager does not know stays there.
class QUOR_OSG_UTILS_EXPORT RemoveFile : public FileCmd {
 public:
  RemoveFile(const std::string& file, Priority priority);
  void operator()(const FileProxy* proxy, FileManager* manager) override;
};

/// Makes a file known to the manager, under the path it was made with, in place of the one known so before.
class QUOR_OSG_UTILS_EXPORT RegisterFile : public FileCmd {
 public:
  /// Keeps `file`. Null registers nothing.
  RegisterFile(FilePtr* file, Priority priority);
  ~RegisterFile() override;
  void operator()(const FileProxy* proxy, FileManager* manager) override;

 private:
  osg::ref_ptr<FilePtr> _registered;
};

}  // namespace QuorOsgUtils
