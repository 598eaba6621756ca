#include "scan/formats/VertexSurvey.h"

#include "scan/ScanSample.h"

#include <algorithm>
#include <cmath>

namespace QuorViewer {

namespace {

constexpr double kMost16Bits = 65535;
constexpr double kMost8Bits = 255;

std::uint16_t toSixteenBits(double value, double factor) {
  const double scaled = value * factor;
  return scaled > 0 ? static_cast<std::uint16_t>(std::lround(std::min(scaled, kMost16Bits))) : std::uint16_t{0};
}

double medianOf(const std::vector<osg::Vec3d>& positions, int axis) {
  if (positions.empty()) {
    return 0;
  }
  std::vector<double> values;
  values.reserve(positions.size());
  for (const osg::Vec3d& position : positions) {
    values.push_back(position[axis]);
  }
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

}  // namespace

std::array<std::uint16_t, 3> VertexScale::colourOf(const Vertex& vertex) const {
  if (!std::all_of(vertex.colour.begin(), vertex.colour.end(), [](double channel) { return std::isfinite(channel); })) {
    return {65535, 65535, 65535};
  }
  return {toSixteenBits(vertex.colour[0], colour), toSixteenBits(vertex.colour[1], colour),
          toSixteenBits(vertex.colour[2], colour)};
}

std::uint16_t VertexScale::intensityOf(const Vertex& vertex) const {
  return std::isfinite(vertex.intensity) ? toSixteenBits(vertex.intensity - intensityOffset, intensity)
                                         : std::uint16_t{0};
}

osg::Vec4ub VertexScale::shownColour(const Vertex& vertex) const {
  if (colour == 0) {
    return {255, 255, 255, 255};
  }
  const std::array<std::uint16_t, 3> full = colourOf(vertex);
  const auto upper = [&full](std::size_t channel) { return static_cast<std::uint8_t>(full[channel] >> 8U); };
  return {upper(0), upper(1), upper(2), 255};
}

void VertexSurvey::Values::include(double value) {
  if (!std::isfinite(value)) {
    return;
  }
  least = std::min(least, value);
  greatest = std::max(greatest, value);
  whole = whole && value == std::floor(value);
}

// In some files a point with non-finite coordinates marks a missing measurement; it says nothing about the position.
void VertexSurvey::include(const Vertex& vertex) {
  for (const double channel : vertex.colour) {
    _colours.include(channel);
  }
  _intensities.include(vertex.intensity);
  if (!isUsable(vertex.position)) {
    return;
  }
  _box.expandBy(vertex.position);
  if (_seen++ % _step == 0) {
    _sample(vertex.position);
  }
}

void VertexSurvey::_sample(const osg::Vec3d& position) {
  constexpr std::size_t kMostPositions = std::size_t{1} << 15;
  if (_positions.size() == kMostPositions) {
    for (std::size_t kept = 0; kept < kMostPositions / 2; ++kept) {
      _positions[kept] = _positions[2 * kept];
    }
    _positions.resize(kMostPositions / 2);
    _step *= 2;
  }
  _positions.push_back(position);
}

osg::Vec3d VertexSurvey::origin() const {
  return {wholeNumber(medianOf(_positions, 0)), wholeNumber(medianOf(_positions, 1)),
          wholeNumber(medianOf(_positions, 2))};
}

double VertexSurvey::_colourFactor(const VertexFields& fields) const {
  if (_colours.least < 0 || _colours.greatest <= 0 || _colours.greatest > kMost16Bits) {
    return 0;
  }
  if (_colours.areShares(fields.floatingColour)) {
    return kMost16Bits;
  }
  if (_colours.greatest <= 1 && !fields.namedColour) {
    return 0;
  }
  return _colours.greatest <= kMost8Bits ? kMost16Bits / kMost8Bits : 1;
}

void VertexSurvey::_scaleIntensity(bool floating, VertexScale& scale) const {
  if (_intensities.areShares(floating)) {
    scale.intensity = _intensities.greatest > 0 ? kMost16Bits : 0;
  } else if (_intensities.areSixteenBits()) {
    scale.intensity = _intensities.greatest > 0 ? 1 : 0;
  } else if (_intensities.least < _intensities.greatest) {
    scale.intensityOffset = _intensities.least;
    scale.intensity = kMost16Bits / (_intensities.greatest - _intensities.least);
  }
}

VertexScale VertexSurvey::scale(const VertexFields& fields) const {
  VertexScale scale;
  if (fields.colour) {
    scale.colour = _colourFactor(fields);
  }
  if (fields.intensity) {
    _scaleIntensity(fields.floatingIntensity, scale);
  }
  return scale;
}

}  // namespace QuorViewer
