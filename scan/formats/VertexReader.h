#pragma once

#include "scan/ScanFile.h"
#include "scan/formats/PlyCheck.h"

#include <memory>
#include <string>

namespace QuorViewer {

/// A reader of the vertices of a file that OpenSceneGraph's plugins read and that has been checked; all points are kept
/// in memory. `format` is for people. Throws ScanError where the plugin is missing, refuses the file, or hands out
/// other than the vertices found in the check.
std::unique_ptr<ScanReader> openVertices(const ScanFile& file, const std::string& format, const CheckedVertices& found);

}  // namespace QuorViewer
