#include "scan/index/GridPoints.h"

#include <algorithm>

namespace QuorViewer {
namespace {

std::uint8_t toByte(std::uint16_t value, unsigned shift) {
  return static_cast<std::uint8_t>(std::min(value >> shift, 255));
}

}  // namespace

GridPoints::GridPoints(const ScanReader& scan, const IndexGrid& grid)
    : _grid(grid), _settings(scan.startChunk(PointRange(), osg::Vec3d()).settings()) {}

void GridPoints::startAt(std::uint64_t record, std::uint32_t count) {
  _points.clear();
  _points.reserve(count);
  _record = static_cast<std::uint32_t>(record);
}

IndexPoint* GridPoints::_addAt(const osg::Vec3d& position) {
  const std::uint32_t record = _record++;
  if (!isUsable(position)) {
    return nullptr;
  }
  _bounds.expandBy(position);
  if (!_grid.contains(position)) {
    _anyOutside = true;
    return nullptr;
  }
  _points.emplace_back();
  _points.back().record = record;
  _points.back().grid = _grid.stepsOf(position);
  return &_points.back();
}

void GridPoints::add(const RawPoint& point) {
  const osg::Vec3d position(point.x * _settings.scale.x() + _settings.shift.x(),
                            point.y * _settings.scale.y() + _settings.shift.y(),
                            point.z * _settings.scale.z() + _settings.shift.z());
  IndexPoint* to = _addAt(position);
  if (to == nullptr) {
    return;
  }
  for (std::size_t channel = 0; channel < 3; ++channel) {
    to->colour[channel] = _settings.colour.present ? toByte(point.colour[channel], _settings.colour.shift) : 255;
  }
  to->intensity = point.intensity;
  to->classification = point.classification;
  to->returns = point.returns;
}

void GridPoints::add(const osg::Vec3d& position, const osg::Vec4ub& colour, std::uint16_t intensity) {
  IndexPoint* to = _addAt(position);
  if (to != nullptr) {
    to->colour = {colour.r(), colour.g(), colour.b()};
    to->intensity = intensity;
  }
}

void GridPoints::decode(const RecordLayout& layout, const unsigned char* records, std::size_t strideBytes,
                        std::size_t count) {
  withRecordKind(layout, _settings.colour.present, [&](auto extended, auto coloured) {
    for (std::size_t index = 0; index < count; ++index) {
      add(readRecord<extended.value, coloured.value>(records + index * strideBytes, layout.colourOffset));
    }
  });
}

}  // namespace QuorViewer
