#pragma once

#include "support/Near.h"

#include <QuorOsgUtils/PreciseOrbitManipulator.h>
#include <QuorOsgUtils/PrecisePivotManipulator.h>
#include <QuorOsgUtils/SPointCloudManipulator.h>
#include <QuorOsgUtils/SPointCloudPrivotManipulator.h>

#include <osg/Group>
#include <osgGA/GUIEventAdapter>
#include <osgViewer/Viewer>

#include <gtest/gtest.h>

namespace QuorTests {

/// A manipulator that exposes its state to tests. Its behaviour is unchanged.
template <typename Manipulator>
class Opened : public Manipulator {
 public:
  using Manipulator::Manipulator;

  using Manipulator::_fov;
  using Manipulator::_lockPerspective;
  using Manipulator::_osgViewer;
  using Manipulator::_pitchQuat;
  using Manipulator::_pivotIndicator;
  using Manipulator::_pivotPoint;
  using Manipulator::_spareCount;
  using Manipulator::_spareRatio;
  using Manipulator::_spareVector;
  using Manipulator::_stationCenter;
  using Manipulator::_wheelZoomFactor;
  using Manipulator::_yawQuat;

  double orbitWheelZoomFactor() const { return osgGA::OrbitManipulator::_wheelZoomFactor; }
};

class OpenManipulator : public Opened<QuorOsgUtils::SPointCloudManipulator> {
 public:
  using Opened::Opened;

  using SPointCloudManipulator::_initialRotation;
  using SPointCloudManipulator::_initialRotationAngle;
};

using OpenPivotManipulator = Opened<QuorOsgUtils::SPointCloudPrivotManipulator>;
using OpenPreciseOrbit = Opened<QuorOsgUtils::PreciseOrbitManipulator>;
using OpenPrecisePivot = Opened<QuorOsgUtils::PrecisePivotManipulator>;

/// A viewer of kWidth × kHeight pixels without a graphics context, a scene of one group, and the manipulator under
/// test; real events go through the manipulator's public `handle`. Positions are pixels from the bottom left.
template <typename Manipulator>
class NavigationFixture : public ::testing::Test {
 protected:
  using Event = osgGA::GUIEventAdapter;

  static constexpr int kWidth = 800;
  static constexpr int kHeight = 600;
  static constexpr double kNear = 1.0;
  static constexpr double kFar = 1000.0;
  static constexpr int kLeft = Event::LEFT_MOUSE_BUTTON;
  static constexpr int kMiddle = Event::MIDDLE_MOUSE_BUTTON;
  static constexpr int kRight = Event::RIGHT_MOUSE_BUTTON;

  NavigationFixture();
  /// The same on a viewer that has its own scene and viewport.
  explicit NavigationFixture(osgViewer::Viewer* viewer);

  osg::Camera& camera() { return *_viewer->getCamera(); }

  /// 60 degrees high.
  void usePerspective();
  /// `height` world units high and centred on the axis.
  void useOrthographic(double height);
  void lookAt(const osg::Vec3d& eye, const osg::Vec3d& center, const osg::Vec3d& up = osg::Vec3d(0.0, 0.0, 1.0));
  /// What the viewer does between the events and the drawing of a frame.
  void updateCamera() { _manipulator->updateCamera(camera()); }

  /// An event that a test may change before it sends it.
  osg::ref_ptr<Event> makeEvent(Event::EventType type, int buttons, double x, double y);
  bool send(Event& event) { return _manipulator->handle(event, *_viewer); }

  bool push(int buttons, double x, double y) { return send(*makeEvent(Event::PUSH, buttons, x, y)); }
  bool doubleClick(int buttons, double x, double y) { return send(*makeEvent(Event::DOUBLECLICK, buttons, x, y)); }
  bool drag(int buttons, double x, double y) { return send(*makeEvent(Event::DRAG, buttons, x, y)); }
  bool release(int buttons, double x, double y) { return send(*makeEvent(Event::RELEASE, buttons, x, y)); }
  bool scroll(Event::ScrollingMotion motion, double x, double y);
  bool key(int keySymbol);

  /// Gives every field a value that is not its default.
  void changeEveryField();
  /// Expects the values of `changeEveryField`, and that the marker and the viewer are shared.
  void expectCopyOfEveryField(Manipulator& copy);

  /// The constructor argument of every manipulator of this viewer.
  void expectSharedDefaults(Manipulator& fresh);

  bool isMarkerShown() const { return _manipulator->_pivotIndicator->getNumParents() > 0; }
  osg::Vec3d eye() const;
  osg::Vec3d viewDirection() const;
  /// Where a world point is drawn by the manipulator's view: window pixels and a depth of 0 to 1.
  osg::Vec3d toWindow(const osg::Vec3d& world);
  /// The world point at a distance ahead of the eye (along the view's direction) that is drawn at a pixel.
  osg::Vec3d worldAtDistance(double x, double y, double distance);
  /// The depth of what is at a distance ahead of the eye, and the reverse for what a depth image holds.
  float depthAtDistance(double distance);
  double distanceOfDepth(float depth);

  osg::ref_ptr<osgViewer::Viewer> _viewer;
  osg::ref_ptr<osg::Group> _scene = new osg::Group;
  osg::ref_ptr<Manipulator> _manipulator;
  double _time = 1.0;
};

using ManipulatorFixture = NavigationFixture<OpenManipulator>;
using PivotManipulatorFixture = NavigationFixture<OpenPivotManipulator>;

/// Radians.
double angleOf(const osg::Quat& rotation);
/// As rotations: q and −q are the same.
void expectSameRotation(const osg::Quat& actual, const osg::Quat& expected, double tolerance);

}  // namespace QuorTests
