#include "viewer/render/CloudStatistics.h"

#include "viewer/render/ValueRange.h"

#include <algorithm>

namespace QuorViewer {
namespace {

constexpr std::size_t kSampleValues = 65536;
constexpr std::size_t kSamplePlaces = 16384;

// The shares of the points below and above a range: a few outliers must not compress all others into one colour.
constexpr double kLowShare = 0.003;
constexpr double kHighShare = 0.997;

}  // namespace

CloudStatistics::OfScan::OfScan() : elevations(kSampleValues), intensities(kSampleValues), places(kSamplePlaces) {}

void CloudStatistics::OfScan::add(const PointChunk& chunk) {
  const std::size_t count = chunk.positions->size();
  if (count == 0) {
    return;
  }
  constexpr std::size_t kCoordinates = 3;
  elevations.add(&chunk.positions->front().z(), count, kCoordinates);
  intensities.add(&chunk.intensities->front(), count);
  anyIntensity = anyIntensity || std::any_of(chunk.intensities->begin(), chunk.intensities->end(),
                                             [](unsigned short intensity) { return intensity != 0; });
  places.add(&chunk.positions->front(), count);
  for (const osg::Vec2ub& codes : *chunk.classesReturns) {
    classifications.set(codes.x());
  }
}

void CloudStatistics::OfScan::join(const OfScan& other) {
  elevations.join(other.elevations);
  intensities.join(other.intensities);
  anyIntensity = anyIntensity || other.anyIntensity;
  places.join(other.places);
  classifications |= other.classifications;
}

void CloudStatistics::add(unsigned int scan, const PointChunk& chunk) {
  _ofScans[scan].add(chunk);
}

void CloudStatistics::add(unsigned int scan, const std::bitset<256>& classes, bool anyIntensity) {
  OfScan& statistics = _ofScans[scan];
  statistics.classifications |= classes;
  statistics.anyIntensity = statistics.anyIntensity || anyIntensity;
}

CloudSummary CloudStatistics::summary() const {
  OfScan all;
  for (const auto& [scan, statistics] : _ofScans) {
    all.join(statistics);
  }
  CloudSummary summary;
  summary.elevations = valuesBetween(all.elevations.values(), kLowShare, kHighShare);
  summary.intensities = valuesBetween(all.intensities.values(), kLowShare, kHighShare);
  summary.anyIntensity = all.anyIntensity;
  summary.places = all.places.values();
  for (unsigned int code = 0; code < all.classifications.size(); ++code) {
    if (all.classifications[code]) {
      summary.classifications.push_back(code);
    }
  }
  return summary;
}

}  // namespace QuorViewer
