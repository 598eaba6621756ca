#include "support/platform/ChildProgram.h"
#include "support/platform/Platform.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <thread>

namespace QuorTests {

namespace {

using namespace std::chrono_literals;

constexpr auto kPause = 5ms;

// Quotes an argument for the started program's C library; none of ours ends in a backslash or contains a quote.
std::wstring quoted(const std::string& word) {
  return L"\"" + toPath(word).wstring() + L"\"";
}

}  // namespace

struct ChildProgram::Private {
  HANDLE process = nullptr;
  HANDLE stream = nullptr;
};

ChildProgram::ChildProgram(const std::string& program, const std::vector<std::string>& arguments)
    : _data(std::make_unique<Private>()) {
  std::wstring line = quoted(program);
  for (const std::string& argument : arguments) {
    line += L" " + quoted(argument);
  }
  SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
  STARTUPINFOW start{};
  start.cb = sizeof start;
  start.dwFlags = STARTF_USESTDHANDLES;
  ::CreatePipe(&_data->stream, &start.hStdOutput, &inherited, 0);
  ::SetHandleInformation(_data->stream, HANDLE_FLAG_INHERIT, 0);
  start.hStdError = start.hStdOutput;
  PROCESS_INFORMATION process{};
  if (::CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start, &process) != 0) {
    _data->process = process.hProcess;
    ::CloseHandle(process.hThread);
  }
  ::CloseHandle(start.hStdOutput);
}

ChildProgram::~ChildProgram() {
  if (!status()) {
    ::TerminateProcess(_data->process, 1);
    ::WaitForSingleObject(_data->process, INFINITE);
  }
  ::CloseHandle(_data->process);
  ::CloseHandle(_data->stream);
}

// A pipe cannot be waited for here, only polled.
bool ChildProgram::readSome(std::string& output, std::chrono::milliseconds limit) {
  const auto end = std::chrono::steady_clock::now() + limit;
  DWORD there = 0;
  while (::PeekNamedPipe(_data->stream, nullptr, 0, nullptr, &there, nullptr) != 0 && there == 0 &&
         std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(kPause);
  }
  std::array<char, 4096> part{};
  DWORD count = 0;
  if (there == 0 || ::ReadFile(_data->stream, part.data(), static_cast<DWORD>(part.size()), &count, nullptr) == 0) {
    return false;
  }
  std::copy_if(part.data(), part.data() + count, std::back_inserter(output), [](char c) { return c != '\r'; });
  return true;
}

std::optional<int> ChildProgram::status() {
  constexpr int kNeverStarted = 127;
  if (_data->process == nullptr) {
    return kNeverStarted;
  }
  if (::WaitForSingleObject(_data->process, 0) == WAIT_TIMEOUT) {
    return std::nullopt;
  }
  constexpr DWORD kFault = 0xC0000000;
  DWORD status = 0;
  ::GetExitCodeProcess(_data->process, &status);
  return status < kFault ? static_cast<int>(status) : -1;
}

std::chrono::nanoseconds ChildProgram::processorTime() const {
  FILETIME start{}, end{}, kernel{}, user{};
  if (::GetProcessTimes(_data->process, &start, &end, &kernel, &user) == 0) {
    return {};
  }
  const auto units = [](const FILETIME& time) { return std::int64_t{time.dwHighDateTime} << 32U | time.dwLowDateTime; };
  return 100ns * (units(kernel) + units(user));
}

bool ChildProgram::isRunnable() const {
  return false;
}

}  // namespace QuorTests
