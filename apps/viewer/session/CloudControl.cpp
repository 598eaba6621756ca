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
      {{'c', 'C'}, "C", "next colouring", [&control] { control._setMode(nextOf(control._host.cloud.colourMode())); }},
      {{'+', '=', Key::KEY_KP_Add}, "+", "larger points", [&control] { control._changeSize(1.0F); }},
      {{'-', '_', Key::KEY_KP_Subtract}, "-", "smaller points", [&control] { control._changeSize(-1.0F); }}};
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
  _host.cloud.setColourMode(mode.value_or(fittingColourMode(_host.scans)));
  _host.cloud.setPointSizePixels(pointSizePixels.value_or(fittingPointSize(_host.scans.pointCount(), windowPixels)));
}

void CloudControl::updateRanges() {
  _host.cloud.setElevationRange(_host.loader.summary().elevations);
  _host.cloud.setIntensityRange(_host.loader.summary().intensities);
  _updateLegend();
}

void CloudControl::_setMode(ColourMode mode) {
  _host.cloud.setColourMode(mode);
  _updateLegend();
}

void CloudControl::_changeSize(float stepPixels) {
  _host.cloud.setPointSizePixels(_host.cloud.pointSizePixels() + stepPixels);
}

void CloudControl::_updateLegend() {
  if (_host.scans.isEmpty()) {
    return _host.legend.hide();
  }
  constexpr int kElevationDecimals = 1;
  switch (_host.cloud.colourMode()) {
    case ColourMode::Rgb:
      return _host.legend.hide();
    case ColourMode::Classification:
      return _host.legend.showClasses(_host.loader.summary().classifications);
    case ColourMode::Intensity: {
      const auto [low, high] = _host.loader.summary().intensities;
      return _host.legend.showRamp(ColourMode::Intensity, fixed(low, 0), fixed(high, 0));
    }
    case ColourMode::Elevation: {
      const auto [low, high] = _host.loader.summary().elevations;
      const double origin = _host.scans.origin().z();
      return _host.legend.showRamp(ColourMode::Elevation, fixed(low + origin, kElevationDecimals),
                                   fixed(high + origin, kElevationDecimals));
    }
  }
}

}  // namespace QuorViewer
