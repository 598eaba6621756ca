#pragma once

#include "scan/ScanFile.h"
#include "scan/formats/PlyCheck.h"

#include <memory>
#include <string>

namespace QuorViewer {

/// A reader of the vertices of a checked file that OpenSceneGraph's plugins read; all points are kept in memory.
/// `format` is for the user. Throws ScanError if the plugin is missing, rejects the file, or returns other vertices
/// than the check found.
std::unique_ptr<ScanReader> openVertices(const ScanFile& file, const std::string& format, const CheckedVertices& found);

}  // namespace QuorViewer
