#include "viewer/session/CloudControl.h"

#include "viewer/ui/Format.h"

#include <osgGA/GUIEventAdapter>

#include <algorithm>
#include <cmath>

namespace QuorViewer {
namespace {

using Key = osgGA::GUIEventAdapter::KeySymbol;

ColourMode fittingColourMode(const ScanSet& scans) {
  if (scans.anyHas(&ScanInfo::hasColour)) {
    return ColourMode::Rgb;
  }
  return scans.anyHas(&ScanInfo::hasIntensity) ? ColourMode::Intensity : ColourMode::Elevation;
}

std::string wordOf(ColourMode mode) {
  return mode == ColourMode::Rgb ? titleOf(mode) : optionOf(mode);
}

const char* nounOf(ColourMode mode) {
  switch (mode) {
    case ColourMode::Rgb:
      return "colours";
    case ColourMode::Intensity:
      return "intensities";
    case ColourMode::Elevation:
      return "elevations";
    case ColourMode::Classification:
      break;
  }
  return "classification";
}

// Small clouds need larger points to look like a surface; points cover about this fraction of the image.
float fittingPointSize(std::uint64_t points, double pixels) {
  constexpr double kCoveredShare = 0.9;
  constexpr double kSmallestPixels = 2.0;
  constexpr double kLargestPixels = 7.0;
  const double pixelsPerPoint = kCoveredShare * pixels / static_cast<double>(std::max<std::uint64_t>(points, 1));
  return static_cast<float>(std::clamp(std::round(std::sqrt(pixelsPerPoint)), kSmallestPixels, kLargestPixels));
}

}  // namespace

std::vector<KeyBinding> CloudControl::bindings(CloudControl& control) {
  std::vector<KeyBinding> bindings = {
      {{'c', 'C'}, "C", "next colour mode", [&control] { control._chooseNextMode(); }},
      {{'+', '=', Key::KEY_KP_Add}, "+", "larger points", [&control] { control._changeSize(1.0f); }},
      {{'-', '_', Key::KEY_KP_Subtract}, "-", "smaller points", [&control] { control._changeSize(-1.0f); }}};
  for (int number = kColourModeCount - 1; number >= 0; --number) {
    const auto mode = static_cast<ColourMode>(number);
    const int key = '1' + number;
    bindings.insert(bindings.begin(), {{key, Key::KEY_KP_1 + number},
                                       std::string(1, static_cast<char>(key)),
                                       std::string("colour by ") + optionOf(mode),
                                       [&control, mode] { control._chooseMode(mode); }});
  }
  return bindings;
}

void CloudControl::start(std::optional<ColourMode> mode, std::optional<float> pointSizePixels, double windowPixels) {
  _dependencies.cloud.setColourMode(mode ? _start(*mode) : fittingColourMode(_dependencies.session.scans()));
  _dependencies.cloud.setPointSizePixels(
      pointSizePixels.value_or(fittingPointSize(_dependencies.session.scans().pointCount(), windowPixels)));
}

void CloudControl::updateRanges() {
  _dependencies.cloud.setElevationRange(_dependencies.session.summary().elevations);
  _dependencies.cloud.setIntensityRange(_dependencies.session.summary().intensities);
  _leaveLackingMode();
  _updateLegend();
}

// Before the points are loaded, only a sample of each scan is known.
bool CloudControl::_has(ColourMode mode) const {
  const ScanSet& scans = _dependencies.session.scans();
  const CloudSummary& loaded = _dependencies.session.summary();
  switch (mode) {
    case ColourMode::Rgb:
      return scans.isEmpty() || scans.anyHas(&ScanInfo::hasColour);
    case ColourMode::Intensity:
      return scans.isEmpty() || scans.anyHas(&ScanInfo::hasIntensity) || loaded.anyIntensity;
    case ColourMode::Elevation:
      return true;
    case ColourMode::Classification:
      return scans.isEmpty() || scans.anyHas(&ScanInfo::hasClassification) ||
             std::any_of(loaded.classifications.begin(), loaded.classifications.end(),
                         [](unsigned int code) { return code != 0; });
  }
  return true;
}

std::string CloudControl::_lackOf(ColourMode mode) const {
  const bool single = _dependencies.session.scans().numbers().size() == 1;
  const std::string what = nounOf(mode);
  return single ? "The scan has no " + what
                : "None of the scans has " + (mode == ColourMode::Classification ? "a " + what : what);
}

ColourMode CloudControl::_start(ColourMode mode) {
  if (_has(mode)) {
    return mode;
  }
  const ColourMode used = fittingColourMode(_dependencies.session.scans());
  _dependencies.messages.reportError(_lackOf(mode) + "; coloured by " + wordOf(used) + " instead");
  return used;
}

void CloudControl::_chooseMode(ColourMode mode) {
  if (_has(mode)) {
    _setMode(mode);
    _dependencies.messages.show("Coloured by " + wordOf(mode));
  } else {
    _dependencies.messages.show(_lackOf(mode) + "; still coloured by " + wordOf(_dependencies.cloud.colourMode()));
  }
}

void CloudControl::_chooseNextMode() {
  const ColourMode before = _dependencies.cloud.colourMode();
  ColourMode next = nextOf(before);
  while (next != before && !_has(next)) {
    next = nextOf(next);
  }
  if (next != before) {
    return _chooseMode(next);
  }
  const bool single = _dependencies.session.scans().numbers().size() == 1;
  _dependencies.messages.show((single ? "The scan has only " : "The scans have only ") + std::string(nounOf(before)) +
                              " to colour by");
}

// The scan that had it may have been closed.
void CloudControl::_leaveLackingMode() {
  const ColourMode lacking = _dependencies.cloud.colourMode();
  if (_dependencies.session.isLoaded() && !_has(lacking)) {
    const ColourMode used = fittingColourMode(_dependencies.session.scans());
    _setMode(used);
    _dependencies.messages.show(_lackOf(lacking) + "; now coloured by " + wordOf(used));
  }
}

void CloudControl::_setMode(ColourMode mode) {
  _dependencies.cloud.setColourMode(mode);
  _updateLegend();
}

void CloudControl::_changeSize(float stepPixels) {
  _dependencies.cloud.setPointSizePixels(_dependencies.cloud.pointSizePixels() + stepPixels);
  const float pixels = _dependencies.cloud.pointSizePixels();
  const std::string limit = pixels <= PointCloud::kSmallestPixels  ? " is the smallest"
                            : pixels >= PointCloud::kLargestPixels ? " is the largest"
                                                                   : "";
  _dependencies.messages.show("Point size " + fixed(pixels, 0) + (pixels == 1.0f ? " pixel" : " pixels") + limit);
}

void CloudControl::_updateLegend() {
  if (_dependencies.session.scans().isEmpty()) {
    return _dependencies.legend.hide();
  }
  constexpr int kElevationDecimals = 1;
  switch (_dependencies.cloud.colourMode()) {
    case ColourMode::Rgb:
      return _dependencies.legend.hide();
    case ColourMode::Classification:
      return _dependencies.legend.showClasses(_dependencies.session.summary().classifications);
    case ColourMode::Intensity: {
      const auto [low, high] = _dependencies.session.summary().intensities;
      return _dependencies.legend.showRamp(ColourMode::Intensity, fixed(low, 0), fixed(high, 0));
    }
    case ColourMode::Elevation: {
      const auto [low, high] = _dependencies.session.summary().elevations;
      const double origin = _dependencies.session.scans().origin().z();
      return _dependencies.legend.showRamp(ColourMode::Elevation, fixed(low + origin, kElevationDecimals),
                                           fixed(high + origin, kElevationDecimals));
    }
  }
}

}  // namespace QuorViewer
