#pragma once

#include "scan/Scan.h"
#include "scan/edit/LasWriter.h"
#include "scan/formats/LasMetadata.h"

#include <osg/Plane>

#include <chrono>
#include <exception>
#include <memory>
#include <string>
#include <vector>

namespace QuorViewer {

/// True if a point is on the positive side of all planes, or on them; planes and point are in the same coordinate
/// frame.
bool insidePlanes(const std::vector<osg::Plane>& planes, const osg::Vec3d& point);

/// Copies the points of a scan that lie inside a region into a LAS file, in small steps, so that a window stays
/// responsive.
///
///     ScanCrop crop(reader, "inside.las", [&](const osg::Vec3d& at) { return insidePlanes(planes, at - origin); });
///     while (!crop.finished()) crop.step(std::chrono::milliseconds(20));
///
/// For LAS and LAZ, and for the tiles of EPT, the file keeps everything: version, point format, records byte for byte,
/// scale and offset, identifiers, texts and dates, variable length records, also extended ones. Only counts and bounds
/// become those of the points in it, records on compression and spatial indices are left out, and waveforms are copied
/// whole or, if they are in a file of their own (`.wdp`), stay there under its old name. For other formats see
/// `ScanReader::lasMetadata`.
///
/// The file is written as `target` with `.part` appended and renamed last. Until then, after any error, and if the crop
/// is destroyed before it has finished, an existing file of that name is unchanged and nothing else is left behind.
///
/// Throws ScanError if the scan cannot be read, and ScanWriteError if the file cannot be written: the folder is not
/// writable, the disk is full, the target is the scan itself or in the folder of an EPT scan, or no point lies inside,
/// in which case no file is written. One thread at a time; the scan's reader may be used between the calls.
class ScanCrop {
 public:
  /// `source` outlives the crop. Opens the temporary file.
  ScanCrop(ScanReader& source, std::string target, InsideTest inside);

  /// Copies for about `budget`, at least one block. After an error, each further call throws it again.
  void step(std::chrono::milliseconds budget);

  /// True once the file is complete under its final name.
  bool finished() const { return _finished; }
  std::uint64_t pointCount() const { return _source.info().pointCount; }
  std::uint64_t pointsRead() const { return _pointsRead; }
  std::uint64_t pointsWritten() const { return _pointsWritten; }

 private:
  void _refuseSource() const;
  void _copyBlock();
  void _copyPoints();
  void _copyExtendedRecords();
  void _finish();
  [[noreturn]] void _fail(const std::string& reason) const;

  ScanReader& _source;
  std::string _target;
  InsideTest _inside;
  LasMetadata _metadata;
  std::unique_ptr<LasWriter> _writer;
  std::vector<unsigned char> _block;
  std::size_t _extendedRecord = 0;    // the one being copied
  std::uint64_t _extendedCopied = 0;  // bytes of it
  std::uint64_t _pointsRead = 0;
  std::uint64_t _pointsWritten = 0;
  bool _finished = false;
  std::exception_ptr _error;
};

}  // namespace QuorViewer
