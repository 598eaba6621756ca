#pragma once

#include "benchmarks/Comparison.h"
#include "support/CaptureContext.h"

#include <osg/Geometry>
#include <osg/Vec2d>
#include <osg/Vec3d>
#include <osg/ref_ptr>
#include <osgGA/GUIEventAdapter>
#include <osgViewer/Viewer>

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace QuorBenchmarks {

using Event = osgGA::GUIEventAdapter;
using Events = std::vector<osg::ref_ptr<Event>>;

/// Why a benchmark is skipped.
constexpr const char* kNoDisplay = "a display with OpenGL is needed";

/// A view of 1920 × 1080 pixels along +Y, 30 degrees high, from 100 units in front of the origin.
class BenchmarkView {
 public:
  static constexpr int kWidth = 1920;
  static constexpr int kHeight = 1080;
  static constexpr double kDistance = 100.0;

  BenchmarkView();

  bool valid() const { return _context.valid(); }
  osgViewer::Viewer& viewer() { return _context.viewer(); }
  osg::Camera& camera() { return _context.camera(); }
  osg::Group& scene() { return _context.scene(); }
  osg::Vec3d eye() const { return {0.0, -kDistance, 0.0}; }

  /// Draws and captures a frame of the scene.
  void draw() { _context.draw(); }
  /// The same of a wall through the origin with a square hole in its middle, behind which there is only background.
  void drawWall(int holePixels);

  /// Pixels from the bottom left, and the depth (0 to 1).
  osg::Vec3d toWindow(const osg::Vec3d& world);
  osg::Vec2d middle() const { return {0.5 * kWidth, 0.5 * kHeight}; }

  /// An event of the pointer with one button, or with none (0).
  osg::ref_ptr<Event> event(Event::EventType type, int button, const osg::Vec2d& at);
  /// A hundred drag events on a circle around a position.
  Events dragsAround(int button, const osg::Vec2d& at);

 private:
  QuorTests::CaptureContext _context;
};

/// Points at random on a ring about the Y axis in the XZ plane, from 10 to 20 units from the origin.
osg::ref_ptr<osg::Geometry> ringOfPoints(std::size_t count);

/// Sends events to a handler, in turn and over and over. The time reported is that of one.
template <typename Handler>
Variant sending(std::string name, Handler& handler, osgViewer::Viewer& viewer, Events events, double goal = 0.0) {
  constexpr std::size_t kEventsPerRound = 100;
  const auto sendNext = [&handler, &viewer, events = std::move(events), next = std::size_t{0}]() mutable {
    handler.handle(*events[next], viewer);
    next = (next + 1) % events.size();
  };
  return repeated(std::move(name), kEventsPerRound, sendNext, goal);
}

}  // namespace QuorBenchmarks
