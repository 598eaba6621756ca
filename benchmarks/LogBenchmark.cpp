#include "benchmarks/Comparison.h"
#include "benchmarks/Program.h"
#include "benchmarks/ScratchFolder.h"
#include "support/OnThreads.h"

#include <QuorOsgUtils/LogFile.h>

#include <benchmark/benchmark.h>
#include <plog/Initializers/RollingFileInitializer.h>
#include <plog/Log.h>

#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#if defined(QUOR_PEER_SPDLOG_SPDLOG)
#  include <spdlog/sinks/basic_file_sink.h>
#  include <spdlog/spdlog.h>
#endif

namespace {

using QuorBenchmarks::Variant;

constexpr int kPlogInstance = 1;  // instance 0 is that of the library
constexpr const char* kMessage = "town.las: 10,000,000 points in 81 parts, read in 1.25 s";

/// Writes a number of lines, in equal parts on some threads.
template <typename WriteLine>
Variant variant(const std::string& name, std::size_t threads, WriteLine writeLine, double goal = 0.0) {
  constexpr std::size_t kLines = 2000;
  const auto work = [threads, writeLine] {
    QuorTests::onThreads(threads, [threads, writeLine](std::size_t) {
      for (std::size_t i = 0; i < kLines / threads; ++i) {
        writeLine();
      }
    });
  };
  return {name, work, {}, kLines, goal};
}

#if defined(QUOR_PEER_SPDLOG_SPDLOG)
/// A logger that writes what plog writes.
std::shared_ptr<spdlog::logger> logger(const std::string& name) {
  auto made = spdlog::basic_logger_mt(name, name + ".log");
  made->set_pattern("%Y-%m-%d %H:%M:%S.%e %-5l [%t] [QuorOsgUtils::LogFile::info@20] %v\n");
  return made;
}

void addSpdlog(std::vector<Variant>& peers, std::size_t threads) {
  static const std::shared_ptr<spdlog::logger> kBuffered = logger("spdlog");
  static const std::shared_ptr<spdlog::logger> kFlushed = logger("spdlog_flushed");
  kFlushed->flush_on(spdlog::level::info);
  peers.push_back(variant("spdlog", threads, [] { kBuffered->info(kMessage); }));
  peers.push_back(variant("spdlog, flushed", threads, [] { kFlushed->info(kMessage); }));
}
#endif

/// All logs write to files in a folder that becomes the working directory.
void startLogs() {
  static const QuorBenchmarks::ScratchFolder folder;
  if (plog::get<kPlogInstance>() == nullptr) {
    std::filesystem::current_path(folder.path(""));
    plog::init<kPlogInstance>(plog::debug, "plog.log");
  }
}

void logLine(benchmark::State& state) {
  startLogs();
  const auto threads = static_cast<std::size_t>(state.range(0));
  std::vector<Variant> peers = {variant(
      "plog", threads, [] { PLOG_INFO_(kPlogInstance) << kMessage << "\n"; }, 1.02)};
#if defined(QUOR_PEER_SPDLOG_SPDLOG)
  addSpdlog(peers, threads);
#endif
  QuorOsgUtils::LogFile* const log = QuorOsgUtils::LogFile::getInstance();
  const auto samples =
      QuorBenchmarks::compare(state, variant("LogFile", threads, [log] { log->info(kMessage); }), peers);
  state.counters["lines per second"] = 1.0 / QuorBenchmarks::quantile(samples[0], 0.5);
}

BENCHMARK(logLine)->Arg(1)->Arg(4)->ArgName("threads")->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace

const QuorBenchmarks::Program QuorBenchmarks::program = {
    "Log",
    "Lines of the log; all libraries write the same text, followed by an empty line. Times are for one line. plog, on "
    "which `LogFile` is built, hands each line to the system at once. spdlog's basic logger collects some kilobytes "
    "first, unless it is told to flush each line."};
