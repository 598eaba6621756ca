#pragma once

#include "scan/ScanFile.h"
#include "scan/formats/LasCheck.h"
#include "scan/formats/LasRecords.h"
#include "scan/index/RecordTree.h"

#include <vector>

namespace QuorViewer {

/// A node of a COPC file, whose points are one chunk of the compressed file.
struct CopcNode : RecordNode {
  FileRange points;              ///< the compressed ones; meaningless if there are none
  std::uint64_t entryBytes = 0;  ///< offset in the file of the entry in the hierarchy
};

/// The octree of a COPC file, checked against itself and against the header.
struct CopcHierarchy {
  RootCube cube;
  double rootSpacing = 0.0;
  std::vector<CopcNode> nodes;  ///< sorted by key
};

/// Whether a LAS file is a COPC file: compressed, and its first record is the one that describes the octree.
bool isCopc(const ScanFile& file, const CheckedLas& las);

/// Reads the octree of a COPC file: the record on it and all pages of the hierarchy. The records of the points are
/// numbered in the order of the file. Throws ScanError if anything contradicts the rest, the header or the file's size.
CopcHierarchy readCopcHierarchy(const ScanFile& file, const CheckedLas& las);

}  // namespace QuorViewer
