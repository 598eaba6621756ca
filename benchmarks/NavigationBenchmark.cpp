#include "benchmarks/BenchmarkView.h"
#include "benchmarks/Program.h"

#include <QuorOsgUtils/PreciseOrbitManipulator.h>
#include <QuorOsgUtils/PrecisePivotManipulator.h>
#include <QuorOsgUtils/SPointCloudManipulator.h>
#include <QuorOsgUtils/SPointCloudPrivotManipulator.h>

#include <osgGA/OrbitManipulator>
#include <osgGA/TerrainManipulator>

#include <benchmark/benchmark.h>

#include <string>
#include <utility>

namespace {

using namespace QuorBenchmarks;
using osgGA::StandardManipulator;

constexpr std::size_t kPoints = 100000;
constexpr int kHolePixels = 200;

/// A gesture, with the button that ours and the manipulators of OpenSceneGraph have for it. The wheel has none.
struct Gesture {
  int ourButton;
  int theirButton;
  double goal;  // beside the orbit manipulator
};
constexpr Gesture kOrbit{Event::RIGHT_MOUSE_BUTTON, Event::LEFT_MOUSE_BUTTON, 1.0};
constexpr Gesture kPan{Event::MIDDLE_MOUSE_BUTTON, Event::MIDDLE_MOUSE_BUTTON, 0.0};
constexpr Gesture kWheel{0, 0, 0.0};

/// Forwards and backwards in turn, so that the eye stays about where it is.
Events notches(BenchmarkView& view) {
  Events events{view.event(Event::SCROLL, 0, view.middle()), view.event(Event::SCROLL, 0, view.middle())};
  events[0]->setScrollingMotion(Event::SCROLL_UP);
  events[1]->setScrollingMotion(Event::SCROLL_DOWN);
  return events;
}

void place(StandardManipulator& manipulator, BenchmarkView& view) {
  manipulator.setNode(&view.scene());
  manipulator.setTransformation(view.eye(), osg::Vec3d(), osg::Vec3d(0.0, 0.0, 1.0));
}

/// The events of a gesture after its press.
Variant gesture(std::string name, StandardManipulator& manipulator, BenchmarkView& view, int button, double goal) {
  place(manipulator, view);
  if (button == 0) {
    return sending(std::move(name), manipulator, view.viewer(), notches(view), goal);
  }
  manipulator.handle(*view.event(Event::PUSH, button, view.middle()), view.viewer());
  return sending(std::move(name), manipulator, view.viewer(), view.dragsAround(button, view.middle()), goal);
}

using Make = osg::ref_ptr<StandardManipulator> (*)(osgViewer::Viewer& viewer);

template <typename Manipulator>
osg::ref_ptr<StandardManipulator> make(osgViewer::Viewer& viewer) {
  return new Manipulator(&viewer);
}

void compareGesture(benchmark::State& state, const Gesture& which, Make makeOurs) {
  BenchmarkView view;
  if (!view.valid()) {
    state.SkipWithError(kNoDisplay);
    return;
  }
  view.drawWall(kHolePixels);
  view.scene().addChild(ringOfPoints(kPoints));
  const osg::ref_ptr<StandardManipulator> ours = makeOurs(view.viewer());
  const osg::ref_ptr<StandardManipulator> orbit = new osgGA::OrbitManipulator;
  const osg::ref_ptr<StandardManipulator> terrain = new osgGA::TerrainManipulator;
  compare(state, gesture("ours", *ours, view, which.ourButton, 0.0),
          {gesture("OrbitManipulator", *orbit, view, which.theirButton, which.goal),
           gesture("TerrainManipulator", *terrain, view, which.theirButton, 0.0)});
}

void orbit(benchmark::State& state, Make make) {
  compareGesture(state, kOrbit, make);
}
void pan(benchmark::State& state, Make make) {
  compareGesture(state, kPan, make);
}
void wheel(benchmark::State& state, Make make) {
  compareGesture(state, kWheel, make);
}

BENCHMARK_CAPTURE(orbit, SPointCloudManipulator, make<QuorOsgUtils::SPointCloudManipulator>);
BENCHMARK_CAPTURE(orbit, SPointCloudPrivotManipulator, make<QuorOsgUtils::SPointCloudPrivotManipulator>);
BENCHMARK_CAPTURE(orbit, PreciseOrbitManipulator, make<QuorOsgUtils::PreciseOrbitManipulator>);
BENCHMARK_CAPTURE(orbit, PrecisePivotManipulator, make<QuorOsgUtils::PrecisePivotManipulator>);
BENCHMARK_CAPTURE(pan, SPointCloudManipulator, make<QuorOsgUtils::SPointCloudManipulator>);
BENCHMARK_CAPTURE(pan, PreciseOrbitManipulator, make<QuorOsgUtils::PreciseOrbitManipulator>);
BENCHMARK_CAPTURE(wheel, SPointCloudManipulator, make<QuorOsgUtils::SPointCloudManipulator>);
BENCHMARK_CAPTURE(wheel, PreciseOrbitManipulator, make<QuorOsgUtils::PreciseOrbitManipulator>);

}  // namespace

const QuorBenchmarks::Program QuorBenchmarks::program = {
    "Navigation",
    "One event of a drag or of the wheel, beside the manipulators of `osgGA`, with a captured frame of 1920 × 1080 "
    "pixels and a "
    "scene of 100,000 points. The pointer is over background, which is the worst case for our wheel: it searches all "
    "pixels "
    "within its reach. `TerrainManipulator` intersects the scene in each event of a pan. Where several of our "
    "manipulators "
    "share the code of a gesture, one is measured."};
