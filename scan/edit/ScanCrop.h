#pragma once

#include "scan/Scan.h"
#include "scan/edit/LasWriter.h"
#include "scan/formats/LasFrame.h"

#include <osg/Plane>

#include <chrono>
#include <exception>
#include <memory>
#include <string>
#include <vector>

namespace QuorViewer {

/// True where a point lies on the positive side of all planes, or on them; plane and point share a frame.
bool insidePlanes(const std::vector<osg::Plane>& planes, const osg::Vec3d& point);

/// Copies those points of a scan that lie inside something into a LAS file, a little at a time, so that a window stays
/// alive meanwhile.
///
///     ScanCrop crop(reader, "inside.las", [&](const osg::Vec3d& at) { return insidePlanes(planes, at - origin); });
///     while (!crop.finished()) crop.step(std::chrono::milliseconds(20));
///
/// Of LAS and LAZ the file keeps all: version, point format, records byte for byte, scale and offset, identifiers,
/// texts and dates, variable length records, extended ones too. Only counts and bounds become those of the points in
/// it, compression and indices by region are left out, and waveforms come along whole or, where they stood in a file of
/// their own (`.wdp`), stay there under its old name. What becomes of other formats is told by `ScanReader::lasFrame`.
///
/// The file grows as `target` with `.part` appended and gets its name last. Until then, after any error, and where the
/// crop goes before it has finished, what was under that name is still there and nothing else is left.
///
/// Throws ScanError where the scan cannot be read, and ScanWriteError where the file cannot be written: the place
/// cannot be written to, the disk is full, it is the scan itself, or no point lies inside, for which no file is made.
/// One thread at a time; the scan's reader may be used between the calls.
class ScanCrop {
 public:
  /// `source` outlives the crop. Opens the growing file.
  ScanCrop(ScanReader& source, std::string target, InsideTest inside);

  /// Copies for about as long as `budget` allows, at least one block. After an error each further call throws the same.
  void step(std::chrono::milliseconds budget);

  /// True once the file stands complete under its name.
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
  LasFrame _frame;
  std::unique_ptr<LasWriter> _writer;
  std::unique_ptr<ScanFile> _extendedFile;
  std::vector<unsigned char> _block;
  std::size_t _extendedRecord = 0;    // the one that is being copied
  std::uint64_t _extendedCopied = 0;  // bytes of it
  std::uint64_t _pointsRead = 0;
  std::uint64_t _pointsWritten = 0;
  bool _finished = false;
  std::exception_ptr _error;
};

}  // namespace QuorViewer
