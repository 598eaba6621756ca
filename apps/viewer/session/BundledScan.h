#pragma once

#include <string>

namespace QuorViewer {

/// The scan that is shown when none is named: in the sources that the program was built from while they are there,
/// otherwise where it is installed.
std::string bundledScan();

}  // namespace QuorViewer
