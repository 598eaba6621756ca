#include "viewer/clip/ClipSave.h"

#include "scan/platform/Platform.h"
#include "viewer/ui/Format.h"

#include <algorithm>
#include <filesystem>
#include <utility>

namespace QuorViewer {
namespace {

// The first unused name among town_inside.las, town_inside_2.las, …
std::string freePathFor(const std::string& scanPath) {
  const std::string stem = fromPath(toPath(scanPath).stem()) + "_inside";
  std::string path = stem + ".las";
  for (int number = 2; std::filesystem::exists(toPath(path)); ++number) {
    path = stem + "_" + std::to_string(number) + ".las";
  }
  return fromPath(std::filesystem::absolute(toPath(path)));
}

}  // namespace

ClipSave::ClipSave(ScanSet& scans, std::vector<osg::Plane> planes, Listener listener)
    : _scans(scans), _planes(std::move(planes)), _listener(std::move(listener)), _scansLeft(scans.numbers()) {
  std::reverse(_scansLeft.begin(), _scansLeft.end());
}

void ClipSave::step(std::chrono::milliseconds budget) {
  if (finished()) {
    return;
  }
  try {
    if (!_crop) {
      _open();
    }
    _crop->step(budget);
    if (_crop->finished()) {
      _reportWritten();
      _next();
    }
  } catch (const std::exception& error) {
    if (!_nothingInside()) {
      _reportFailure(error.what());
    }
    _next();
  }
}

void ClipSave::_open() {
  const osg::Vec3d origin = _scans.origin();
  const unsigned int scan = _scansLeft.back();
  _path = freePathFor(_scans.info(scan).path);
  _crop = std::make_unique<ScanCrop>(_scans.reader(scan), _path, [planes = _planes, origin](const osg::Vec3d& place) {
    return insidePlanes(planes, place - origin);
  });
}

void ClipSave::_reportWritten() {
  _anyReported = true;
  _listener.written(grouped(_crop->pointsWritten()) + " of " + grouped(_crop->pointCount()) + " points written to " +
                    _path);
}

void ClipSave::_reportFailure(const std::string& reason) {
  _anyReported = true;
  _listener.failed(reason);
}

// A crop that keeps no point ends with an error; with several scans this is normal.
bool ClipSave::_nothingInside() const {
  return _crop && _crop->pointsWritten() == 0 && _crop->pointsRead() == _crop->pointCount();
}

void ClipSave::_next() {
  _crop.reset();
  _readBefore += _scans.info(_scansLeft.back()).pointCount;
  _scansLeft.pop_back();
  if (finished() && !_anyReported) {
    _listener.failed("No point is inside the box: no file was written");
  }
}

}  // namespace QuorViewer
