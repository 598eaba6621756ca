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

/// Writes those points of all scans that lie inside a clip box, a little at a time, so that the window stays alive.
/// Each scan with points inside gets a LAS file of its own in the working folder, named after it; no file is
/// overwritten. A scan that fails is told about and the others go on. No scan is closed meanwhile.
class ClipSave {
 public:
  /// Who is told what: a line for people each.
  struct Listener {
    std::function<void(const std::string& message)> written;
    std::function<void(const std::string& message)> failed;
  };

  /// `planes` point inwards and are relative to the scans' local origin. `scans` outlives the save.
  ClipSave(ScanSet& scans, std::vector<osg::Plane> planes, Listener listener);

  /// Works for about as long as `budget` allows.
  void step(std::chrono::milliseconds budget);

  bool finished() const { return _scansLeft.empty(); }
  std::uint64_t pointsRead() const { return _readBefore + (_crop ? _crop->pointsRead() : 0); }
  std::uint64_t pointCount() const { return _scans.pointCount(); }

 private:
  void _open();
  void _tell();
  void _fail(const std::string& reason);
  bool _nothingInside() const;
  void _next();

  ScanSet& _scans;
  std::vector<osg::Plane> _planes;
  Listener _listener;
  std::vector<unsigned int> _scansLeft;  // the one at hand last
  std::string _path;
  std::unique_ptr<ScanCrop> _crop;  // of the scan at hand
  std::uint64_t _readBefore = 0;    // points of the scans that are done
  bool _anyToldOf = false;
};

}  // namespace QuorViewer
