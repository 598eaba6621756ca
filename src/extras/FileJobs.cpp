#include <QuorOsgUtils/FileJobs.h>
#include <QuorOsgUtils/FileManager.h>

#include <osg/ref_ptr>

#include <condition_variable>
#include <map>
#include <mutex>
#include <new>
#include <string>
#include <system_error>

namespace QuorOsgUtils {
namespace {

/// The file that several jobs share. Used only on the worker.
struct SharedFile {
  osg::ref_ptr<const ReadOnlyFile> opened;
};

/// Empty if there is no memory for it.
std::string textOf(const std::string& path, const char* text, const std::error_code& error = {}) noexcept {
  try {
    return path + ": " + text + (error ? ": " + error.message() : std::string());
  } catch (const std::bad_alloc&) {
    return {};
  }
}

bool isPriority(FileCmd::Priority priority) {
  return priority == FileCmd::High || priority == FileCmd::Normal || priority == FileCmd::Low;
}

}  // namespace

struct FileJob::Private {
  const std::string& path;
  SharedFile& file;
  const StopToken& stop;
  const StopToken& stopOfAll;
};

const std::string& FileJob::path() const {
  return _data.path;
}

bool FileJob::stopRequested() const {
  return _data.stop.stopRequested() || _data.stopOfAll.stopRequested();
}

const ReadOnlyFile& FileJob::_open() {
  if (!_data.file.opened || !_data.file.opened->isValid()) {
    _data.file.opened = new ReadOnlyFile(_data.path);
  }
  return *_data.file.opened;
}

/// Shared with the commands, which may outlive the object at process exit.
struct FileJobs::Shared {
  std::mutex mutex;
  std::condition_variable ended;
  std::size_t queued = 0;
  std::size_t running = 0;
  StopSource stop;  // of the jobs submitted since the last `stopAll`
  std::map<std::string, std::weak_ptr<SharedFile>> files;

  // Expects the mutex to be held.
  std::shared_ptr<SharedFile> fileOf(const std::string& path) {
    std::weak_ptr<SharedFile>& known = files[path];
    std::shared_ptr<SharedFile> file = known.lock();
    if (!file) {
      known = file = std::make_shared<SharedFile>();
    }
    return file;
  }

  void forget(const std::string& path) {
    const auto known = files.find(path);
    if (known != files.end() && known->second.expired()) {
      files.erase(known);
    }
  }
};

class FileJobs::Command : public FileCmd {
 public:
  Command(const std::string& path, Priority priority, std::shared_ptr<Shared> jobs, StopToken stop, Run run)
      : FileCmd(path, priority), _jobs(std::move(jobs)), _stop(std::move(stop)), _run(std::move(run)) {
    setAutoDelete(true);
    const std::lock_guard<std::mutex> held(_jobs->mutex);
    _file = _jobs->fileOf(path);
    _stopOfAll = _jobs->stop.token();
    ++_jobs->queued;
  }

  void operator()(const FileProxy* /*proxy*/, FileManager* /*manager*/) override {
    const Counted counted(*this);
    FileJob::Private data{getFile(), *_file, _stop, _stopOfAll};
    FileJob job(data);
    if (job.stopRequested()) {
      _run(nullptr, {FileJobFailure::Stopped, textOf(getFile(), "the job was stopped")});
    } else {
      _run(&job, {FileJobFailure::Stopped, {}});
    }
  }

  /// Instead of running it.
  void refuse(const char* text, const std::error_code& error = {}) {
    const Counted counted(*this);
    _run(nullptr, {FileJobFailure::NotQueued, textOf(getFile(), text, error)});
  }

 private:
  /// Counts the job as running, whatever is thrown. What its function holds is destroyed before it counts as ended.
  class Counted {
   public:
    explicit Counted(Command& command) : _command(command) { _command._begin(); }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;
    ~Counted() {
      _command._run = nullptr;
      _command._end();
    }

   private:
    Command& _command;
  };

  void _begin() {
    const std::lock_guard<std::mutex> held(_jobs->mutex);
    --_jobs->queued;
    ++_jobs->running;
  }

  void _end() {
    _file.reset();
    const std::lock_guard<std::mutex> held(_jobs->mutex);
    _jobs->forget(getFile());
    --_jobs->running;
    _jobs->ended.notify_all();
  }

  std::shared_ptr<Shared> _jobs;
  std::shared_ptr<SharedFile> _file;
  StopToken _stop;
  StopToken _stopOfAll;
  Run _run;
};

FileJobs::FileJobs() : _state(std::make_shared<Shared>()) {
  FileManager::getInstance()->startWorker();
}

FileJobs::~FileJobs() {
  stopAll();
  drain();
}

void FileJobs::_submit(const std::string& file, Priority priority, StopToken stop, Run run) {
  const std::string path = file.empty() ? file : normalizedPath(file);
  auto command = std::make_unique<Command>(path, priority, _state, std::move(stop), std::move(run));
  if (!isPriority(priority)) {
    command->refuse("the priority is none of High, Normal and Low");
  } else if (const std::error_code error = FileManager::getInstance()->_tryStartWorker()) {
    command->refuse("the worker cannot be started", error);
  } else if (!FileManager::getInstance()->_tryPush(*command)) {
    command->refuse("not enough memory to queue the job");
  } else {
    static_cast<void>(command.release());  // the manager deletes it
    FileManager::getInstance()->startWorker();
  }
}

void FileJobs::stopAll() {
  const std::lock_guard<std::mutex> held(_state->mutex);
  _state->stop.requestStop();
  _state->stop = StopSource();
}

void FileJobs::drain() {
  if (FileManager::getInstance()->_runsCommandHere()) {
    return;  // it would wait for itself
  }
  FileManager::getInstance()->startWorker();
  std::unique_lock<std::mutex> held(_state->mutex);
  _state->ended.wait(held, [this] { return _state->queued == 0 && _state->running == 0; });
}

std::size_t FileJobs::queueLength() const {
  const std::lock_guard<std::mutex> held(_state->mutex);
  return _state->queued;
}

}  // namespace QuorOsgUtils
