#pragma once

#include <QuorOsgUtils/Export.h>

#include <cstdint>
#include <memory>
#include <system_error>

namespace QuorOsgUtils {

class FileCmd;

/// Access to the file of the running command. The manager passes it to each command, which uses it through
/// `FileCmd::map` and `FileCmd::unmap`. Using it between commands, or on a thread other than the one that runs the
/// command, ends the process with status 1, after a message in GBK at OSG's notify level DEBUG_INFO.
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

  [[nodiscard]] void* map(std::int64_t offset, std::int64_t size) const;
  void unmap(void* p) const;
  void _checkThread() const;

  struct Private;
  std::unique_ptr<Private> _data;
};

/// Runs commands on files, one at a time, by priority and in the order pushed within each.
///
///     QuorOsgUtils::FileManager* manager = QuorOsgUtils::FileManager::getInstance();
///     manager->startWorker();
///     manager->push(command);
///
/// Ownership: one manager per process, from the first `getInstance` to process exit. It keeps the file name of every
/// command that has run and a reference to every registered file. `FileCmd` describes who owns commands.
///
/// Process exit: the worker finishes the chain that is running and stops. Commands still queued are neither run nor
/// deleted, since what they use may be destroyed already. Static objects constructed after the first `getInstance` are
/// destroyed before the worker stops: call `stopWorker` before `main` returns if commands use such objects, or if all
/// queued commands have to run.
///
/// Threads: any thread may call `push`. Any thread may call `startWorker` and `stopWorker`, one call at a time; in a
/// command they do nothing. Commands run on the worker, which sleeps while nothing is queued. Only commands may use the
/// manager's files. No static object may use the manager in its destructor.
/// Cost: the lock of the queues is held for a few instructions, however many commands are queued.
/// Errors: if a command throws, or memory for its file name cannot be allocated, this is reported with the name at
/// OSG's notify level WARN, and the next command runs. A command that cannot be queued for lack of memory is reported
/// in the same way and still belongs to the caller.
class QUOR_OSG_UTILS_EXPORT FileManager {
 public:
  /// The only manager, created by the first call.
  static FileManager* getInstance();
  FileManager(const FileManager&) = delete;
  FileManager& operator=(const FileManager&) = delete;

  /// Queues a command. Ignores null and commands whose priority is not High, Normal or Low.
  void push(FileCmd* cmd);

  /// Always 16; fixed by the interface.
  int memorySize() const;

  /// Starts the worker; does nothing while it runs. The library never starts it by itself. If its thread cannot be
  /// started, this is reported at OSG's notify level WARN.
  void startWorker();
  /// Waits until the worker has run all queued commands, then ends it; does nothing without a worker. Commands pushed
  /// later wait for the next start.
  void stopWorker();

 private:
  friend class OpenFile;
  friend class RemoveFile;
  friend class RegisterFile;
  friend class FileJobs;

  FileManager();
  virtual ~FileManager();

  /// Runs the next queued command with its chain on the calling thread; returns at once if none is queued. Only one
  /// thread at a time, and not while the worker runs.
  virtual void run();
  /// False if there is no memory to queue the command.
  bool _tryPush(FileCmd& cmd);
  /// The reason if the worker's thread cannot be started.
  std::error_code _tryStartWorker();
  void _work();
  void _joinWorker();
  bool _stopForGood();
  bool _runsCommandHere() const;
  void _runOne(FileCmd& cmd, std::uint32_t thread);

  struct Private;
  Private* const _data;  // outlives the manager if the worker still runs at process exit
};

}  // namespace QuorOsgUtils
