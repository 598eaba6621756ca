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
  return {toSixteenBits(vertex.colour[0], colour), toSixteenBits(vertex.colour[1], colour),
          toSixteenBits(vertex.colour[2], colour)};
}

std::uint16_t VertexScale::intensityOf(const Vertex& vertex) const {
  return toSixteenBits(vertex.intensity, intensity);
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

VertexScale VertexSurvey::scale(const VertexFields& fields) const {
  VertexScale scale;
  const bool colours =
      fields.colour && _colours.least >= 0 && _colours.greatest > 0 && _colours.greatest <= kMost16Bits;
  if (colours && _colours.areShares(fields.floatingColour)) {
    scale.colour = kMost16Bits;
  } else if (colours) {
    scale.colour = _colours.greatest <= kMost8Bits ? kMost16Bits / kMost8Bits : 1;
  }
  if (fields.intensity && _intensities.greatest > 0) {
    scale.intensity = _intensities.areShares(fields.floatingIntensity) ? kMost16Bits : 1;
  }
  return scale;
}

}  // namespace QuorViewer
