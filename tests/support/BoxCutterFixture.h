#pragma once

#include "support/DragOracle.h"
#include "support/ExposedBoxCutter.h"

#include <osg/Camera>
#include <osg/ClipNode>
#include <osg/Group>
#include <osgGA/GUIEventAdapter>
#include <osgViewer/Viewer>

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

namespace QuorTests {

/// A viewer that counts requested redraws.
class CountingViewer : public osgViewer::Viewer {
 public:
  void requestRedraw() override { ++redraws; }

  int redraws = 0;
};

/// The box's faces in the order in which a press tries them, with the place of their extents in
/// `BoxCutterFixture::extents`.
struct FaceName {
  const char* text;
  std::size_t axis;
  bool upper;
};
constexpr std::array<FaceName, 6> kFaceNames = {{{"left", 0, false},
                                                 {"right", 0, true},
                                                 {"front", 1, false},
                                                 {"back", 1, true},
                                                 {"bottom", 2, false},
                                                 {"top", 2, true}}};

/// Whether in perspective, the direction from the box to the eye, whether the box is rotated and moved.
using Outlook = std::tuple<bool, osg::Vec3d, bool>;

/// A clip box of 4 x 6 x 5.5 units in a scene of a viewer of kWidth x kHeight pixels without a graphics context. Real
/// events go through the box's public `handle`; positions are pixels from the bottom left. Window positions and lines
/// of sight come from the fixture's own arithmetic, not from the camera's matrices.
class BoxCutterFixture : public ::testing::Test {
 protected:
  using Event = osgGA::GUIEventAdapter;
  using Cutter = QuorOsgUtils::BoxCutterDragger;

  static constexpr int kWidth = 800;
  static constexpr int kHeight = 600;
  static constexpr int kLeft = Event::LEFT_MOUSE_BUTTON;
  static constexpr int kMiddle = Event::MIDDLE_MOUSE_BUTTON;
  static constexpr int kRight = Event::RIGHT_MOUSE_BUTTON;
  static constexpr int kAllAxes = 7;
  static constexpr std::size_t kRightFace = 1;

  BoxCutterFixture();

  osg::Camera& viewCamera() { return *_viewer->getCamera(); }

  void usePerspective(double fieldDegrees = 60.0);
  /// `height` world units high.
  void useOrthographic(double height = 28.0);
  void lookAt(const osg::Vec3d& eye, const osg::Vec3d& center, const osg::Vec3d& up = osg::Vec3d(0.0, 0.0, 1.0));
  /// Looks at the box's centre from a distance in a direction of the world.
  void lookAtBoxFrom(const osg::Vec3d& direction, double distance = 25.0);

  /// Puts a group between the scene and the box with its clip node; `matrix` takes positions of the box to the world.
  void putBelow(osg::Group& parent, const osg::Matrixd& matrix);
  /// An application's own camera in the scene, which takes over the view of the box.
  osg::Camera& putBelowNestedCamera();
  /// Rotates and moves the box's own node.
  void placeBox();

  /// Puts a rotation and a translation of the application above the box, and places the box.
  void putBelowApplicationTransform();
  /// Calls `check` at the coordinates of a survey, in perspective and in orthographic projection.
  void forEachProjectionInASurvey(const std::function<void()>& check);
  /// The same below an application's own camera.
  void forEachProjectionBelowACamera(const std::function<void()>& check);

  void take(const Outlook& outlook);

  /// Updates the handles as drawing a frame does: they take their screen size.
  void settleHandles();

  osg::Vec2d toWindow(const osg::Vec3d& world) const;
  Line sightLine(const osg::Vec2d& window) const;
  osg::Vec3d towardsEye() const { return _back; }
  double worldPerPixel(const osg::Vec3d& world) const;

  osg::Vec3d toWorld(const osg::Vec3d& local) const { return local * _box->getMatrix() * _parentMatrix; }
  osg::Vec3d directionToWorld(const osg::Vec3d& local) const { return toWorld(local) - toWorld(osg::Vec3d()); }
  /// Unit vector of one of the box's axes in the world.
  osg::Vec3d axisInWorld(std::size_t axis) const;
  osg::Vec3d centerInWorld() const { return toWorld(osg::Vec3d(_box->_box.center())); }
  osg::Vec3d faceInWorld(std::size_t face) const;
  /// The outward line through the centre of a face.
  Line outwards(std::size_t face) const;
  /// A press position on the right face's cone, and a position to drag it to.
  osg::Vec2d cone() const { return toWindow(faceInWorld(kRightFace)); }
  osg::Vec2d beyond() const { return cone() + osg::Vec2d(40.0, 20.0); }
  /// A point on an axis's shaft, at a fraction of its length from the centre.
  osg::Vec3d shaftInWorld(std::size_t axis, double share = 0.6) const;
  /// Shows the handle of one axis alone, so that no other hides it.
  void showOnly(Cutter::CutterType type, std::size_t axis) { _box->setType(type, 1 << axis); }
  /// The circle of a ring's handle as a drag sees it after a press on its near side.
  RingOracle ringOracle(std::size_t axis) const;
  /// A point on the circle, at an angle about its axis from the ring's point of touch.
  osg::Vec3d ringInWorld(const RingOracle& ring, double radians) const;

  /// An event that a test may change before it sends it.
  osg::ref_ptr<Event> makeEvent(Event::EventType type, int button, int buttonMask, const osg::Vec2d& at);
  bool send(const Event& event) { return _box->handle(event, *_viewer); }
  /// Left button, after a frame, through the public `handle`.
  bool push(const osg::Vec2d& at);
  bool drag(const osg::Vec2d& at);
  bool release(const osg::Vec2d& at);
  /// Through the protected `handle`.
  bool handleAt(QuorOsgUtils::BoxPointerInfo& pointer, Event::EventType type, const osg::Vec2d& at);
  /// Press, one move, release.
  void dragFromTo(const osg::Vec2d& from, const osg::Vec2d& to);

  /// min x, max x, min y, max y, min z, max z.
  std::array<float, 6> extents() const;
  /// The box's corners in the world.
  std::vector<osg::Vec3d> cornersInWorld() const;
  std::vector<osg::Plane> planesInClipNode() const;
  /// Expects the corners at the given ones transformed by a matrix.
  void expectCornersMoved(const std::vector<osg::Vec3d>& before, const osg::Matrixd& motion, double tolerance) const;
  /// Expects no drag in progress.
  void expectIdle() const;
  /// Expects the clip node to hold the planes of the box's current corners: each of unit length and through four of
  /// them, with the other four inside.
  void expectPlanesFitBox() const;
  void expectAllFinite() const;

  float ringLineWidth(std::size_t axis) const;
  float axisLineWidth(std::size_t axis) const;

  osg::ref_ptr<CountingViewer> _viewer = new CountingViewer;
  osg::ref_ptr<osg::Group> _scene = new osg::Group;
  osg::ref_ptr<osg::ClipNode> _clip = new osg::ClipNode;
  osg::ref_ptr<ExposedBoxCutter> _box;
  /// The camera that sees the box.
  osg::ref_ptr<osg::Camera> _camera;
  osg::Matrixd _parentMatrix;

 private:
  osg::Vec3d _eye, _right, _up, _back;
  bool _isPerspective = true;
  /// The tangent of half the field of view, or half the height in world units.
  double _halfHeight = 0.5;
  double _time = 1.0;
};

/// Perspective and orthographic, from four sides, as built and rotated.
inline auto outlooks() {
  return ::testing::Combine(::testing::Bool(),
                            ::testing::Values(osg::Vec3d(8.0, -20.0, 9.0), osg::Vec3d(-15.0, -11.0, -7.0),
                                              osg::Vec3d(-9.0, 14.0, 12.0), osg::Vec3d(5.0, 4.0, 20.0)),
                            ::testing::Bool());
}

/// The name of an outlook among a test's parameters.
std::string outlookName(const ::testing::TestParamInfo<Outlook>& info);

}  // namespace QuorTests
