#pragma once

#include "scan/formats/Vertex.h"

#include <osg/BoundingBox>
#include <osg/Vec4ub>

#include <limits>

namespace QuorViewer {

/// Factors from the stored values to 16 bits; 0 if the scan has none of these values.
struct VertexScale {
  double colour = 0;
  double intensity = 0;

  std::array<std::uint16_t, 3> colourOf(const Vertex& vertex) const;
  std::uint16_t intensityOf(const Vertex& vertex) const;
  /// The colour in 8 bits; white if the scan has none.
  osg::Vec4ub shownColour(const Vertex& vertex) const;
};

/// Properties of a scan, derived from some or all of its vertices.
class VertexSurvey {
 public:
  void include(const Vertex& vertex);

  /// Whole numbers near the median of vertices from all over those included.
  osg::Vec3d origin() const;
  /// Of the usable positions included.
  const osg::BoundingBoxd& box() const { return _box; }

  /// Colours are 8-bit or 16-bit values or, in a floating-point type, fractions of 1; black or negative colours count
  /// as no colour. Intensities are as stored, or fractions of 1.
  VertexScale scale(const VertexFields& fields) const;

 private:
  /// The range of one kind of value.
  struct Values {
    double least = 0;
    double greatest = 0;
    bool whole = true;

    void include(double value);
    bool areShares(bool floating) const { return greatest <= 1 && (floating || !whole); }
  };

  void _sample(const osg::Vec3d& position);

  osg::BoundingBoxd _box;
  Values _colours;
  Values _intensities;
  std::vector<osg::Vec3d> _positions;  // every `_step`-th
  std::uint64_t _seen = 0;
  std::uint64_t _step = 1;
};

}  // namespace QuorViewer
