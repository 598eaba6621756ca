#pragma once

namespace QuorBenchmarks {

/// What the report says about a benchmark program.
struct Program {
  /// The heading of its section, such as "Frame capture".
  const char* title;
  /// What is compared with what, and how. Markdown.
  const char* about;
};

/// Each benchmark program defines its own.
extern const Program program;

}  // namespace QuorBenchmarks
