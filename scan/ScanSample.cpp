#include "scan/ScanSample.h"

#include "scan/Quantile.h"

#include <algorithm>
#include <cmath>

namespace QuorViewer {

namespace {

constexpr std::uint64_t kMostRuns = 64;
constexpr std::uint32_t kRunPoints = 256;
constexpr std::uint32_t kSamplePoints = std::uint32_t{kMostRuns} * kRunPoints;

std::uint16_t brightest(const RawPoint& point) {
  return *std::max_element(point.colour.begin(), point.colour.end());
}

}  // namespace

// Adding 0 turns a negative zero into a plain one, for display.
double wholeNumber(double value) {
  return std::round(value) + 0.0;
}

std::vector<PointSpan> spreadRuns(std::uint64_t pointCount, const EntryBefore& entryBefore) {
  std::vector<PointSpan> runs;
  const std::uint64_t wanted = std::min(kMostRuns, (pointCount + kRunPoints - 1) / kRunPoints);
  for (std::uint64_t run = 0; run < wanted; ++run) {
    // Dividing first keeps the product within 64 bits; the second term spreads the remainder.
    const std::uint64_t first = entryBefore(pointCount / wanted * run + pointCount % wanted * run / wanted);
    if (runs.empty() || runs.back().first != first) {
      runs.push_back({first, 0});
    }
  }
  // As long as the sample's size allows without overlapping the next run.
  for (std::size_t run = 0; run < runs.size(); ++run) {
    const std::uint64_t next = run + 1 < runs.size() ? runs[run + 1].first : pointCount;
    runs[run].end = std::min(next, runs[run].first + kSamplePoints / runs.size());
  }
  return runs;
}

std::vector<PointSpan> spreadRuns(std::uint64_t pointCount) {
  return spreadRuns(pointCount, [](std::uint64_t point) { return point; });
}

ColourDepth ScanSample::colourDepth() const {
  std::uint16_t most = 0;
  for (const RawPoint& point : _points) {
    most = std::max(most, brightest(point));
  }
  return {most > 0, most > 255 ? 8U : 0U};
}

bool ScanSample::anyIntensity() const {
  return std::any_of(_points.begin(), _points.end(), [](const RawPoint& point) { return point.intensity != 0; });
}

bool ScanSample::anyClassification() const {
  return std::any_of(_points.begin(), _points.end(), [](const RawPoint& point) { return point.classification != 0; });
}

double ScanSample::_median(std::int32_t RawPoint::*axis) const {
  if (_points.empty()) {
    return 0;
  }
  std::vector<std::int32_t> values;
  values.reserve(_points.size());
  for (const RawPoint& point : _points) {
    values.push_back(point.*axis);
  }
  return quantile(values, 0.5);
}

osg::Vec3d ScanSample::origin(const osg::Vec3d& scale, const osg::Vec3d& offset) const {
  return {wholeNumber(_median(&RawPoint::x) * scale.x() + offset.x()),
          wholeNumber(_median(&RawPoint::y) * scale.y() + offset.y()),
          wholeNumber(_median(&RawPoint::z) * scale.z() + offset.z())};
}

void ScanSample::complete(ScanInfo& info, bool coloured) const {
  info.origin = origin(info.scale, info.offset);
  info.hasColour = coloured && colourDepth().present;
  info.hasIntensity = anyIntensity();
  info.hasClassification = anyClassification();
}

}  // namespace QuorViewer
