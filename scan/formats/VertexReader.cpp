#include "scan/formats/VertexReader.h"

#include "scan/ChunkBuilder.h"
#include "scan/ScanSample.h"
#include "scan/formats/LasReader.h"
#include "scan/formats/VertexRecords.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <utility>

namespace QuorViewer {

namespace {

class VertexReader : public ScanReader {
 public:
  VertexReader(ScanFile file, VertexScan scan)
      : _file(std::move(file)),
        _bytes(_file),
        _decoder(std::move(scan.decoder)),
        _table(std::make_shared<const VertexTable>(std::move(scan.table))) {
    _info.path = _file.path();
    _info.format = scan.format;
    _info.pointCount = _table->count;
    _info.localOnly = scan.localOnly;
    _isFixed() ? _fillSample(scan.survey) : static_cast<void>(_box = scan.survey.box());
    _info.origin = scan.survey.origin();
    _scale = scan.survey.scale(_decoder->fields());
    _info.hasColour = _scale.colour > 0;
    _info.hasIntensity = _scale.intensity > 0;
  }

  VertexReader(const VertexReader& other)
      : _file(other._file),
        _bytes(_file),
        _decoder(other._decoder),
        _table(other._table),
        _info(other._info),
        _scale(other._scale),
        _box(other._box) {}

  const ScanInfo& info() const override { return _info; }

  std::unique_ptr<ScanReader> clone() const override { return std::make_unique<VertexReader>(*this); }

  std::uint64_t entryPoints() const override { return _table->entryPoints(); }

  ChunkBuilder startChunk(const PointRange& points, const osg::Vec3d& origin) const override {
    return {points, {osg::Vec3d(), -origin, ColourDepth()}};
  }

  void decode(const PointRun& run, PointSink& to) override {
    _forEach(run, [&](const Vertex& vertex) {
      to.add(vertex.position, _scale.shownColour(vertex), _scale.intensityOf(vertex));
    });
  }

  osg::Vec3d coordinates(std::uint64_t point) override {
    osg::Vec3d exact;
    _forEach({point, 1, 1}, [&exact](const Vertex& vertex) { exact = vertex.position; });
    return exact;
  }

  LasMetadata lasMetadata() override { return _records().metadata(); }

  void readInside(std::uint64_t first, std::uint32_t count, const InsideTest& inside,
                  std::vector<unsigned char>& records) override {
    const VertexRecords converter = _records();
    _forEach({first, 1, count}, [&](const Vertex& vertex) {
      if (isUsable(vertex.position) && inside(vertex.position)) {
        converter.append(vertex, records);
      }
    });
  }

 private:
  static constexpr std::uint64_t kNowhere = std::numeric_limits<std::uint64_t>::max();

  bool _isFixed() const { return _table->recordBytes > 0; }

  void _fillSample(VertexSurvey& survey) {
    for (const PointSpan& run : spreadRuns(_info.pointCount)) {
      _forEach({run.first, 1, static_cast<std::uint32_t>(run.count())},
               [&](const Vertex& vertex) { survey.include(vertex); });
    }
  }

  template <typename Visitor>
  void _forEach(const PointRun& run, const Visitor& visit) {
    requirePoints(_info, run.first, run.span());
    Vertex vertex;
    for (std::uint32_t place = 0; place < run.count; ++place) {
      const std::uint64_t point = run.first + place * run.step;
      _goTo(point);
      _next = kNowhere;
      _require(_decoder->read(_bytes, vertex));
      _next = point + 1;
      visit(vertex);
    }
  }

  /// Moves on to a vertex, or starts from the entry before it. After an error the position is not known.
  void _goTo(std::uint64_t point) {
    if (_isFixed()) {
      return _bytes.moveTo(_table->entries[0].byte + point * _table->recordBytes, 0);
    }
    const std::uint64_t entry = point / VertexTable::kEntryPoints;
    std::uint64_t at = std::exchange(_next, kNowhere);
    if (at > point || at < entry * VertexTable::kEntryPoints) {
      at = entry * VertexTable::kEntryPoints;
      _bytes.moveTo(_table->entries[entry].byte, _table->entries[entry].line);
    }
    for (; at < point; ++at) {
      _require(_decoder->skip(_bytes));
    }
  }

  void _require(bool read) const {
    if (!read) {
      throw _file.error("the file has changed while it was open: points are missing at its end");
    }
  }

  VertexRecords _records() {
    if (!_box) {
      _box = _findBox();
    }
    return {_info.origin, *_box, _scale};
  }

  osg::BoundingBoxd _findBox() {
    constexpr std::uint64_t kMostPoints = std::numeric_limits<std::uint32_t>::max();
    osg::BoundingBoxd box;
    for (std::uint64_t first = 0; first < _info.pointCount; first += kMostPoints) {
      const std::uint64_t count = std::min(kMostPoints, _info.pointCount - first);
      _forEach({first, 1, static_cast<std::uint32_t>(count)}, [&box](const Vertex& vertex) {
        if (isUsable(vertex.position)) {
          box.expandBy(vertex.position);
        }
      });
    }
    return box;
  }

  ScanFile _file;
  SequentialBytes _bytes;
  std::shared_ptr<const VertexDecoder> _decoder;
  std::shared_ptr<const VertexTable> _table;
  ScanInfo _info;
  VertexScale _scale;
  std::uint64_t _next = kNowhere;         // the vertex at the current position of the file
  std::optional<osg::BoundingBoxd> _box;  // of all vertices, once it is known
};

}  // namespace

void VertexScan::indexFrom(SequentialBytes& from) {
  const std::uint64_t most = std::exchange(table.count, 0);
  for (Vertex vertex; table.count < most; ++table.count) {
    const VertexTable::Entry place{from.position(), from.line()};
    if (!decoder->read(from, vertex)) {
      break;
    }
    if (table.count % VertexTable::kEntryPoints == 0) {
      table.entries.push_back(place);
    }
    survey.include(vertex);
  }
}

std::unique_ptr<ScanReader> openVertices(ScanFile file, VertexScan scan) {
  return std::make_unique<VertexReader>(std::move(file), std::move(scan));
}

}  // namespace QuorViewer
