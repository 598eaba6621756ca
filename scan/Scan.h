#pragma once

#include "scan/PointRange.h"

#include <osg/Array>
#include <osg/BoundingBox>
#include <osg/Vec3d>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace QuorViewer {

/// A scan that cannot be read, or can no longer be. The text names the file, what is wrong, and at which byte or field.
class ScanError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Points of a scan in the arrays that the graphics card takes as they are, one element a point in each.
struct PointChunk {
  PointRange points;                              ///< which of the file's
  osg::ref_ptr<osg::Vec3Array> positions;         ///< world units, relative to the origin of `ScanReader::startChunk`
  osg::ref_ptr<osg::Vec4ubArray> colours;         ///< RGB 0 to 255 and 255; white where the scan has no colour
  osg::ref_ptr<osg::UShortArray> intensities;     ///< as the file holds them, 0 where it holds none
  osg::ref_ptr<osg::Vec2ubArray> classesReturns;  ///< class; return number in the low, returns in the high 4 bits
  osg::BoundingBox bounds;                        ///< of those `positions` that are finite
};

/// What is known of a scan once it is open.
struct ScanInfo {
  std::string path;
  std::string format;  ///< for people: "LAS 1.2, point format 3", "PLY"
  std::uint64_t pointCount = 0;
  osg::Vec3d origin;  ///< a world point amid a sample of the scan's points, whole numbers; a local origin to subtract
  osg::Vec3d scale;   ///< step of the file's coordinate grid for each axis; 0 where it stores floating point
  osg::Vec3d offset;  ///< origin of that grid
  bool hasColour = false;          ///< false also where every sampled colour is black
  bool hasIntensity = false;       ///< false also where every sampled intensity is 0
  bool hasClassification = false;  ///< false also where every sampled class is 0, never classified
  bool localOnly = false;          ///< the format holds single-precision coordinates, so georeference is lost
};

class ChunkBuilder;
struct LasFrame;
struct RecordLayout;

/// Where a file keeps its points as records that need no unpacking.
struct RecordTable {
  std::uint64_t offsetBytes = 0;  ///< of the first record in the file
  std::size_t recordBytes = 0;    ///< from one record to the next
  const RecordLayout* layout = nullptr;
};

/// Tells whether a point is inside, by its coordinates exactly as the file states them.
using InsideTest = std::function<bool(const osg::Vec3d& coordinates)>;

/// Reads one scan. One thread at a time.
class ScanReader {
 public:
  virtual ~ScanReader() = default;

  /// Opens LAS, LAZ, PLY or .asc, told apart by content first and by name where content does not tell.
  /// Throws ScanError.
  static std::unique_ptr<ScanReader> open(const std::string& path);

  virtual const ScanInfo& info() const = 0;

  /// Another reader of the same file, for another thread; neither needs the other. Throws ScanError.
  virtual std::unique_ptr<ScanReader> again() const = 0;

  /// Reading begins without a detour at each point whose index is a multiple of this.
  virtual std::uint64_t entryPoints() const { return 1; }
  /// The file's records, for who has the file's bytes at hand; nothing where points must be unpacked.
  virtual std::optional<RecordTable> records() const { return std::nullopt; }
  /// Bytes that are left of the file these records are in: it may become shorter, or its name another file's.
  virtual std::uint64_t fileBytesNow() { return 0; }

  /// An empty chunk for points of this scan, relative to `origin`, which is subtracted in double precision.
  virtual ChunkBuilder startChunk(const PointRange& points, const osg::Vec3d& origin) const = 0;
  /// Adds the points of a run, which lies within the scan, to a chunk. Throws ScanError (a file that shrank, a damaged
  /// compressed block); the points before the damage may have been added then.
  virtual void decode(const PointRun& run, ChunkBuilder& to) = 0;

  /// Decodes `count` consecutive points from `first` on. Throws ScanError.
  PointChunk read(std::uint64_t first, std::uint32_t count, const osg::Vec3d& origin);

  /// The coordinates of one point exactly as the file states them. Throws ScanError.
  virtual osg::Vec3d coordinates(std::uint64_t point) = 0;

  /// The LAS file that this scan's points fit in: of LAS and LAZ their own, of others one of LAS 1.2, point format 0,
  /// or 2 where there is colour, with the finest decimal grid about `origin` that holds all points. Throws ScanError.
  virtual LasFrame lasFrame() = 0;

  /// Appends to `records` the point records, as they fit into `lasFrame`, of those among the `count` points from
  /// `first` on that are inside, in their order. Of LAS and LAZ they are the file's own, byte for byte; a point of
  /// others whose coordinates are no finite numbers is never inside. Throws ScanError.
  virtual void readInside(std::uint64_t first, std::uint32_t count, const InsideTest& inside,
                          std::vector<unsigned char>& records) = 0;
};

}  // namespace QuorViewer
