#include "scan/ChunkBuilder.h"

#include <algorithm>
#include <cassert>
#include <limits>

namespace QuorViewer {

namespace {

constexpr float kNoValue = std::numeric_limits<float>::quiet_NaN();

/// The chunk's arrays as plain pointers to the next free element, which a loop can keep in registers.
struct Cursor {
  osg::Vec3f* position;
  osg::Vec4ub* colour;
  std::uint16_t* intensity;
  osg::Vec2ub* classReturns;

  Cursor(PointChunk& chunk, std::size_t index)
      : position(chunk.positions->asVector().data() + index),
        colour(chunk.colours->asVector().data() + index),
        intensity(chunk.intensities->asVector().data() + index),
        classReturns(chunk.classesReturns->asVector().data() + index) {}

  void next() {
    ++position;
    ++colour;
    ++intensity;
    ++classReturns;
  }
};

float coordinate(std::int32_t raw, double scale, double shift) {
  return static_cast<float>(raw * scale + shift);
}

osg::Vec3f positionOf(const RawPoint& point, const osg::Vec3d& scale, const osg::Vec3d& shift) {
  return {coordinate(point.x, scale.x(), shift.x()), coordinate(point.y, scale.y(), shift.y()),
          coordinate(point.z, scale.z(), shift.z())};
}

// The colour depth comes from a sample, so a point may be brighter than all sampled ones.
std::uint8_t toByte(std::uint16_t value, unsigned shift) {
  return static_cast<std::uint8_t>(std::min(value >> shift, 255));
}

template <bool coloured>
void put(const RawPoint& point, const ChunkSettings& settings, const Cursor& to) {
  *to.position = positionOf(point, settings.scale, settings.shift);
  if (coloured) {
    const unsigned shift = settings.colour.shift;
    to.colour->set(toByte(point.colour[0], shift), toByte(point.colour[1], shift), toByte(point.colour[2], shift), 255);
  } else {
    to.colour->set(255, 255, 255, 255);
  }
  *to.intensity = point.intensity;
  to.classReturns->set(point.classification, point.returns);
}

}  // namespace

void RawBounds::include(const RawPoint& point) {
  const std::array<std::int32_t, 3> raw = {point.x, point.y, point.z};
  for (std::size_t axis = 0; axis < raw.size(); ++axis) {
    least[axis] = std::min(least[axis], raw[axis]);
    greatest[axis] = std::max(greatest[axis], raw[axis]);
  }
}

ChunkBuilder::ChunkBuilder(const PointRange& points, const ChunkSettings& settings) : _settings(settings) {
  _chunk.points = points;
  _chunk.positions = new osg::Vec3Array(points.count);
  _chunk.colours = new osg::Vec4ubArray(points.count);
  _chunk.intensities = new osg::UShortArray(points.count);
  _chunk.classesReturns = new osg::Vec2ubArray(points.count);
}

void ChunkBuilder::decode(const RecordLayout& layout, const unsigned char* records, std::size_t strideBytes,
                          std::size_t count) {
  assert(_filledPoints + count <= _chunk.positions->size());
  withRecordKind(layout, _settings.colour.present, [&](auto extended, auto coloured) {
    const ChunkSettings settings = _settings;
    const std::size_t colourOffset = layout.colourOffset;
    RawBounds bounds = _bounds;
    Cursor to(_chunk, _filledPoints);
    for (std::size_t index = 0; index < count; ++index, to.next()) {
      const RawPoint point = readRecord<extended.value, coloured.value>(records + index * strideBytes, colourOffset);
      bounds.include(point);
      put<coloured.value>(point, settings, to);
    }
    _bounds = bounds;
  });
  _filledPoints += count;
}

void ChunkBuilder::add(const RawPoint& point) {
  const Cursor to(_chunk, _filledPoints);
  _settings.colour.present ? put<true>(point, _settings, to) : put<false>(point, _settings, to);
  _bounds.include(point);
  ++_filledPoints;
}

void ChunkBuilder::add(const osg::Vec3d& position, const osg::Vec4ub& colour, std::uint16_t intensity) {
  const bool usable = isUsable(position);
  const osg::Vec3f local = usable ? osg::Vec3f(position + _settings.shift) : osg::Vec3f(kNoValue, kNoValue, kNoValue);
  (*_chunk.positions)[_filledPoints] = local;
  (*_chunk.colours)[_filledPoints] = colour;
  (*_chunk.intensities)[_filledPoints] = intensity;
  if (usable) {
    _chunk.bounds.expandBy(local);
  }
  ++_filledPoints;
}

void ChunkBuilder::_cutToFilled() {
  if (_filledPoints == _chunk.points.count) {
    return;
  }
  _chunk.points.count = filledPoints();
  _chunk.positions->resize(_filledPoints);
  _chunk.colours->resize(_filledPoints);
  _chunk.intensities->resize(_filledPoints);
  _chunk.classesReturns->resize(_filledPoints);
}

PointChunk ChunkBuilder::finish() {
  _cutToFilled();
  if (_bounds.any()) {
    for (const std::array<std::int32_t, 3>& raw : {_bounds.least, _bounds.greatest}) {
      RawPoint corner{};
      corner.x = raw[0];
      corner.y = raw[1];
      corner.z = raw[2];
      _chunk.bounds.expandBy(positionOf(corner, _settings.scale, _settings.shift));
    }
  }
  return _chunk;
}

}  // namespace QuorViewer
