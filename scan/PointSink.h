#pragma once

#include "scan/RawPoint.h"

#include <osg/Vec3d>
#include <osg/Vec4ub>

#include <cstddef>
#include <cstdint>

namespace QuorViewer {

/// Receives the points that a reader decodes, in order: as records in memory, as integers, or in floating point,
/// whichever the format stores.
class PointSink {
 public:
  virtual ~PointSink() = default;

  /// `count` records that are `strideBytes` apart.
  virtual void decode(const RecordLayout& layout, const unsigned char* records, std::size_t strideBytes,
                      std::size_t count) = 0;
  /// A point that was decoded elsewhere.
  virtual void add(const RawPoint& point) = 0;
  /// A point that the file stores in floating point, in world coordinates.
  virtual void add(const osg::Vec3d& position, const osg::Vec4ub& colour, std::uint16_t intensity) = 0;

 protected:
  PointSink() = default;
  PointSink(const PointSink&) = default;
  PointSink& operator=(const PointSink&) = default;
};

}  // namespace QuorViewer
