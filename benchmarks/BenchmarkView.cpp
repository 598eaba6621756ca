#include "benchmarks/BenchmarkView.h"

#include <osg/Array>
#include <osg/PrimitiveSet>
#include <osg/Viewport>

#include <cmath>
#include <random>

namespace QuorBenchmarks {
namespace {

constexpr double kTwoPi = 6.283185307179586;

}  // namespace

BenchmarkView::BenchmarkView() : _context(kWidth, kHeight) {
  camera().setComputeNearFarMode(osg::CullSettings::DO_NOT_COMPUTE_NEAR_FAR);
  camera().setProjectionMatrixAsPerspective(30.0, static_cast<double>(kWidth) / kHeight, 1.0, 1000.0);
  camera().setViewMatrixAsLookAt(eye(), osg::Vec3d(), osg::Vec3d(0.0, 0.0, 1.0));
}

void BenchmarkView::drawWall(int holePixels) {
  QuorTests::FrameContent wall;
  wall.depth = static_cast<float>(toWindow(osg::Vec3d()).z());
  _context.setPainter([&] {
    _context.fill(0, 0, kWidth, kHeight, wall);
    _context.fill((kWidth - holePixels) / 2, (kHeight - holePixels) / 2, holePixels, holePixels, {});
  });
  draw();
  _context.setPainter({});
}

osg::Vec3d BenchmarkView::toWindow(const osg::Vec3d& world) {
  return world * camera().getViewMatrix() * camera().getProjectionMatrix() *
         camera().getViewport()->computeWindowMatrix();
}

osg::ref_ptr<Event> BenchmarkView::event(Event::EventType type, int button, const osg::Vec2d& at) {
  osg::ref_ptr<Event> event = new Event;
  event->setEventType(type);
  event->setButton(type == Event::DRAG ? 0 : button);
  event->setButtonMask(button);
  event->setInputRange(0.0f, 0.0f, static_cast<float>(kWidth), static_cast<float>(kHeight));
  event->setMouseYOrientation(Event::Y_INCREASING_UPWARDS);
  event->setX(static_cast<float>(at.x()));
  event->setY(static_cast<float>(at.y()));
  event->addPointerData(new osgGA::PointerData(&camera(), event->getX(), 0.0f, static_cast<float>(kWidth),
                                               event->getY(), 0.0f, static_cast<float>(kHeight)));
  return event;
}

Events BenchmarkView::dragsAround(int button, const osg::Vec2d& at) {
  constexpr int kCount = 100;
  constexpr double kRadiusPixels = 40.0;
  Events events;
  for (int i = 0; i < kCount; ++i) {
    const double angle = kTwoPi * i / kCount;
    events.push_back(event(Event::DRAG, button, at + osg::Vec2d(std::cos(angle), std::sin(angle)) * kRadiusPixels));
  }
  return events;
}

osg::ref_ptr<osg::Geometry> ringOfPoints(std::size_t count) {
  std::mt19937 generator(7);
  std::uniform_real_distribution<double> angle(0.0, kTwoPi), radius(10.0, 20.0);
  osg::ref_ptr<osg::Vec3Array> points = new osg::Vec3Array;
  points->reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    const double turn = angle(generator), distance = radius(generator);
    points->push_back(osg::Vec3d(distance * std::cos(turn), 0.0, distance * std::sin(turn)));
  }
  osg::ref_ptr<osg::Geometry> geometry = new osg::Geometry;
  geometry->setVertexArray(points);
  geometry->addPrimitiveSet(new osg::DrawArrays(GL_POINTS, 0, static_cast<GLsizei>(count)));
  return geometry;
}

}  // namespace QuorBenchmarks
