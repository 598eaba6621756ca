#pragma once

#include <QuorOsgUtils/Export.h>
#include <QuorOsgUtils/FileCmd.h>
#include <QuorOsgUtils/FileView.h>
#include <QuorOsgUtils/ReadOnlyFile.h>
#include <QuorOsgUtils/StopToken.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

namespace QuorOsgUtils {

/// Why a job has no result.
struct FileJobFailure {
  /// What went wrong.
  enum Reason {
    Stopped,    ///< a stop was requested before the job started
    NotOpened,  ///< the file cannot be opened
    NotMapped,  ///< a range of the file cannot be mapped
    /// the priority is not High, Normal or Low, memory is exhausted, or the worker's thread cannot be started
    NotQueued
  };
  Reason reason;     ///< for the program
  std::string text;  ///< "PATH: …", for the user; empty if memory is exhausted
};

/// The exception that the future of such a job holds. Only code in this header throws it, as part of the application.
class FileJobError : public std::runtime_error {
 public:
  /// The text of the failure becomes `what()`.
  explicit FileJobError(const FileJobFailure& failure) : std::runtime_error(failure.text), _reason(failure.reason) {}
  /// Why the job has no result.
  FileJobFailure::Reason reason() const { return _reason; }

 private:
  FileJobFailure::Reason _reason;
};

/// What a job's function gets: its file and whether it should stop. Use it on the worker, within the function.
class FileJob {
 public:
  /// As `normalizedPath` returns it.
  QUOR_OSG_UTILS_EXPORT const std::string& path() const;
  /// Whether its token or `FileJobs::stopAll` asks the job to stop.
  QUOR_OSG_UTILS_EXPORT bool stopRequested() const;

  /// The size of the file in bytes when it was opened. Throws FileJobError if it cannot be opened.
  std::int64_t size() { return file().size(); }
  /// A range of the file for reading: see `FileView`. Throws FileJobError if it cannot be opened or mapped. The view
  /// may outlive the job.
  FileView view(std::int64_t offset, std::int64_t sizeBytes) {
    FileView range(file(), offset, sizeBytes);
    if (!range) {
      throw FileJobError({FileJobFailure::NotMapped, range.error()});
    }
    return range;
  }
  /// The file, opened by the first call of any of the jobs that share it. Throws FileJobError if it cannot be opened;
  /// the next call tries again.
  const ReadOnlyFile& file() {
    const ReadOnlyFile& opened = _open();
    if (!opened.isValid()) {
      throw FileJobError({FileJobFailure::NotOpened, opened.error()});
    }
    return opened;
  }

 private:
  friend class FileJobs;
  struct Private;
  explicit FileJob(Private& data) : _data(data) {}
  QUOR_OSG_UTILS_EXPORT const ReadOnlyFile& _open();

  Private& _data;
};

/// Runs functions on files on the worker of the `FileManager`, and returns their results as futures.
///
///     QuorOsgUtils::FileJobs jobs;
///     std::future<unsigned> version = jobs.submit("town.las", QuorOsgUtils::FileCmd::High,
///         [](QuorOsgUtils::FileJob& job) { return unsigned{job.view(24, 2).data()[1]}; });
///     ...
///     try {
///       std::cout << version.get();
///     } catch (const std::exception& error) {
///       std::cerr << error.what();  // /scans/town.las: cannot be opened: No such file or directory
///     }
///
/// Order: jobs and the application's own commands run one at a time, High before Normal before Low, and in the order
/// submitted within each priority.
/// Files: a job's file is opened for reading when the job first uses it. Jobs whose names mean the same file
/// (`normalizedPath`) share one open file as long as any of them is queued or running; then it is closed. Its size is
/// the one at the first successful opening. A job that writes captures a `FilePtr` and uses a `FileView` of that. The
/// name may be empty if the function uses no file.
/// Stopping: when a stop is requested, a job that has not started never calls its function, and its future holds a
/// FileJobError. A running function may check `FileJob::stopRequested` and return early.
/// Ownership: the function and what it captures are destroyed on the worker after the job. Futures may be dropped.
/// Threads: any thread may call the methods. Functions run on the worker. The constructor starts the manager's worker,
/// and so do `submit` and `drain`, if somebody has stopped it.
/// GL: none.
/// Errors: the future holds what the function throws, or a FileJobError. Nothing else is thrown, except that `submit`
/// throws std::bad_alloc as the containers of the application do.
class FileJobs {
 public:
  using Priority = FileCmd::Priority;  ///< High, Normal or Low

  /// Starts the worker of the manager.
  QUOR_OSG_UTILS_EXPORT FileJobs();
  FileJobs(const FileJobs&) = delete;
  FileJobs& operator=(const FileJobs&) = delete;
  /// Stops all jobs and waits until none is left.
  QUOR_OSG_UTILS_EXPORT ~FileJobs();

  /// Queues a function that takes a `FileJob&`.
  template <typename Function>
  std::future<std::invoke_result_t<Function&, FileJob&>> submit(const std::string& file, Priority priority,
                                                                Function function, StopToken stop = {}) {
    using Result = std::invoke_result_t<Function&, FileJob&>;
    struct Task {
      Function function;
      std::promise<Result> promise;
    };
    const std::shared_ptr<Task> task(new Task{std::move(function), {}});
    std::future<Result> result = task->promise.get_future();
    _submit(file, priority, std::move(stop), [task](FileJob* job, const FileJobFailure& failure) {
      if (job != nullptr) {
        _fulfil(task->promise, task->function, *job);
      } else {
        task->promise.set_exception(_errorOf(failure));
      }
    });
    return result;
  }

  /// Requests a stop of all jobs that any thread has submitted so far, independently of their tokens.
  QUOR_OSG_UTILS_EXPORT void stopAll();
  /// Waits until no job of this object is queued or running. Returns immediately on the worker: within a job or another
  /// command.
  QUOR_OSG_UTILS_EXPORT void drain();
  /// How many jobs of this object have not started, including those that a stop prevents from starting.
  QUOR_OSG_UTILS_EXPORT std::size_t queueLength() const;

 private:
  /// With a job, or with null and the reason.
  using Run = std::function<void(FileJob* job, const FileJobFailure& failure)>;

  static std::exception_ptr _errorOf(const FileJobFailure& failure) noexcept {
    try {
      return std::make_exception_ptr(FileJobError(failure));
    } catch (...) {
      return std::current_exception();
    }
  }
  template <typename Result, typename Function>
  static void _fulfil(std::promise<Result>& promise, Function& function, FileJob& job) {
    try {
      if constexpr (std::is_void_v<Result>) {
        function(job);
        promise.set_value();
      } else {
        promise.set_value(function(job));
      }
    } catch (...) {
      promise.set_exception(std::current_exception());
    }
  }
  QUOR_OSG_UTILS_EXPORT void _submit(const std::string& file, Priority priority, StopToken stop, Run run);

  class Command;
  struct Shared;
  std::shared_ptr<Shared> _state;
};

}  // namespace QuorOsgUtils
