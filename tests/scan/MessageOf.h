#pragma once

#include "scan/Scan.h"

#include <string>

namespace ReaderSupport {

/// The message of the `Error` that `action` throws, or "no error".
template <typename Error = QuorViewer::ScanError, typename Action>
std::string messageOf(const Action& action) {
  try {
    action();
  } catch (const Error& error) {
    return error.what();
  }
  return "no error";
}

}  // namespace ReaderSupport
