#include "scan/formats/VertexRecords.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <string_view>

namespace QuorViewer {

namespace {

constexpr double kMostSteps = std::numeric_limits<std::int32_t>::max();
constexpr double kLeastStep = 1e-300;  // a power of ten whose reciprocal is finite

// The nearest double, which `pow` does not return everywhere: powers up to the 22nd are exact, and one division is
// correctly rounded.
double powerOfTen(int exponent) {
  double power = 1;
  for (int factor = 0; factor < std::abs(exponent); ++factor) {
    power *= 10;
  }
  return exponent < 0 ? 1 / power : power;
}

/// The finest power of ten of which a 32-bit integer can count multiples up to `reach`.
double gridStep(double reach) {
  if (reach == 0) {
    return 1;
  }
  const int exponent = static_cast<int>(std::ceil(std::log10(std::max(reach / kMostSteps, kLeastStep))));
  const double step = powerOfTen(exponent);
  return std::round(reach / step) <= kMostSteps ? step : powerOfTen(exponent + 1);
}

std::int32_t stepsIn(double distance, double step) {
  return static_cast<std::int32_t>(std::lround(std::clamp(distance / step, -kMostSteps, kMostSteps)));
}

}  // namespace

VertexRecords::VertexRecords(const osg::Vec3d& origin, const osg::BoundingBoxd& box, const VertexScale& scale)
    : _origin(origin), _scale(scale), _layout(RecordLayout::of(scale.colour > 0 ? 2 : 0)) {
  for (int axis = 0; axis < 3; ++axis) {
    const double reach = std::max({box._max[axis] - origin[axis], origin[axis] - box._min[axis], 0.0});
    _steps[static_cast<std::size_t>(axis)] = gridStep(reach);
  }
}

LasMetadata VertexRecords::metadata() const {
  constexpr std::string_view kSoftware = "quor_viewer";
  LasMetadata metadata;
  LasHeader& header = metadata.header;
  header.versionMinor = 2;
  header.headerLengthBytes = lasHeaderLengthBytes(2);
  header.pointDataOffsetBytes = header.headerLengthBytes;
  header.pointFormat = _layout->format;
  header.recordLengthBytes = _layout->lengthBytes;
  std::copy(kSoftware.begin(), kSoftware.end(), header.generatingSoftware.begin());
  header.scale = _steps;
  header.offset = {_origin.x(), _origin.y(), _origin.z()};
  return metadata;
}

void VertexRecords::append(const Vertex& vertex, std::vector<unsigned char>& records) const {
  const osg::Vec3d position = vertex.position - _origin;
  LasPoint point;
  point.x = stepsIn(position.x(), _steps[0]);
  point.y = stepsIn(position.y(), _steps[1]);
  point.z = stepsIn(position.z(), _steps[2]);
  point.intensity = _scale.intensityOf(vertex);
  point.returnNumber = point.returnCount = 1;
  point.colour = _scale.colourOf(vertex);
  records.resize(records.size() + _layout->lengthBytes);
  _layout->encode(point, records.data() + records.size() - _layout->lengthBytes);
}

}  // namespace QuorViewer
