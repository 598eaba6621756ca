#include <QuorOsgUtils/LogFile.h>

#include <plog/Initializers/RollingFileInitializer.h>
#include <plog/Record.h>

#include <cstddef>
#include <string>

namespace QuorOsgUtils {

namespace {

constexpr int kLoggerInstance = 0;

// Function and line are fixed by the interface: log readers filter by them. They do not follow the source.
struct Call {
  plog::Severity severity;
  const char* function;
  std::size_t line;
};
constexpr Call kInfo{plog::info, "QuorOsgUtils::LogFile::info", 20};
constexpr Call kDebug{plog::debug, "QuorOsgUtils::LogFile::debug", 25};
constexpr Call kError{plog::error, "QuorOsgUtils::LogFile::error", 30};

void hand(const Call& call, const char* message, plog::Logger<kLoggerInstance>& logger) {
  plog::Record record(call.severity, call.function, call.line, "", nullptr, kLoggerInstance);
  record << message << "\n";  // the empty line after each entry is fixed by the interface
  logger += record;
}

// A log that cannot be written must not stop the caller, not even when memory is exhausted.
void write(const Call& call, const char* message) {
  plog::Logger<kLoggerInstance>* const logger = plog::get<kLoggerInstance>();
  if (logger == nullptr || !logger->checkSeverity(call.severity)) {
    return;
  }
  try {
    hand(call, message, *logger);
  } catch (...) {
    return;
  }
}

}  // namespace

LogFile* LogFile::getInstance() {
  static auto* const instance = new LogFile;
  return instance;
}

// plog's file names are wide on Windows only.
LogFile::LogFile() {
  const std::string name = "3Dengine.log";
  const plog::util::nstring wideName(name.begin(), name.end());
  plog::init<kLoggerInstance>(plog::debug, wideName.c_str());
}

void LogFile::info(const char* message) {
  write(kInfo, message);
}

void LogFile::debug(const char* message) {
  write(kDebug, message);
}

void LogFile::error(const char* message) {
  write(kError, message);
}

}  // namespace QuorOsgUtils
