#pragma once

#include <osg/Array>
#include <osg/ref_ptr>

#include <cstddef>
#include <cstdint>
#include <string>

namespace QuorBenchmarks {

/// What the readers make of a scan, in one piece.
struct VertexArrays {
  osg::ref_ptr<osg::Vec3Array> positions;
  osg::ref_ptr<osg::Vec4ubArray> colours;
  osg::ref_ptr<osg::UShortArray> intensities;
  osg::ref_ptr<osg::Vec2ubArray> classesReturns;
};

// Decoding with as little code as possible: nothing is checked, and each function knows only the files of
// BenchmarkScans.h. A file that cannot be read has no points.

/// LAS 1.4, point format 7.
VertexArrays decodeLas(const std::string& path);
/// Binary PLY.
VertexArrays decodePly(const std::string& path);
/// LAZ or COPC, point by point with LASzip, which decompresses the fields that `channels` says
/// (`laszip_DECOMPRESS_SELECTIVE_…`).
VertexArrays decodeLaz(const std::string& path, std::uint32_t channels);

/// Reads the file into a small buffer. Returns how many bytes there were.
std::size_t readOnly(const std::string& path);

}  // namespace QuorBenchmarks
