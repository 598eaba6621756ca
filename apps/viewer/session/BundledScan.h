#pragma once

#include <string>

namespace QuorViewer {

/// Path of the scan shown if no file is given: the installed copy, found relative to the program, if it exists;
/// otherwise the one in the source tree that the program was built from.
std::string bundledScan();

}  // namespace QuorViewer
