#include "ViewerProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <thread>

namespace QuorTests {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto kQuiet = 700ms;

void becomeViewer(const std::vector<std::string>& arguments, int stream) {
  dup2(stream, STDOUT_FILENO);
  dup2(stream, STDERR_FILENO);
  std::vector<char*> words = {const_cast<char*>(QUOR_VIEWER_PROGRAM)};
  for (const std::string& argument : arguments) {
    words.push_back(const_cast<char*>(argument.c_str()));
  }
  words.push_back(nullptr);
  execv(QUOR_VIEWER_PROGRAM, words.data());
  _exit(127);
}

std::string outputOf(const std::string& command) {
  std::string output;
  FILE* pipe = popen(command.c_str(), "r");
  std::array<char, 256> part{};
  while (pipe != nullptr && fgets(part.data(), part.size(), pipe) != nullptr) {
    output += part.data();
  }
  if (pipe != nullptr) {
    pclose(pipe);
  }
  return output;
}

void readVector(std::istream& words, osg::Vec3d& vector) {
  std::string name;
  words >> name >> vector.x() >> vector.y() >> vector.z();
}

}  // namespace

ViewerProcess::ViewerProcess(const std::vector<std::string>& arguments) {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) {
    return;
  }
  _process = fork();
  if (_process == 0) {
    becomeViewer(arguments, ends[1]);
  }
  close(ends[1]);
  _stream = ends[0];
}

ViewerProcess::~ViewerProcess() {
  if (_process > 0) {
    kill(_process, SIGKILL);
    waitpid(_process, nullptr, 0);
  }
  close(_stream);
}

bool ViewerProcess::_readSome(std::chrono::milliseconds limit) {
  pollfd ready = {_stream, POLLIN, 0};
  if (poll(&ready, 1, static_cast<int>(limit.count())) <= 0) {
    return false;
  }
  std::array<char, 4096> part{};
  const ssize_t count = read(_stream, part.data(), part.size());
  _output.append(part.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  return count > 0;
}

std::string ViewerProcess::waitForLine(const std::string& beginning, std::chrono::seconds limit) {
  const auto end = Clock::now() + limit;
  bool more = true;
  while (more || _output.find('\n', _seen) != std::string::npos) {
    const std::size_t lineEnd = _output.find('\n', _seen);
    if (lineEnd == std::string::npos) {
      more = Clock::now() < end && _readSome(std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()));
      continue;
    }
    const std::string line = _output.substr(_seen, lineEnd - _seen);
    _seen = lineEnd + 1;
    if (line.compare(0, beginning.size(), beginning) == 0) {
      return line;
    }
  }
  return {};
}

void ViewerProcess::settle() {
  while (_readSome(kQuiet)) {
  }
  _seen = _output.rfind('\n') == std::string::npos ? 0 : _output.rfind('\n') + 1;
}

ReportedView ViewerProcess::view() const {
  const std::string lines = "\n" + _output;
  const std::size_t start = lines.rfind("\nview eye");
  std::istringstream words(start == std::string::npos ? std::string() : lines.substr(start + 6));
  ReportedView view;
  readVector(words, view.eye);
  readVector(words, view.centre);
  readVector(words, view.up);
  std::string name;
  words >> name;
  for (int element = 0; element < 16; ++element) {
    words >> view.projection.ptr()[element];
  }
  return view;
}

int ViewerProcess::exitStatus(std::chrono::seconds limit) {
  const auto end = Clock::now() + limit;
  while (_process > 0 && Clock::now() < end) {
    _readSome(20ms);
    int status = 0;
    if (waitpid(_process, &status, WNOHANG) == _process) {
      _process = -1;
      _status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
      while (_readSome(0ms)) {
      }
    }
  }
  return _process > 0 ? -1 : _status;
}

bool ViewerProcess::findWindow(const std::string& title) {
  const auto end = Clock::now() + 60s;
  while (_window.empty() && Clock::now() < end) {
    std::istringstream(outputOf("xdotool search --onlyvisible --name '" + title + "' 2>/dev/null")) >> _window;
    std::this_thread::sleep_for(50ms);
  }
  return !_window.empty();
}

void ViewerProcess::_control(const std::string& command) const {
  if (std::system(("xdotool " + command).c_str()) != 0) {
    std::fprintf(stderr, "xdotool %s failed\n", command.c_str());
  }
}

void ViewerProcess::movePointer(int x, int yFromTop) {
  _control("mousemove --window " + _window + " " + std::to_string(x) + " " + std::to_string(yFromTop));
}

void ViewerProcess::press(int button) {
  _control("mousedown " + std::to_string(button));
}

void ViewerProcess::release(int button) {
  _control("mouseup " + std::to_string(button));
}

void ViewerProcess::click(int button) {
  _control("click " + std::to_string(button));
}

void ViewerProcess::key(const std::string& name) {
  _control("key " + name);
}

void ViewerProcess::type(const std::string& text) {
  _control("type --delay 30 '" + text + "'");
}

void ViewerProcess::resizeWindow(int width, int height) {
  _control("windowsize " + _window + " " + std::to_string(width) + " " + std::to_string(height));
}

}  // namespace QuorTests
