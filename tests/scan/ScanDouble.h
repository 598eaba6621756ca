#pragma once

#include "scan/ChunkBuilder.h"
#include "scan/Scan.h"
#include "scan/formats/LasMetadata.h"

#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace QuorTests {

/// A scan that does something else each time before points are read, on the thread that reads.
class ScanDouble : public QuorViewer::ScanReader {
 public:
  ScanDouble(std::unique_ptr<QuorViewer::ScanReader> scan, std::function<void()> beforeReading)
      : _scan(std::move(scan)), _beforeReading(std::move(beforeReading)) {}

  const QuorViewer::ScanInfo& info() const override { return _scan->info(); }
  std::unique_ptr<QuorViewer::ScanReader> clone() const override {
    return std::make_unique<ScanDouble>(_scan->clone(), _beforeReading);
  }
  QuorViewer::ChunkBuilder startChunk(const QuorViewer::PointRange& points, const osg::Vec3d& origin) const override {
    return _scan->startChunk(points, origin);
  }
  void decode(const QuorViewer::PointRun& run, QuorViewer::PointSink& to) override {
    _beforeReading();
    _scan->decode(run, to);
  }
  osg::Vec3d coordinates(std::uint64_t point) override { return _scan->coordinates(point); }
  QuorViewer::LasMetadata lasMetadata() override { return _scan->lasMetadata(); }
  void readInside(std::uint64_t first, std::uint32_t count, const QuorViewer::InsideTest& inside,
                  std::vector<unsigned char>& records) override {
    _scan->readInside(first, count, inside, records);
  }

 private:
  std::unique_ptr<QuorViewer::ScanReader> _scan;
  std::function<void()> _beforeReading;
};

}  // namespace QuorTests
