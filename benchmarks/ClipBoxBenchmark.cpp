#include "benchmarks/BenchmarkView.h"
#include "benchmarks/Program.h"

#include <QuorOsgUtils/BoxCutterDragger.h>

#include <osg/ClipNode>
#include <osg/MatrixTransform>
#include <osgManipulator/TabBoxDragger>
#include <osgManipulator/TrackballDragger>
#include <osgManipulator/TranslateAxisDragger>

#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

namespace {

using namespace QuorBenchmarks;
using QuorOsgUtils::BoxCutterDragger;

constexpr float kHalfBox = 8.0f;
/// The rings surround the box's corners.
const double kRing = 1.075 * std::sqrt(3.0) * kHalfBox;

/// Peers stand beside our box, so that no handle hides another.
const osg::Vec3d kRightOfOurs(30.0, 0.0, 0.0);
const osg::Vec3d kLeftOfOurs(-30.0, 0.0, 0.0);

/// A kind of drag of our box: what it shows, and a place on the handle.
struct Drag {
  BoxCutterDragger::CutterType type;
  int axisMask;
  osg::Vec3d at;
};
const Drag kFace{BoxCutterDragger::CUTTER_SCALE, 1, {kHalfBox + 0.3, 0.0, 0.0}};
const Drag kRotation{BoxCutterDragger::CUTTER_ROTATE, 2, {kRing, 0.0, 0.0}};
const Drag kAxis{BoxCutterDragger::CUTTER_TRANSLATE, 1, {0.5 * kHalfBox, 0.0, 0.0}};

/// An OpenSceneGraph dragger of about the size of our box, and a place on its handle. It moves a node, as in an
/// application.
struct Peer {
  Peer(const char* itsName, osgManipulator::Dragger* itsDragger, const osg::Vec3d& itsCenter, const osg::Vec3d& handle)
      : name(itsName), dragger(itsDragger), at(itsCenter + handle) {
    dragger->setupDefaultGeometry();
    dragger->setMatrix(osg::Matrixd::scale(osg::Vec3d(2.0, 2.0, 2.0) * kHalfBox) * osg::Matrixd::translate(itsCenter));
    dragger->addTransformUpdating(moved);
  }

  const char* name;
  osg::ref_ptr<osgManipulator::Dragger> dragger;
  osg::ref_ptr<osg::MatrixTransform> moved = new osg::MatrixTransform;
  osg::Vec3d at;
};

osg::Vec2d pixelOf(BenchmarkView& view, const osg::Vec3d& world) {
  const osg::Vec3d window = view.toWindow(world);
  return {window.x(), window.y()};
}

/// Presses a handle. False if the press missed it.
template <typename Dragger>
bool press(BenchmarkView& view, Dragger& dragger, const osg::Vec3d& at) {
  return dragger.handle(*view.event(Event::PUSH, Event::LEFT_MOUSE_BUTTON, pixelOf(view, at)), view.viewer());
}

template <typename Dragger>
Variant dragging(const char* name, BenchmarkView& view, Dragger& dragger, const osg::Vec3d& at, double goal = 0.0) {
  return sending(name, dragger, view.viewer(), view.dragsAround(Event::LEFT_MOUSE_BUTTON, pixelOf(view, at)), goal);
}

void compareDrag(benchmark::State& state, const Drag& drag, std::vector<Peer> peers) {
  BenchmarkView view;
  if (!view.valid()) {
    state.SkipWithError(kNoDisplay);
    return;
  }
  const osg::ref_ptr<osg::ClipNode> clip = new osg::ClipNode;
  const osg::BoundingBoxf extents(-kHalfBox, -kHalfBox, -kHalfBox, kHalfBox, kHalfBox, kHalfBox);
  const osg::ref_ptr<BoxCutterDragger> box = new BoxCutterDragger(extents, clip);
  box->setType(drag.type, drag.axisMask);
  view.scene().addChild(clip);
  view.scene().addChild(box);
  for (const Peer& peer : peers) {
    view.scene().addChild(peer.moved);
    view.scene().addChild(peer.dragger);
  }
  view.draw();  // gives the handles their size in pixels
  bool isPressed = press(view, *box, drag.at);
  std::vector<Variant> variants;
  for (const Peer& peer : peers) {
    isPressed = press(view, *peer.dragger, peer.at) && isPressed;
    variants.push_back(dragging(peer.name, view, *peer.dragger, peer.at, 1.0));
  }
  if (!isPressed) {
    state.SkipWithError("a press missed its handle");
    return;
  }
  compare(state, dragging("BoxCutterDragger", view, *box, drag.at), variants);
}

/// Pressed on the tab in the middle of an edge, which resizes the box.
Peer tabBox() {
  return {"TabBoxDragger", new osgManipulator::TabBoxDragger, kRightOfOurs, {kHalfBox, -kHalfBox, 0.0}};
}

void face(benchmark::State& state) {
  compareDrag(state, kFace, {tabBox()});
}

void ring(benchmark::State& state) {
  compareDrag(
      state, kRotation,
      {tabBox(), {"TrackballDragger", new osgManipulator::TrackballDragger, kLeftOfOurs, {0.0, -2.0 * kHalfBox, 0.0}}});
}

void axis(benchmark::State& state) {
  compareDrag(state, kAxis,
              {tabBox(),
               {"TranslateAxisDragger", new osgManipulator::TranslateAxisDragger, kLeftOfOurs, {kHalfBox, 0.0, 0.0}}});
}

BENCHMARK(face);
BENCHMARK(ring);
BENCHMARK(axis);

}  // namespace

const QuorBenchmarks::Program QuorBenchmarks::program = {
    "Clip box",
    "One event of a drag: a face, a ring and an axis of `BoxCutterDragger`, which also updates the six clip planes, "
    "beside the "
    "draggers of `osgManipulator`: an edge of the `TabBoxDragger`, and what rotates and moves there."};
