#pragma once

#include "scan/edit/ScanCrop.h"
#include "viewer/session/ScanSet.h"

#include <osg/Plane>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace QuorViewer {

/// Writes the points of all scans that lie inside a clip box, in small steps, so that the window stays responsive. Each
/// scan with points inside gets its own LAS file in the working folder, named after the scan; no file is overwritten. A
/// scan that fails is reported and the others continue. No scan may be closed until the save has finished.
class ClipSave {
 public:
  /// Callbacks; each gets one line of text for the user.
  struct Listener {
    std::function<void(const std::string& message)> written;
    std::function<void(const std::string& message)> failed;
  };

  /// The planes' normals point inwards; the planes are relative to the scans' local origin. `scans` must outlive this.
  ClipSave(ScanSet& scans, std::vector<osg::Plane> planes, Listener listener);

  /// Runs for about `budget`.
  void step(std::chrono::milliseconds budget);

  bool finished() const { return _scansLeft.empty(); }
  std::uint64_t pointsRead() const { return _readBefore + (_crop ? _crop->pointsRead() : 0); }
  std::uint64_t pointCount() const { return _scans.pointCount(); }

 private:
  void _open();
  void _reportWritten();
  void _reportFailure(const std::string& reason);
  bool _nothingInside() const;
  void _next();

  ScanSet& _scans;
  std::vector<osg::Plane> _planes;
  Listener _listener;
  std::vector<unsigned int> _scansLeft;  // the current one is last
  std::string _path;
  std::unique_ptr<ScanCrop> _crop;  // of the current scan
  std::uint64_t _readBefore = 0;    // points of the finished scans
  bool _anyReported = false;
};

}  // namespace QuorViewer
