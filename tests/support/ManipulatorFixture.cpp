#include "support/ManipulatorFixture.h"

#include <algorithm>
#include <cmath>

namespace QuorTests {

namespace {

constexpr double kHalfFieldOfView = 30.0 * 3.14159265358979323846 / 180.0;

// Of `changeEveryField`.
const osg::Quat kPitch(0.4, osg::Vec3d(1.0, 0.0, 0.0));
const osg::Quat kYaw(0.3, osg::Vec3d(0.0, 0.0, 1.0));

}  // namespace

template <typename Manipulator>
NavigationFixture<Manipulator>::NavigationFixture() : NavigationFixture(new osgViewer::Viewer) {
  _viewer->setSceneData(_scene);
  camera().setViewport(0, 0, kWidth, kHeight);
}

template <typename Manipulator>
NavigationFixture<Manipulator>::NavigationFixture(osgViewer::Viewer* viewer) : _viewer(viewer) {
  camera().setComputeNearFarMode(osg::CullSettings::DO_NOT_COMPUTE_NEAR_FAR);
  _manipulator = new Manipulator(_viewer);
  usePerspective();
  lookAt(osg::Vec3d(0.0, -100.0, 0.0), osg::Vec3d(0.0, 0.0, 0.0));
}

template <typename Manipulator>
void NavigationFixture<Manipulator>::usePerspective() {
  const double top = kNear * std::tan(kHalfFieldOfView);
  const double right = top * kWidth / kHeight;
  camera().setProjectionMatrixAsFrustum(-right, right, -top, top, kNear, kFar);
}

template <typename Manipulator>
void NavigationFixture<Manipulator>::useOrthographic(double height) {
  const double width = height * kWidth / kHeight;
  camera().setProjectionMatrixAsOrtho(-0.5 * width, 0.5 * width, -0.5 * height, 0.5 * height, kNear, kFar);
}

template <typename Manipulator>
void NavigationFixture<Manipulator>::lookAt(const osg::Vec3d& eye, const osg::Vec3d& center, const osg::Vec3d& up) {
  _manipulator->setTransformation(eye, center, up);
  updateCamera();
}

template <typename Manipulator>
osg::ref_ptr<osgGA::GUIEventAdapter> NavigationFixture<Manipulator>::makeEvent(Event::EventType type, int buttons,
                                                                               double x, double y) {
  osg::ref_ptr<Event> event = new Event;
  event->setEventType(type);
  event->setButtonMask(buttons);
  event->setInputRange(0.0f, 0.0f, static_cast<float>(kWidth), static_cast<float>(kHeight));
  event->setMouseYOrientation(Event::Y_INCREASING_UPWARDS);
  event->setX(static_cast<float>(x));
  event->setY(static_cast<float>(y));
  event->setTime(_time += 0.01);
  return event;
}

template <typename Manipulator>
bool NavigationFixture<Manipulator>::scroll(Event::ScrollingMotion motion, double x, double y) {
  const osg::ref_ptr<Event> event = makeEvent(Event::SCROLL, 0, x, y);
  event->setScrollingMotion(motion);
  return send(*event);
}

template <typename Manipulator>
bool NavigationFixture<Manipulator>::key(int keySymbol) {
  const osg::ref_ptr<Event> event = makeEvent(Event::KEYDOWN, 0, 0.0, 0.0);
  event->setKey(keySymbol);
  return send(*event);
}

template <typename Manipulator>
osg::Vec3d NavigationFixture<Manipulator>::eye() const {
  return _manipulator->getCenter() - viewDirection() * _manipulator->getDistance();
}

template <typename Manipulator>
osg::Vec3d NavigationFixture<Manipulator>::viewDirection() const {
  return _manipulator->getRotation() * osg::Vec3d(0.0, 0.0, -1.0);
}

template <typename Manipulator>
osg::Vec3d NavigationFixture<Manipulator>::toWindow(const osg::Vec3d& world) {
  // Relative to the eye first, so that the test's own arithmetic stays precise far from the origin.
  const osg::Vec3d inView = _manipulator->getRotation().inverse() * (world - eye());
  const osg::Vec3d clip = inView * camera().getProjectionMatrix();
  return osg::Vec3d((clip.x() + 1.0) * 0.5 * kWidth, (clip.y() + 1.0) * 0.5 * kHeight, (clip.z() + 1.0) * 0.5);
}

template <typename Manipulator>
osg::Vec3d NavigationFixture<Manipulator>::worldAtDistance(double x, double y, double distance) {
  // A plane of constant depth is at right angles to the view: only its width depends on the distance.
  const osg::Matrixd& projection = camera().getProjectionMatrix();
  const bool isPerspective = projection(3, 3) == 0.0;
  const double scale = isPerspective ? distance : 1.0;
  const osg::Vec3d inView((2.0 * x / kWidth - 1.0) * scale / projection(0, 0),
                          (2.0 * y / kHeight - 1.0) * scale / projection(1, 1), -distance);
  return eye() + _manipulator->getRotation() * inView;
}

template <typename Manipulator>
float NavigationFixture<Manipulator>::depthAtDistance(double distance) {
  const osg::Vec3d clip = osg::Vec3d(0.0, 0.0, -distance) * camera().getProjectionMatrix();
  return static_cast<float>((clip.z() + 1.0) * 0.5);
}

template <typename Manipulator>
double NavigationFixture<Manipulator>::distanceOfDepth(float depth) {
  const bool isPerspective = camera().getProjectionMatrix()(3, 3) == 0.0;
  if (!isPerspective) {
    return kNear + depth * (kFar - kNear);
  }
  return kNear * kFar / (kFar - depth * (kFar - kNear));
}

template <typename Manipulator>
void NavigationFixture<Manipulator>::expectSharedDefaults(Manipulator& fresh) {
  EXPECT_EQ(fresh._osgViewer.get(), _viewer.get());
  EXPECT_EQ(fresh._spareRatio, 0.15);
  EXPECT_EQ(fresh._pivotPoint, osg::Vec3d());
  EXPECT_EQ(fresh._spareCount, 0);
  EXPECT_EQ(fresh.getFov(), 30.0);
  EXPECT_FALSE(fresh._lockPerspective);
  EXPECT_EQ(fresh._spareVector, osg::Vec3d());
  EXPECT_FALSE(fresh.isStationModel());
  EXPECT_EQ(fresh._stationCenter, osg::Vec3d());
  EXPECT_EQ(fresh.getWheelZoomFactor(), 10.0);
  EXPECT_EQ(fresh.getRotationFactor(), 1.0);
  EXPECT_EQ(fresh._pitchQuat, osg::Quat());
  EXPECT_EQ(fresh._yawQuat, osg::Quat());
  EXPECT_FALSE(fresh.getVerticalAxisFixed());
  EXPECT_FALSE(fresh.getAllowThrow());
}

template <typename Manipulator>
void NavigationFixture<Manipulator>::changeEveryField() {
  _manipulator->setStationCenter(osg::Vec3f(1.5f, 2.5f, 3.5f));
  _manipulator->setStationModel(true);
  _manipulator->setLockPerspective(true);
  _manipulator->setWheelZoomFactor(20.0);
  _manipulator->setRotationFactor(2.0);
  _manipulator->setPitchWithYawQuat(kPitch, kYaw);
  _manipulator->_pivotPoint = osg::Vec3d(10.0, 11.0, 12.0);
  _manipulator->_spareRatio = 0.25;
  _manipulator->_spareCount = 13;
  _manipulator->_spareVector = osg::Vec3d(14.0, 15.0, 16.0);
  _manipulator->_fov = 45.0;
}

template <typename Manipulator>
void NavigationFixture<Manipulator>::expectCopyOfEveryField(Manipulator& copy) {
  EXPECT_EQ(copy.getMatrix(), _manipulator->getMatrix());
  EXPECT_EQ(copy._osgViewer.get(), _viewer.get());
  EXPECT_EQ(copy._pivotIndicator.get(), _manipulator->_pivotIndicator.get());
  EXPECT_EQ(copy._stationCenter, osg::Vec3d(1.5, 2.5, 3.5));
  EXPECT_TRUE(copy.isStationModel());
  EXPECT_TRUE(copy._lockPerspective);
  EXPECT_EQ(copy.getWheelZoomFactor(), 20.0);
  EXPECT_EQ(copy.getRotationFactor(), 2.0);
  EXPECT_EQ(copy.getTrackballSize(), 0.9);
  EXPECT_EQ(copy._pitchQuat, kPitch);
  EXPECT_EQ(copy._yawQuat, kYaw);
  EXPECT_EQ(copy._pivotPoint, osg::Vec3d(10.0, 11.0, 12.0));
  EXPECT_EQ(copy._spareRatio, 0.25);
  EXPECT_EQ(copy._spareCount, 13);
  EXPECT_EQ(copy._spareVector, osg::Vec3d(14.0, 15.0, 16.0));
  EXPECT_EQ(copy.getFov(), 45.0);
}

template class NavigationFixture<OpenManipulator>;
template class NavigationFixture<OpenPivotManipulator>;
template class NavigationFixture<OpenPreciseOrbit>;
template class NavigationFixture<OpenPrecisePivot>;

double angleOf(const osg::Quat& rotation) {
  double angle = 0.0;
  osg::Vec3d axis;
  rotation.getRotate(angle, axis);
  return angle;
}

void expectSameRotation(const osg::Quat& actual, const osg::Quat& expected, double tolerance) {
  const osg::Vec4d a = actual.asVec4();
  const osg::Vec4d e = expected.asVec4();
  EXPECT_LE(std::min((a - e).length(), (a + e).length()), tolerance);
}

}  // namespace QuorTests
