#include "viewer/navigate/ScanZoom.h"

#include <algorithm>
#include <optional>
#include <string>

namespace QuorViewer {

std::vector<KeyBinding> ScanZoom::bindings(ScanZoom& zoom) {
  return {{{'g', 'G'}, "G", "zoom to the scan under the pointer, or to the next scan", [&zoom] { zoom._zoom(); }}};
}

void ScanZoom::_zoom() {
  if (_dependencies.session.scans().isEmpty()) {
    return _dependencies.messages.show("No scan is open; press A to add one");
  }
  _show(_chooseScan());
}

// After a zoom its scan usually is under the pointer: pressing the key again goes on to the next scan.
unsigned int ScanZoom::_chooseScan() {
  while (!_offered.empty()) {
    const unsigned int offered = _offered.front();
    _offered.pop_front();
    if (_dependencies.session.scans().isOpen(offered)) {
      return offered;
    }
  }
  const osg::Vec2i pixel = _dependencies.pointer();
  const std::optional<unsigned int> under = _dependencies.picker.scanAt(pixel.x(), pixel.y());
  return under && !(under == _latest && isSameView(_dependencies.camera.viewAtRest(), _latestView)) ? *under
                                                                                                    : _nextScan();
}

unsigned int ScanZoom::_nextScan() const {
  const std::vector<unsigned int> open = _dependencies.session.scans().numbers();
  const auto next = std::upper_bound(open.begin(), open.end(), _latest);
  return next == open.end() ? open.front() : *next;
}

void ScanZoom::_show(unsigned int scan) {
  const Session& session = _dependencies.session;
  _latest = scan;
  const std::string name = fileName(session.scans().info(scan).path);
  const osg::BoundingBoxd world = session.boundsOf(scan);
  if (!world.valid()) {
    return _dependencies.messages.show(name + " has no points yet");
  }
  const osg::Vec3d origin = session.scans().origin();
  _latestView = _dependencies.camera.zoomTo({world._min - origin, world._max - origin});

  const std::vector<unsigned int> open = session.scans().numbers();
  const auto place = std::find(open.begin(), open.end(), scan) - open.begin() + 1;
  const std::string text = name + " (" + std::to_string(place) + " of " + std::to_string(open.size()) + ")";
  const std::string step = session.lostPrecisionOf(scan);
  _dependencies.messages.print("zoomed to " + text);
  _dependencies.messages.show(step.empty() ? text : text + ": its positions are drawn to " + step);
}

}  // namespace QuorViewer
