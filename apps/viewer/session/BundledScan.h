#pragma once

#include <string>

namespace QuorViewer {

/// The scan that is shown if none is named: in the source tree that the program was built from if that still exists,
/// otherwise in the installation.
std::string bundledScan();

}  // namespace QuorViewer
