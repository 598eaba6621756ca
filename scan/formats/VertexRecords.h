#pragma once

#include "scan/formats/LasMetadata.h"
#include "scan/formats/VertexSurvey.h"

namespace QuorViewer {

/// Converts vertices to the records of a LAS 1.2 file, in point format 0, or 2 with colour.
class VertexRecords {
 public:
  /// The grid is the finest decimal one about `origin` that reaches all of `box`.
  VertexRecords(const osg::Vec3d& origin, const osg::BoundingBoxd& box, const VertexScale& scale);

  LasMetadata metadata() const;
  /// Appends the record of a vertex within the box.
  void append(const Vertex& vertex, std::vector<unsigned char>& records) const;

 private:
  osg::Vec3d _origin;
  std::array<double, 3> _steps{};
  VertexScale _scale;
  const RecordLayout* _layout;
};

}  // namespace QuorViewer
