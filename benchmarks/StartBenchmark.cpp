#include "benchmarks/Comparison.h"
#include "benchmarks/Program.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace QuorBenchmarks;

constexpr double kKibibytesPerMebibyte = 1024.0;

/// A program that prints a line that begins with "frame" when it has drawn its first frame.
class Child {
 public:
  explicit Child(std::vector<std::string> command) {
    int ends[2] = {-1, -1};
    if (::pipe2(ends, O_CLOEXEC) != 0) {
      return;
    }
    _process = ::fork();
    if (_process == 0) {
      ::dup2(ends[1], STDOUT_FILENO);
      run(command);
    }
    ::close(ends[1]);
    _output.reset(::fdopen(ends[0], "r"));
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child() {
    if (_process > 0) {
      ::kill(_process, SIGTERM);
      ::waitpid(_process, nullptr, 0);
    }
  }

  /// False if the program ends before.
  bool awaitFrame() {
    char line[4096];
    while (_output && std::fgets(line, sizeof(line), _output.get())) {
      if (std::string(line).rfind("frame", 0) == 0) {
        return true;
      }
    }
    return false;
  }

  double peakMebibytes() const {
    std::ifstream status("/proc/" + std::to_string(_process) + "/status");
    for (std::string word; status >> word;) {
      if (word == "VmHWM:" && status >> word) {
        return std::stod(word) / kKibibytesPerMebibyte;
      }
    }
    return 0.0;
  }

 private:
  [[noreturn]] static void run(std::vector<std::string>& command) {
    std::vector<char*> words;
    for (std::string& word : command) {
      words.push_back(word.data());
    }
    words.push_back(nullptr);
    ::execv(words[0], words.data());
    std::_Exit(127);
  }

  pid_t _process = -1;
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> _output{nullptr, &std::fclose};
};

/// Starts of one program. The previous one is ended before the next start, which is not measured.
class Starts {
 public:
  explicit Starts(std::vector<std::string> command) : _command(std::move(command)) {}

  void end() { _child.reset(); }
  void start() {
    _child = std::make_unique<Child>(_command);
    _isDrawn = _child->awaitFrame() && _isDrawn;
    _mebibytes.push_back(_child->peakMebibytes());
  }

  bool isDrawn() const { return _isDrawn; }
  double mebibytes() const { return quantile(_mebibytes, 0.5); }

 private:
  std::vector<std::string> _command;
  std::unique_ptr<Child> _child;
  bool _isDrawn = true;
  Samples _mebibytes;
};

/// A scan of one point: without a file, the viewer would show the bundled scan.
class OnePoint {
 public:
  OnePoint() { std::ofstream(_path) << "0 0 0\n"; }
  OnePoint(const OnePoint&) = delete;
  OnePoint& operator=(const OnePoint&) = delete;
  ~OnePoint() { std::filesystem::remove(_path); }

  const std::string& path() const { return _path; }

 private:
  std::string _path =
      (std::filesystem::temp_directory_path() / ("quor_point_" + std::to_string(::getpid()) + ".asc")).string();
};

Variant starting(const char* name, Starts& starts, double goal) {
  return {name, [&] { starts.start(); }, [&] { starts.end(); }, 1, goal};
}

void start(benchmark::State& state) {
  const OnePoint scan;
  Starts viewer({QUOR_VIEWER, "--verbose", "--no-index", "--size", "1280x720", scan.path()});
  Starts bare({QUOR_BARE_WINDOW});
  viewer.start();
  bare.start();
  if (!viewer.isDrawn() || !bare.isDrawn()) {
    state.SkipWithError("a display with OpenGL is needed");
    return;
  }
  compare(state, starting("quor_viewer", viewer, 0.0), {starting("bare window", bare, 1.2)});
  state.counters["quor_viewer, MiB"] = viewer.mebibytes();
  state.counters["bare window, MiB"] = bare.mebibytes();
}

BENCHMARK(start)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

const QuorBenchmarks::Program QuorBenchmarks::program = {
    "Start of the viewer",
    "From the start of the process to its first frame in a window of 1280 × 720 pixels: `quor_viewer` with a scan of "
    "one point, "
    "beside a program that opens a bare `osgViewer` window with one point. Memory is the peak until then, including "
    "the "
    "libraries and the software driver."};
