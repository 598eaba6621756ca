#include "tests/viewer/ViewerProcess.h"

#include <sstream>
#include <thread>

namespace QuorTests {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto kQuiet = 300ms;
// More than a frame takes, less than a busy viewer computes in the quiet time.
constexpr auto kBusy = 50ms;
constexpr auto kBetweenLooks = 10ms;

void readVector(std::istream& words, osg::Vec3d& vector) {
  std::string name;
  words >> name >> vector.x() >> vector.y() >> vector.z();
}

}  // namespace

ViewerProcess::ViewerProcess(const std::vector<std::string>& arguments) : _program(QUOR_VIEWER_PROGRAM, arguments) {}

std::string ViewerProcess::waitForLine(const std::string& beginning, std::chrono::seconds limit) {
  const auto end = Clock::now() + limit;
  bool more = true;
  while (more || _output.find('\n', _seen) != std::string::npos) {
    const std::size_t lineEnd = _output.find('\n', _seen);
    if (lineEnd == std::string::npos) {
      more = Clock::now() < end &&
             _program.readSome(_output, std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()));
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
  const auto end = Clock::now() + 20s;
  while (!_isQuietAndIdle() && Clock::now() < end) {
  }
  _seen = _output.rfind('\n') == std::string::npos ? 0 : _output.rfind('\n') + 1;
}

// On a busy machine, a viewer that uses little processor time may be waiting for it. Where the processor time of
// another program cannot be measured (wine), its window can be asked instead.
bool ViewerProcess::_isQuietAndIdle() {
  const std::chrono::nanoseconds before = _program.processorTime();
  if (_program.readSome(_output, kQuiet) || _program.processorTime() - before > kBusy) {
    return false;
  }
  constexpr int kLooks = 3;
  for (int look = 0; look < kLooks; ++look) {
    if (_program.isRunnable() || _program.readSome(_output, kBetweenLooks)) {
      return false;
    }
  }
  return _window.isWaiting();
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

int ViewerProcess::exitStatus(std::chrono::milliseconds limit) {
  const auto end = Clock::now() + limit;
  while (!_program.status() && Clock::now() < end) {
    _program.readSome(_output, 20ms);
  }
  while (_program.readSome(_output, 0ms)) {
  }
  return _program.status().value_or(-1);
}

bool ViewerProcess::findWindow(const std::string& title) {
  const auto end = Clock::now() + 60s;
  bool found = _window.find(title);
  while (!found && Clock::now() < end) {
    std::this_thread::sleep_for(50ms);
    found = _window.find(title);
  }
  return found;
}

}  // namespace QuorTests
