#include "viewer/session/FitCheck.h"

#include "viewer/render/Precision.h"

#include <algorithm>

namespace QuorViewer {

std::vector<FitReport> FitCheck::checkOpened() {
  std::vector<FitReport> reports;
  for (const unsigned int scan : _scans.numbers()) {
    if (scan > _latestOpened) {
      const std::vector<ScanPlace> before = _placesBefore(scan);
      _report(scan, systemMisfit(_placeOf(scan), before), distanceMisfit(_placeOf(scan), before), reports);
      _latestOpened = scan;
    }
  }
  return reports;
}

std::vector<FitReport> FitCheck::checkLoaded() {
  std::vector<FitReport> reports;
  for (const unsigned int scan : _scans.numbers()) {
    if (scan > _latestLoaded && _far.count(scan) == 0) {
      _report(scan, {}, distanceMisfit(_placeOf(scan), _placesBefore(scan)), reports);
    }
    _latestLoaded = std::max(_latestLoaded, scan);
  }
  return reports;
}

osg::BoundingBoxd FitCheck::boundsOf(unsigned int scan) const {
  const osg::BoundingBoxd& stated = _scans.info(scan).bounds;
  const osg::BoundingBox loaded = _cloud.boundsOf(scan);
  if (!loaded.valid()) {
    return stated;
  }
  const osg::BoundingBoxd shown(_scans.origin() + loaded._min, _scans.origin() + loaded._max);
  return stated.valid() && stated.intersects(shown) ? stated : shown;
}

std::string FitCheck::lostPrecisionOf(unsigned int scan) const {
  constexpr double kStepOfFloatingPoint = 0.001;
  const ScanInfo& info = _scans.info(scan);
  const osg::BoundingBoxd bounds = boundsOf(scan);
  const double finest = std::min({info.scale.x(), info.scale.y(), info.scale.z()});
  const double drawn = bounds.valid() ? drawnStepAt(bounds.center() - _scans.origin()) : 0.0;
  return drawn > (finest > 0.0 ? finest : kStepOfFloatingPoint) ? lengthText(drawn, info.coordinateSystem.metresPerUnit)
                                                                : std::string();
}

ScanPlace FitCheck::_placeOf(unsigned int scan) const {
  return {boundsOf(scan), _scans.info(scan).coordinateSystem};
}

std::vector<ScanPlace> FitCheck::_placesBefore(unsigned int scan) const {
  std::vector<ScanPlace> places;
  for (const unsigned int other : _scans.numbers()) {
    if (other < scan) {
      places.push_back(_placeOf(other));
    }
  }
  return places;
}

void FitCheck::_report(unsigned int scan, const std::string& system, const std::string& distance,
                       std::vector<FitReport>& reports) {
  if (system.empty() && distance.empty()) {
    return;
  }
  const std::string both = system.empty() || distance.empty() ? std::string() : "; it ";
  std::string text = fileName(_scans.info(scan).path) + " " + system + both + distance;
  if (!distance.empty()) {
    const std::string step = lostPrecisionOf(scan);
    text += step.empty() ? ". G zooms to it" : ". G zooms to it; positions there are drawn to " + step;
    _far.insert(scan);
  }
  reports.push_back({scan, !distance.empty(), text});
}

}  // namespace QuorViewer
