#pragma once

#include "scan/Scan.h"

#include <cstddef>
#include <string>
#include <vector>

namespace QuorViewer {

/// A file that could not be opened.
struct OpenFailure {
  OpenFailure(std::string file, const ScanError& error);

  std::string path;
  std::string reason;  ///< the error's text without the path
};

/// All of them for a terminal, one line each.
std::string linesOf(const std::vector<OpenFailure>& failures);

/// One line for the window: "2 of 4 scans could not be opened: broken.las: not a supported scan format; missing.laz: no
/// such file". It names the first files, each with the beginning of its reason. Expects at least one failure.
std::string summaryOf(const std::vector<OpenFailure>& failures, std::size_t scanCount);

}  // namespace QuorViewer
