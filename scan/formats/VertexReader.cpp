#include "scan/formats/VertexReader.h"

#include "scan/ChunkBuilder.h"
#include "scan/ScanSample.h"
#include "scan/formats/LasFrame.h"
#include "scan/formats/LasReader.h"

#include <osg/Geometry>
#include <osg/NodeVisitor>
#include <osgDB/Registry>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <memory>
#include <mutex>
#include <string_view>

namespace QuorViewer {

namespace {

bool isFinite(const osg::Vec3f& position) {
  return std::isfinite(position.x()) && std::isfinite(position.y()) && std::isfinite(position.z());
}

std::uint8_t toByte(float share) {
  return static_cast<std::uint8_t>(std::lround(std::clamp(share, 0.0F, 1.0F) * 255.0F));
}

osg::Vec4ub colourAt(const osg::Array* colours, std::size_t index) {
  if (const auto* bytes = dynamic_cast<const osg::Vec4ubArray*>(colours)) {
    const osg::Vec4ub& colour = (*bytes)[index];
    return {colour.r(), colour.g(), colour.b(), 255};
  }
  if (const auto* shares = dynamic_cast<const osg::Vec4Array*>(colours)) {
    const osg::Vec4f& colour = (*shares)[index];
    return {toByte(colour.r()), toByte(colour.g()), toByte(colour.b()), 255};
  }
  return {255, 255, 255, 255};
}

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
  constexpr double most = std::numeric_limits<std::int32_t>::max();
  if (reach == 0) {
    return 1;
  }
  const int exponent = static_cast<int>(std::ceil(std::log10(reach / most)));
  const double step = powerOfTen(exponent);
  return std::round(reach / step) <= most ? step : powerOfTen(exponent + 1);
}

std::int32_t stepsIn(double distance, double step) {
  return static_cast<std::int32_t>(std::lround(distance / step));
}

struct Vertices {
  std::vector<osg::Vec3f> positions;
  std::vector<osg::Vec4ub> colours;
};

class CollectVertices : public osg::NodeVisitor {
 public:
  explicit CollectVertices(Vertices& to) : osg::NodeVisitor(TRAVERSE_ALL_CHILDREN), _to(to) {}

  void apply(osg::Geometry& geometry) override {
    const auto* positions = dynamic_cast<const osg::Vec3Array*>(geometry.getVertexArray());
    if (positions == nullptr) {
      return;
    }
    const osg::Array* colours = geometry.getColorArray();
    if (colours != nullptr && colours->getNumElements() < positions->size()) {
      colours = nullptr;
    }
    _to.positions.insert(_to.positions.end(), positions->begin(), positions->end());
    for (std::size_t index = 0; index < positions->size(); ++index) {
      _to.colours.push_back(colourAt(colours, index));
    }
  }

 private:
  Vertices& _to;
};

// Some plugins keep the line they are reading in memory that all their calls share.
osgDB::ReaderWriter::ReadResult readWithPlugin(const std::string& path) {
  static std::mutex onlyOneAtATime;
  const std::lock_guard<std::mutex> lock(onlyOneAtATime);
  osgDB::Registry* registry = osgDB::Registry::instance();
  registry->addFileExtensionAlias("asc", "3dc");
  const osg::ref_ptr<osgDB::Options> options = new osgDB::Options;
  options->setObjectCacheHint(osgDB::Options::CACHE_NONE);
  return registry->readNode(path, options);
}

Vertices loadVertices(const ScanFile& file, const CheckedVertices& found) {
  Vertices vertices;
  if (found.count == 0) {
    return vertices;
  }
  osgDB::ReaderWriter::ReadResult result = readWithPlugin(file.path());
  if (!result.validNode()) {
    const std::string reason = result.statusMessage();
    throw file.error("OpenSceneGraph cannot read it" +
                     (reason.empty() ? " (is its plugin installed?)" : ": " + reason));
  }
  CollectVertices collect(vertices);
  result.getNode()->accept(collect);
  // Where faces share a vertex across a sharp edge, duplicate vertices may follow the file's own.
  if (vertices.positions.size() < found.count) {
    throw file.error("OpenSceneGraph read only a part of it: " + std::to_string(found.count) + " points present, " +
                     std::to_string(vertices.positions.size()) + " read");
  }
  vertices.positions.resize(static_cast<std::size_t>(found.count));
  vertices.colours.resize(static_cast<std::size_t>(found.count));
  return vertices;
}

class VertexReader : public ScanReader {
 public:
  VertexReader(const ScanFile& file, const std::string& format, const CheckedVertices& found)
      : _vertices(std::make_shared<const Vertices>(loadVertices(file, found))) {
    _info.path = file.path();
    _info.format = format;
    _info.pointCount = found.count;
    _info.origin = _origin();
    _info.localOnly = true;
    _setGrid();
    _info.hasColour = found.coloured && _anyBright();
  }

  const ScanInfo& info() const override { return _info; }

  std::unique_ptr<ScanReader> again() const override { return std::make_unique<VertexReader>(*this); }

  ChunkBuilder startChunk(const PointRange& points, const osg::Vec3d& origin) const override {
    return {points, {osg::Vec3d(), -origin, ColourDepth()}};
  }

  void decode(const PointRun& run, ChunkBuilder& to) override {
    requirePoints(_info, run.first, run.span());
    for (std::uint32_t place = 0; place < run.count; ++place) {
      const auto point = static_cast<std::size_t>(run.first + place * run.step);
      to.add(_vertices->positions[point],
             _info.hasColour ? _vertices->colours[point] : osg::Vec4ub(255, 255, 255, 255));
    }
  }

  osg::Vec3d coordinates(std::uint64_t point) override {
    requirePoints(_info, point, 1);
    return _vertices->positions[static_cast<std::size_t>(point)];
  }

  LasFrame lasFrame() override {
    constexpr std::string_view software = "quor_viewer";
    LasFrame frame;
    LasHeader& header = frame.header;
    header.versionMinor = 2;
    header.headerLengthBytes = lasHeaderLengthBytes(2);
    header.pointDataOffsetBytes = header.headerLengthBytes;
    header.pointFormat = _layout().format;
    header.recordLengthBytes = _layout().lengthBytes;
    std::copy(software.begin(), software.end(), header.generatingSoftware.begin());
    header.scale = _gridSteps;
    header.offset = {_info.origin.x(), _info.origin.y(), _info.origin.z()};
    return frame;
  }

  void readInside(std::uint64_t first, std::uint32_t count, const InsideTest& inside,
                  std::vector<unsigned char>& records) override {
    requirePoints(_info, first, count);
    for (std::uint64_t point = first; point < first + count; ++point) {
      const osg::Vec3f& position = _vertices->positions[static_cast<std::size_t>(point)];
      if (isFinite(position) && inside(position)) {
        _appendRecord(static_cast<std::size_t>(point), records);
      }
    }
  }

 private:
  const RecordLayout& _layout() const { return *RecordLayout::of(_info.hasColour ? 2 : 0); }

  void _appendRecord(std::size_t index, std::vector<unsigned char>& records) const {
    const osg::Vec3d position = osg::Vec3d(_vertices->positions[index]) - _info.origin;
    const osg::Vec4ub& colour = _vertices->colours[index];
    LasPoint point;
    point.x = stepsIn(position.x(), _gridSteps[0]);
    point.y = stepsIn(position.y(), _gridSteps[1]);
    point.z = stepsIn(position.z(), _gridSteps[2]);
    point.returnNumber = point.returnCount = 1;
    for (unsigned channel = 0; channel < 3; ++channel) {
      point.colour[channel] = static_cast<std::uint16_t>(colour[channel] * 257);  // 255 becomes 65535
    }
    records.resize(records.size() + _layout().lengthBytes);
    _layout().encode(point, records.data() + records.size() - _layout().lengthBytes);
  }

  bool _anyBright() const {
    return std::any_of(_vertices->colours.begin(), _vertices->colours.end(),
                       [](const osg::Vec4ub& colour) { return colour.r() != 0 || colour.g() != 0 || colour.b() != 0; });
  }

  // In some files a point with non-finite coordinates marks a missing measurement; it says nothing about the position.
  osg::Vec3d _origin() const {
    osg::Vec3d origin;
    for (int axis = 0; axis < 3; ++axis) {
      std::vector<float> values;
      for (const osg::Vec3f& position : _vertices->positions) {
        if (isFinite(position)) {
          values.push_back(position[axis]);
        }
      }
      if (!values.empty()) {
        const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
        std::nth_element(values.begin(), middle, values.end());
        origin[axis] = wholeNumber(*middle);
      }
    }
    return origin;
  }

  void _setGrid() {
    osg::Vec3d reach;
    for (const osg::Vec3f& position : _vertices->positions) {
      for (int axis = 0; isFinite(position) && axis < 3; ++axis) {
        reach[axis] = std::max(reach[axis], std::abs(position[axis] - _info.origin[axis]));
      }
    }
    _gridSteps = {gridStep(reach.x()), gridStep(reach.y()), gridStep(reach.z())};
  }

  std::shared_ptr<const Vertices> _vertices;  // shared by all readers of the file
  ScanInfo _info;
  std::array<double, 3> _gridSteps{};  // of the LAS file that the points fit into
};

}  // namespace

std::unique_ptr<ScanReader> openVertices(const ScanFile& file, const std::string& format,
                                         const CheckedVertices& found) {
  return std::make_unique<VertexReader>(file, format, found);
}

}  // namespace QuorViewer
