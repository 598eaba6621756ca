#include "benchmarks/BenchmarkView.h"
#include "benchmarks/Program.h"

#include <QuorOsgUtils/SPointCloudPrivotManipulator.h>

#include <osg/Geode>
#include <osg/KdTree>
#include <osgUtil/IntersectionVisitor>
#include <osgUtil/LineSegmentIntersector>
#include <osgUtil/PolytopeIntersector>

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <utility>

namespace {

using namespace QuorBenchmarks;
using osgUtil::Intersector;

constexpr int kHolePixels = 200;
constexpr double kMiddleOfRing = 15.0;
/// Of the square around the pointer in which a peer looks for points.
constexpr double kReachPixels = 3.0;

/// Kept from one run of a benchmark to the next, because the tree of ten million points takes long to build.
osg::Node& cloudWithTree(std::size_t points) {
  static std::map<std::size_t, osg::ref_ptr<osg::Geode>> clouds;
  osg::ref_ptr<osg::Geode>& cloud = clouds[points];
  if (!cloud) {
    cloud = new osg::Geode;
    cloud->addDrawable(ringOfPoints(points));
    osg::ref_ptr<osg::KdTreeBuilder> builder = new osg::KdTreeBuilder;
    cloud->accept(*builder);
  }
  return *cloud;
}

osg::ref_ptr<Intersector> lineSegment(const osg::Vec3d& at) {
  return new osgUtil::LineSegmentIntersector(Intersector::WINDOW, at.x(), at.y());
}

osg::ref_ptr<Intersector> polytope(const osg::Vec3d& at) {
  osg::ref_ptr<osgUtil::PolytopeIntersector> intersector = new osgUtil::PolytopeIntersector(
      Intersector::WINDOW, at.x() - kReachPixels, at.y() - kReachPixels, at.x() + kReachPixels, at.y() + kReachPixels);
  intersector->setPrimitiveMask(osgUtil::PolytopeIntersector::POINT_PRIMITIVES);
  intersector->setIntersectionLimit(Intersector::LIMIT_NEAREST);
  return intersector;
}

using MakeIntersector = osg::ref_ptr<Intersector> (*)(const osg::Vec3d& at);

Variant intersecting(std::string name, BenchmarkView& view, const osg::Vec3d& at, MakeIntersector make, bool useTree) {
  const auto intersect = [&view, at, make, useTree] {
    const osg::ref_ptr<Intersector> intersector = make(at);
    osgUtil::IntersectionVisitor visitor(intersector);
    visitor.setUseKdTreeWhenAvailable(useTree);
    view.camera().accept(visitor);
    benchmark::DoNotOptimize(intersector->containsIntersections());
  };
  return {std::move(name), intersect};
}

void pick(benchmark::State& state, bool isOverBackground) {
  BenchmarkView view;
  if (!view.valid()) {
    state.SkipWithError(kNoDisplay);
    return;
  }
  view.drawWall(kHolePixels);
  view.scene().addChild(&cloudWithTree(static_cast<std::size_t>(state.range(0))));
  const osg::Vec3d at = view.toWindow({isOverBackground ? 0.0 : kMiddleOfRing, 0.0, 0.0});
  const osg::ref_ptr<QuorOsgUtils::SPointCloudPrivotManipulator> manipulator =
      new QuorOsgUtils::SPointCloudPrivotManipulator(&view.viewer());
  compare(state,
          sending("SPointCloudPrivotManipulator", *manipulator, view.viewer(),
                  {view.event(Event::PUSH, Event::RIGHT_MOUSE_BUTTON, {at.x(), at.y()})}),
          {intersecting("LineSegmentIntersector", view, at, lineSegment, false),
           intersecting("PolytopeIntersector", view, at, polytope, false),
           intersecting("PolytopeIntersector, KdTree", view, at, polytope, true)});
}

void bothSizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->Arg(1000000)->Arg(10000000)->ArgName("points")->Unit(benchmark::kMicrosecond);
}

BENCHMARK_CAPTURE(pick, background, true)->Apply(bothSizes);
BENCHMARK_CAPTURE(pick, point, false)->Apply(bothSizes);

}  // namespace

const QuorBenchmarks::Program QuorBenchmarks::program = {
    "Pick",
    "A press, for which the manipulator looks up the point under the pointer in the captured frame of 1920 × 1080 "
    "pixels, beside "
    "intersectors of `osgUtil` in a geometry of points. Over background is the worst case for the manipulator: it "
    "searches "
    "all pixels within its reach. `LineSegmentIntersector` cannot hit points, so it shows only the cost of passing "
    "over them. "
    "The time to build the `KdTree` is not counted. Limit: 10 µs, whatever the number of points."};
