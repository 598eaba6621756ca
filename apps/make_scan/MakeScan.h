#pragma once

#include "make_scan/Options.h"

#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

namespace QuorViewer {

/// Called from time to time with the number of points written so far.
using Progress = std::function<void(std::uint64_t done, std::uint64_t all)>;

/// Writes the scan. Uses all processors; the file does not depend on their number. Throws
/// std::invalid_argument and ScanWriteError.
void makeScan(const Options& options, const Progress& progress);

/// The program: prints its messages and returns its exit status.
int runMakeScan(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err,
                const Progress& progress);

}  // namespace QuorViewer
