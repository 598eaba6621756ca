#pragma once

#include <QuorOsgUtils/Export.h>

#include <cstdint>
#include <memory>

namespace QuorOsgUtils {

class FileCmd;

/// The file of the command that is running. Made by the manager, handed to each command, and used by commands through
/// `FileCmd::map` and `FileCmd::unmap`. On any other thread than the one that runs the command, and between commands,
/// use of it ends the process with status 1, after a line in GBK at the notifier's debug level.
class QUOR_OSG_UTILS_EXPORT FileProxy {
 public:
  FileProxy(const FileProxy&) = delete;
  FileProxy& operator=(const FileProxy&) = delete;

 private:
  friend class FileManager;
  friend class FileCmd;
  friend class CloseFile;

  FileProxy();
  virtual ~FileProxy();

  void* map(std::int64_t offset, std::int64_t size) const;
  void unmap(void* p) const;
  void checkThread() const;

  struct Private;
  std::unique_ptr<Private> _data;
};

/// Runs commands on files, one at a time, by priority and in the order pushed within each.
///
///     QuorOsgUtils::FileManager* manager = QuorOsgUtils::FileManager::getInstance();
///     manager->startWorker();
///     manager->push(command);
///
/// Ownership: one manager per process, from the first `getInstance` to the process's end, which stops the worker. Names
/// that ever ran stay known; the files behind them are kept. Commands belong to whom `FileCmd` says.
/// Threads: `push` on any thread. `startWorker` and `stopWorker` on any thread, one call at a time; from a command they
/// do nothing.
/// Commands run on the worker alone, and only there may they touch the manager's files. The worker sleeps while
/// nothing is queued.
/// Errors: a command that throws is reported at the notifier's warning level, with its file's name, and the work goes
/// on.
class QUOR_OSG_UTILS_EXPORT FileManager {
 public:
  static FileManager* getInstance();
  FileManager(const FileManager&) = delete;
  FileManager& operator=(const FileManager&) = delete;

  /// Queues a command. Null and a priority that is none of the three are ignored.
  void push(FileCmd* cmd);

  /// Always 16.
  int memorySize() const;

  /// Starts the worker; nothing while one runs. Never called by the library itself.
  void startWorker();
  /// Lets the worker finish what is queued and ends it; nothing without one. Commands pushed later wait for the next
  /// start.
  void stopWorker();

 private:
  friend class OpenFile;
  friend class RemoveFile;
  friend class RegisterFile;

  FileManager();
  virtual ~FileManager();

  /// On the worker: runs the command that is next, with its chain; returns at once when there is none.
  virtual void run();
  void work();
  bool stopForGood();
  void runOne(FileCmd& cmd, std::uint32_t thread);

  struct Private;
  Private* const _data;  // outlives the manager where the worker still runs at the end of the process
};

}  // namespace QuorOsgUtils
