#pragma once

#include "scan/CoordinateSystem.h"
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

/// A scan that cannot be read, or can no longer be read. The text names the file, what is wrong, and at which byte or
/// field.
class ScanError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The system cannot open or read the file. That says nothing about its contents, and may succeed later.
class ScanReadError : public ScanError {
 public:
  using ScanError::ScanError;
};

/// Positions are drawn in single precision; the distance between two scans must still be finite there.
inline constexpr double kFarthestCoordinate = 1e37;

/// False for a missing measurement (not finite), and for coordinates beyond `kFarthestCoordinate`.
bool isUsable(const osg::Vec3d& position);

/// Points of a scan in arrays that the graphics card uses directly, each with one element per point.
struct PointChunk {
  PointRange points;  ///< which points of the file
  /// World units, relative to the origin of `ScanReader::startChunk`. All three are NaN if a position is not usable.
  osg::ref_ptr<osg::Vec3Array> positions;
  osg::ref_ptr<osg::Vec4ubArray> colours;  ///< RGB 0 to 255 and 255; white where the scan has no colour
  /// As stored, or scaled to 0 to 65535 if the file has fractions, negative or larger values; 0 if there are none.
  osg::ref_ptr<osg::UShortArray> intensities;
  osg::ref_ptr<osg::Vec2ubArray> classesReturns;  ///< class; return number in the low, returns in the high 4 bits
  osg::BoundingBox bounds;                        ///< of the finite `positions`
};

/// Information on an open scan.
struct ScanInfo {
  std::string path;    ///< of the file, or of the folder of an EPT scan
  std::string format;  ///< for the user: "LAS 1.2, point format 3", "PLY"
  std::uint64_t pointCount = 0;
  osg::Vec3d origin;  ///< a world point among a sample of the points, in whole numbers; subtracted as the local origin
  osg::Vec3d scale;   ///< step of the file's coordinate grid for each axis; 0 if it stores floating point
  osg::Vec3d offset;  ///< origin of that grid
  bool hasColour = false;          ///< also false if every sampled colour is black
  bool hasIntensity = false;       ///< also false if every sampled intensity is 0
  bool hasClassification = false;  ///< also false if every sampled class is 0, never classified
  bool localOnly = false;          ///< the file stores single-precision coordinates, so georeference is lost
  osg::BoundingBoxd
      bounds;  ///< world coordinates, as the file states them; invalid if it states none that are plausible
  CoordinateSystem coordinateSystem;
};

class ChunkBuilder;
class PointSink;
struct LasMetadata;
struct RecordLayout;

/// Where a file stores its points as uncompressed records.
struct RecordTable {
  std::uint64_t offsetBytes = 0;  ///< of the first record in the file
  std::size_t recordBytes = 0;    ///< from one record to the next
  const RecordLayout* layout = nullptr;
};

/// Whether a point is inside, by its coordinates exactly as stored in the file.
using InsideTest = std::function<bool(const osg::Vec3d& coordinates)>;

/// Reads one scan. One thread at a time.
class ScanReader {
 public:
  virtual ~ScanReader() = default;

  /// Opens LAS, LAZ (also COPC), PLY or .asc, identified by content, or by name if the content is ambiguous; or EPT, by
  /// the path of its folder or of the file ept.json in it. Throws ScanError.
  static std::unique_ptr<ScanReader> open(const std::string& path);

  virtual const ScanInfo& info() const = 0;

  /// A reader for another thread, which may outlive this one. It shares the open file and what is known of it, so that
  /// nothing is opened or checked again. Call it on the thread that uses this reader.
  [[nodiscard]] virtual std::unique_ptr<ScanReader> clone() const = 0;

  /// Reading can start directly at each point whose index is a multiple of this.
  virtual std::uint64_t entryPoints() const { return 1; }
  /// The file's records, for callers that have mapped the file; nothing if the points are not plain records.
  virtual std::optional<RecordTable> records() const { return std::nullopt; }
  /// The current size of the opened file with these records, even if its name now refers to another file.
  virtual std::uint64_t fileBytesNow() { return 0; }

  /// An empty chunk for points of this scan, relative to `origin`, which is subtracted in double precision.
  virtual ChunkBuilder startChunk(const PointRange& points, const osg::Vec3d& origin) const = 0;
  /// Passes on the points of a run, which lies within the scan. Throws ScanError (the file became shorter, a
  /// compressed block is damaged); the points before the damage may have been passed on.
  virtual void decode(const PointRun& run, PointSink& to) = 0;

  /// Decodes `count` consecutive points from `first` on. Throws ScanError.
  PointChunk read(std::uint64_t first, std::uint32_t count, const osg::Vec3d& origin);

  /// The coordinates of one point exactly as stored in the file. Throws ScanError.
  virtual osg::Vec3d coordinates(std::uint64_t point) = 0;

  /// Everything but the points of a LAS file with points of this scan. For LAS and LAZ it is the scan's own, for EPT
  /// that of the first tile; EPT with waveforms is refused. For others it is LAS 1.2, point format 0, or 2 with colour,
  /// with the finest decimal grid about `origin` that holds all points; for a binary PLY scan the first call reads all
  /// points. Throws ScanError.
  virtual LasMetadata lasMetadata() = 0;

  /// Appends to `records` the point records, in the format of `lasMetadata`, of those among the `count` points from
  /// `first` on that are inside, in order. For LAS and LAZ they are the file's own, byte for byte; for others, a point
  /// with non-finite coordinates is never inside. Throws ScanError.
  virtual void readInside(std::uint64_t first, std::uint32_t count, const InsideTest& inside,
                          std::vector<unsigned char>& records) = 0;
};

}  // namespace QuorViewer
