#pragma once

#include "tests/scan/CopcFile.h"

#include <string>
#include <vector>

namespace QuorTests {

/// The nodes of `sampleTree`, each with points.
std::vector<TreeFileNode> sampleTiles(unsigned format);

/// Writes an EPT folder named "ept" and returns its path. LASzip compresses the tiles, in chunks of 100 points.
std::string writeEpt(const ScanBytes::Folder& folder, const ScanBytes::FileSettings& settings,
                     const std::vector<TreeFileNode>& nodes);

/// The path of a file in an EPT folder: "ept-data/1-0-0-1.laz".
std::string eptFile(const std::string& folder, const std::string& name);

}  // namespace QuorTests
