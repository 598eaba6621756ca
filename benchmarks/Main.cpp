#include "benchmarks/Program.h"

#include <benchmark/benchmark.h>

int main(int count, char** arguments) {
  benchmark::Initialize(&count, arguments);
  if (benchmark::ReportUnrecognizedArguments(count, arguments)) {
    return 2;
  }
  benchmark::AddCustomContext("title", QuorBenchmarks::program.title);
  benchmark::AddCustomContext("about", QuorBenchmarks::program.about);
  benchmark::AddCustomContext("missing", QUOR_MISSING_PEERS);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
