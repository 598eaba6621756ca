#include "CloudStatistics.h"

#include "ValueRange.h"

namespace QuorViewer {
namespace {

constexpr std::size_t kSampleValues = 65536;
constexpr std::size_t kSamplePlaces = 16384;

// The shares of the points below and above a range: a few stray ones must not squeeze all others into one colour.
constexpr double kLowShare = 0.003;
constexpr double kHighShare = 0.997;

}  // namespace

CloudStatistics::CloudStatistics() : _elevations(kSampleValues), _intensities(kSampleValues), _places(kSamplePlaces) {}

void CloudStatistics::add(const PointChunk& chunk) {
  const std::size_t count = chunk.positions->size();
  if (count == 0) {
    return;
  }
  constexpr std::size_t kCoordinates = 3;
  _elevations.add(&chunk.positions->front().z(), count, kCoordinates);
  _intensities.add(&chunk.intensities->front(), count);
  _places.add(&chunk.positions->front(), count);
  for (const osg::Vec2ub& codes : *chunk.classesReturns) {
    _classifications.set(codes.x());
  }
}

CloudSummary CloudStatistics::summary() const {
  CloudSummary summary;
  summary.elevations = valuesBetween(_elevations.values(), kLowShare, kHighShare);
  summary.intensities = valuesBetween(_intensities.values(), kLowShare, kHighShare);
  summary.places = _places.values();
  for (unsigned int code = 0; code < _classifications.size(); ++code) {
    if (_classifications[code]) {
      summary.classifications.push_back(code);
    }
  }
  return summary;
}

}  // namespace QuorViewer
