#pragma once

#include "scan/ScanFile.h"

#include <osg/Vec3d>

#include <array>
#include <cstdint>
#include <vector>

namespace QuorViewer {

/// A point of a PLY or text file, with its values as stored there; 0 where the file has none.
struct Vertex {
  osg::Vec3d position;
  std::array<double, 3> colour{};  ///< red, green, blue
  double intensity = 0;
};

/// What the vertices of a file have besides their position.
struct VertexFields {
  bool colour = false;
  bool intensity = false;
  bool namedColour = false;     ///< the file says that it is a colour
  bool floatingColour = false;  ///< its type can store fractions
  bool floatingIntensity = false;
};

/// Reads the vertices of one file in sequence. It has no state, so that several readers can share it.
class VertexDecoder {
 public:
  virtual ~VertexDecoder() = default;

  virtual VertexFields fields() const = 0;
  /// Reads the vertex at the current position and moves past it. False if there is none because the file ends. Throws
  /// ScanError.
  virtual bool read(SequentialBytes& from, Vertex& to) const = 0;
  /// Moves past a vertex without reading its values. False as above. Throws ScanError.
  virtual bool skip(SequentialBytes& from) const = 0;
};

/// Where a file stores its vertices.
struct VertexTable {
  /// Vertices between two entries.
  static constexpr std::uint64_t kEntryPoints = 16384;

  struct Entry {
    std::uint64_t byte = 0;
    std::uint64_t line = 0;  ///< number of lines before it
  };

  std::uint64_t count = 0;
  std::uint64_t recordBytes = 0;  ///< length of each vertex; 0 if it varies
  std::vector<Entry> entries;     ///< only of the first vertex, or of every `kEntryPoints`-th if their length varies

  std::uint64_t entryPoints() const { return recordBytes > 0 ? 1 : kEntryPoints; }
};

}  // namespace QuorViewer
