#pragma once

#include "scan/ScanFile.h"
#include "scan/formats/LasCheck.h"
#include "scan/index/RecordTree.h"

#include <osg/BoundingBox>

#include <string>
#include <vector>

namespace QuorViewer {

/// An EPT folder: an octree of LAZ files. Its points are numbered one tile after the other, in the order of the keys.
struct EptFolder {
  std::string path;  ///< of the folder
  RootCube cube;
  double rootSpacing = 0.0;
  std::uint64_t pointCount = 0;
  osg::BoundingBoxd bounds;  ///< of the points, as stated; invalid if none are
  CoordinateSystem coordinateSystem;
  std::vector<RecordNode> tiles;  ///< sorted by key
  CheckedLas firstTile;           ///< all tiles must have its grid and point format

  /// Opens a tile and checks its header. Throws ScanError if it does not have the points, grid and format expected.
  std::pair<ScanFile, CheckedLas> openTile(const RecordNode& tile) const;
};

/// Whether a path is that of an EPT folder or of the file ept.json in it.
bool isEpt(const std::string& path);

/// Reads ept.json, all pages of the hierarchy and the header of the first tile. There may be very many tiles, so each
/// other one is checked when it is opened. Throws ScanError if anything is missing or contradicts the rest.
EptFolder readEptFolder(const std::string& path);

}  // namespace QuorViewer
