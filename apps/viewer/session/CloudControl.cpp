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
      {{'c', 'C'},
       "C",
       "next colour mode",
       [&control] { control._setMode(nextOf(control._dependencies.cloud.colourMode())); }},
      {{'+', '=', Key::KEY_KP_Add}, "+", "larger points", [&control] { control._changeSize(1.0f); }},
      {{'-', '_', Key::KEY_KP_Subtract}, "-", "smaller points", [&control] { control._changeSize(-1.0f); }}};
  for (int number = kColourModeCount - 1; number >= 0; --number) {
    const auto mode = static_cast<ColourMode>(number);
    const int key = '1' + number;
    bindings.insert(bindings.begin(), {{key},
                                       std::string(1, static_cast<char>(key)),
                                       std::string("colour by ") + optionOf(mode),
                                       [&control, mode] { control._setMode(mode); }});
  }
  return bindings;
}

void CloudControl::start(std::optional<ColourMode> mode, std::optional<float> pointSizePixels, double windowPixels) {
  _dependencies.cloud.setColourMode(mode.value_or(fittingColourMode(_dependencies.session.scans())));
  _dependencies.cloud.setPointSizePixels(
      pointSizePixels.value_or(fittingPointSize(_dependencies.session.scans().pointCount(), windowPixels)));
}

void CloudControl::updateRanges() {
  _dependencies.cloud.setElevationRange(_dependencies.session.summary().elevations);
  _dependencies.cloud.setIntensityRange(_dependencies.session.summary().intensities);
  _updateLegend();
}

void CloudControl::_setMode(ColourMode mode) {
  _dependencies.cloud.setColourMode(mode);
  _updateLegend();
}

void CloudControl::_changeSize(float stepPixels) {
  _dependencies.cloud.setPointSizePixels(_dependencies.cloud.pointSizePixels() + stepPixels);
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
