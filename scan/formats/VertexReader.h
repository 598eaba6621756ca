#pragma once

#include "scan/formats/VertexSurvey.h"

#include <memory>
#include <string>

namespace QuorViewer {

/// What is known of a file of vertices once it has been checked.
struct VertexScan {
  std::string format;  ///< for the user
  std::shared_ptr<const VertexDecoder> decoder;
  VertexTable table;
  VertexSurvey survey;  ///< of all vertices, or of none if their length is fixed
  bool localOnly = false;

  /// Reads the vertices from the current position on, at most `table.count` and at most to the end of the file. Checks
  /// them and adds them to survey and table. Throws ScanError.
  void indexFrom(SequentialBytes& from);
};

/// A reader of a checked file of vertices, in double precision. It keeps no vertex in memory; where the length of a
/// vertex varies, it finds them through the table. Throws ScanError.
std::unique_ptr<ScanReader> openVertices(ScanFile file, VertexScan scan);

}  // namespace QuorViewer
