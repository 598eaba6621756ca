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
  double intensityOffset = 0;  ///< stored value that becomes 0

  /// White if a channel is not finite.
  std::array<std::uint16_t, 3> colourOf(const Vertex& vertex) const;
  /// 0 if the stored value is not finite.
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

  /// Values that are not finite are ignored. Colours are 8-bit or 16-bit values or fractions of 1. The scan has no
  /// colour if all are black, if one is negative or above 65535, or if the file does not name its colours and all
  /// channels are 0 or 1. Intensities are whole numbers from 0 to 65535, kept as stored, or fractions of 1; any others
  /// are mapped linearly, the least to 0 and the greatest to 65535. Other values that are all equal, or all 0, count as
  /// no intensity.
  VertexScale scale(const VertexFields& fields) const;

 private:
  /// The range of one kind of value.
  struct Values {
    double least = std::numeric_limits<double>::infinity();
    double greatest = -std::numeric_limits<double>::infinity();
    bool whole = true;

    void include(double value);
    bool areShares(bool floating) const { return least >= 0 && greatest <= 1 && (floating || !whole); }
    bool areSixteenBits() const { return least >= 0 && greatest <= 65535 && whole; }
  };

  double _colourFactor(const VertexFields& fields) const;
  void _scaleIntensity(bool floating, VertexScale& scale) const;
  void _sample(const osg::Vec3d& position);

  osg::BoundingBoxd _box;
  Values _colours;
  Values _intensities;
  std::vector<osg::Vec3d> _positions;  // every `_step`-th
  std::uint64_t _seen = 0;
  std::uint64_t _step = 1;
};

}  // namespace QuorViewer
