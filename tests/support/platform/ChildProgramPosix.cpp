#include "support/platform/ChildProgram.h"

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

namespace QuorTests {

namespace {

void become(const std::string& program, const std::vector<std::string>& arguments, int stream) {
  dup2(stream, STDOUT_FILENO);
  dup2(stream, STDERR_FILENO);
  std::vector<char*> words = {const_cast<char*>(program.c_str())};
  for (const std::string& argument : arguments) {
    words.push_back(const_cast<char*>(argument.c_str()));
  }
  words.push_back(nullptr);
  execv(program.c_str(), words.data());
  _exit(127);
}

/// The folder of a thread: in its file `stat`, the state follows the name in brackets.
bool isThreadRunnable(const std::filesystem::path& thread) {
  std::string text;
  std::getline(std::ifstream(thread / "stat"), text);
  const std::size_t nameEnd = text.rfind(") ");
  return nameEnd != std::string::npos && text[nameEnd + 2] == 'R';
}

}  // namespace

struct ChildProgram::Private {
  pid_t process = -1;
  int stream = -1;
  std::optional<int> status;
};

ChildProgram::ChildProgram(const std::string& program, const std::vector<std::string>& arguments)
    : _data(std::make_unique<Private>()) {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) {
    return;
  }
  _data->process = fork();
  if (_data->process == 0) {
    become(program, arguments, ends[1]);
  }
  close(ends[1]);
  _data->stream = ends[0];
}

ChildProgram::~ChildProgram() {
  if (_data->process > 0 && !status()) {
    kill(_data->process, SIGKILL);
    waitpid(_data->process, nullptr, 0);
  }
  close(_data->stream);
}

bool ChildProgram::readSome(std::string& output, std::chrono::milliseconds limit) {
  pollfd ready = {_data->stream, POLLIN, 0};
  if (poll(&ready, 1, static_cast<int>(limit.count())) <= 0) {
    return false;
  }
  std::array<char, 4096> part{};
  const ssize_t count = read(_data->stream, part.data(), part.size());
  output.append(part.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  return count > 0;
}

std::optional<int> ChildProgram::status() {
  int status = 0;
  if (!_data->status && waitpid(_data->process, &status, WNOHANG) == _data->process) {
    _data->status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  return _data->status;
}

std::chrono::nanoseconds ChildProgram::processorTime() const {
  clockid_t clock{};
  timespec used{};
  if (clock_getcpuclockid(_data->process, &clock) != 0 || clock_gettime(clock, &used) != 0) {
    return {};
  }
  return std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec);
}

bool ChildProgram::isRunnable() const {
  std::error_code ended;
  std::filesystem::directory_iterator thread("/proc/" + std::to_string(_data->process) + "/task", ended);
  for (; !ended && thread != std::filesystem::directory_iterator(); thread.increment(ended)) {
    if (isThreadRunnable(*thread)) {
      return true;
    }
  }
  return false;
}

}  // namespace QuorTests
