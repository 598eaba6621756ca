#include "viewer/session/OpenFailures.h"

#include "viewer/session/ScanSet.h"
#include "viewer/ui/Format.h"

#include <algorithm>

namespace QuorViewer {
namespace {

// Reasons begin with what is wrong; where and how follow.
std::string beginningOf(const std::string& reason) {
  std::size_t end = reason.size();
  for (const char* detail : {" (", ", at byte", ": ", "; "}) {
    end = std::min(end, reason.find(detail));
  }
  return reason.substr(0, end);
}

}  // namespace

OpenFailure::OpenFailure(std::string file, const ScanError& error) : path(std::move(file)), reason(error.what()) {
  const std::string prefix = path + ": ";
  if (reason.compare(0, prefix.size(), prefix) == 0) {
    reason.erase(0, prefix.size());
  }
}

std::string linesOf(const std::vector<OpenFailure>& failures) {
  std::string lines;
  for (const OpenFailure& failure : failures) {
    lines += (lines.empty() ? "" : "\n") + failure.path + ": " + failure.reason;
  }
  return lines;
}

std::string summaryOf(const std::vector<OpenFailure>& failures, std::size_t scanCount) {
  constexpr std::size_t kMostNamed = 3;
  const std::size_t named = std::min(failures.size(), kMostNamed);
  std::string text = grouped(failures.size()) + " of " + grouped(scanCount) + " scans could not be opened: ";
  for (std::size_t number = 0; number < named; ++number) {
    text += (number == 0 ? "" : "; ") + fileName(failures[number].path) + ": " + beginningOf(failures[number].reason);
  }
  const std::size_t left = failures.size() - named;
  return left > 0 ? text + "; and " + grouped(left) + " more" : text;
}

}  // namespace QuorViewer
