#pragma once

#include "make_scan/Options.h"
#include "make_scan/ScanPlan.h"
#include "scan/formats/LasFormat.h"

#include <vector>

namespace QuorViewer {

/// The contents of a file before its points.
struct Preamble {
  LasHeader header;
  std::vector<unsigned char> variableRecords;
};

/// A header without counts and bounds, and the records that describe extra bytes and, if the point format requires it,
/// the coordinate system: a local one in metres.
Preamble preamble(const Options& options);

/// The point records of one block.
std::vector<unsigned char> encodeBlock(const Scanner& scanner, const Block& block, const Options& options,
                                       const LasHeader& header);

}  // namespace QuorViewer
