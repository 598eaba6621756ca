#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace QuorViewer {

/// The options of `quor_index`.
struct IndexOptions {
  std::vector<std::string> scans;
  std::string folder;             ///< for the indexes; empty: the default
  std::uint64_t limitBytes = 0;   ///< of all indexes in the folder; 0: the default
  std::uint64_t memoryBytes = 0;  ///< 0: the default
  unsigned threads = 0;           ///< 0: one for each processor
  bool rebuild = false;
  std::string answer;  ///< to --help, to be printed instead of building; empty: it was not given

  /// From the arguments after the program's name. Throws std::invalid_argument with a message for the user.
  static IndexOptions parse(const std::vector<std::string>& arguments);
};

}  // namespace QuorViewer
