// File jobs: counts the line feeds of a file of any size on a worker, with progress. Ctrl+C, or the percentage given
// after the file, cancels. Without arguments the program reads itself.
#include <QuorOsgUtils/FileJobs.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <thread>
#include <vector>

namespace {
using namespace QuorOsgUtils;
constexpr std::int64_t kPieceBytes = 1 << 20;

volatile std::sig_atomic_t interrupted = 0;
void interrupt(int /*signal*/) {
  interrupted = 1;
}

// Runs on the worker. Exceptions, such as those of `view`, reach the future.
std::int64_t countLines(FileJob& job, std::int64_t offset, std::atomic<std::int64_t>& bytesRead) {
  const FileView view = job.view(offset, kPieceBytes);  // any offset; unmapped at the end of this function
  bytesRead += view.size();
  return std::count(view.data(), view.data() + view.size(), '\n');
}
}  // namespace

int main(int argc, char** argv) {
  const char* const path = argc > 1 ? argv[1] : argv[0];
  const int cancelAtPercent = argc > 2 ? std::atoi(argv[2]) : 1000;
  std::signal(SIGINT, interrupt);
  std::atomic<std::int64_t> bytesRead{0};
  StopSource stop;
  FileJobs jobs;  // its destructor waits for what still runs, so `bytesRead` comes before it
  try {
    // The priority is that of an answer for which the user waits.
    const std::int64_t size = jobs.submit(path, FileCmd::High, [](FileJob& job) { return job.size(); }).get();
    std::vector<std::future<std::int64_t>> pieces;
    for (std::int64_t offset = 0; offset < size; offset += kPieceBytes) {
      pieces.push_back(jobs.submit(
          path, FileCmd::Normal, [&bytesRead, offset](FileJob& job) { return countLines(job, offset, bytesRead); },
          stop.token()));
    }

    while (jobs.queueLength() > 0) {
      const std::int64_t percent = 100 * bytesRead / size;
      std::cout << percent << " % read, " << jobs.queueLength() << " jobs queued" << std::endl;
      if (interrupted != 0 || percent >= cancelAtPercent) {
        stop.requestStop();  // jobs that have not started never call their function
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }

    std::int64_t lines = 0;
    for (std::future<std::int64_t>& piece : pieces) {
      lines += piece.get();
    }
    std::cout << path << ": " << lines << " line feeds in " << size << " bytes" << std::endl;
  } catch (const FileJobError& error) {
    const bool cancelled = error.reason() == FileJobFailure::Stopped;
    std::cerr << (cancelled ? "cancelled: " : "failed: ") << error.what() << std::endl;
    return cancelled ? 2 : 1;
  }
  return 0;
}
