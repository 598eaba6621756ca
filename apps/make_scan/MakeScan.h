#pragma once

#include "make_scan/Options.h"

#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

namespace QuorViewer {

/// Told from time to time how many of the points are written.
using Progress = std::function<void(std::uint64_t done, std::uint64_t all)>;

/// Writes the scan. Uses all processors; the file is the same however many there are.
/// Throws ArgumentError and ScanWriteError.
void makeScan(const Options& options, const Progress& progress);

/// The program: what it prints, and its exit status.
int runMakeScan(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err,
                const Progress& progress);

}  // namespace QuorViewer
