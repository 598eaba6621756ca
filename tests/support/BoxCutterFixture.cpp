#include "support/BoxCutterFixture.h"

#include "support/HandleScale.h"

#include <osg/LineWidth>
#include <osgUtil/CullVisitor>
#include <osgUtil/RenderStage>
#include <osgUtil/StateGraph>

#include <cmath>

namespace QuorTests {

namespace {

constexpr double kNear = 1.0;
constexpr double kFar = 1000.0;
constexpr double kDegree = 3.14159265358979323846 / 180.0;

// Exact in single precision, as events hold it.
double roundedToQuarter(double pixels) {
  return std::floor(pixels * 4.0 + 0.5) / 4.0;
}

osg::Vec3d unitVector(std::size_t axis) {
  osg::Vec3d vector;
  vector[static_cast<int>(axis)] = 1.0;
  return vector;
}

osg::Vec3d normalised(osg::Vec3d vector) {
  vector.normalize();
  return vector;
}

float lineWidthOf(const osg::Node& node) {
  const auto* width = dynamic_cast<const osg::LineWidth*>(
      node.getStateSet() ? node.getStateSet()->getAttribute(osg::StateAttribute::LINEWIDTH) : nullptr);
  return width ? width->getWidth() : 0.0f;
}

}  // namespace

BoxCutterFixture::BoxCutterFixture() {
  _viewer->setSceneData(_scene);
  _camera = &viewCamera();
  _camera->setViewport(0, 0, kWidth, kHeight);
  _box = new ExposedBoxCutter(osg::BoundingBoxf(-1.0f, -2.0f, -0.5f, 3.0f, 4.0f, 5.0f), _clip);
  _scene->addChild(_clip);
  _scene->addChild(_box);
  _box->setType(Cutter::CUTTER_SCALE, kAllAxes);
  _box->setHandleEvents(true);
  usePerspective();
  lookAtBoxFrom(osg::Vec3d(8.0, -20.0, 9.0));
}

void BoxCutterFixture::usePerspective(double fieldDegrees) {
  _isPerspective = true;
  _halfHeight = std::tan(0.5 * fieldDegrees * kDegree);
  const double top = kNear * _halfHeight;
  const double right = top * kWidth / kHeight;
  _camera->setProjectionMatrixAsFrustum(-right, right, -top, top, kNear, kFar);
}

void BoxCutterFixture::useOrthographic(double height) {
  _isPerspective = false;
  _halfHeight = 0.5 * height;
  const double right = _halfHeight * kWidth / kHeight;
  _camera->setProjectionMatrixAsOrtho(-right, right, -_halfHeight, _halfHeight, kNear, kFar);
}

void BoxCutterFixture::lookAt(const osg::Vec3d& eye, const osg::Vec3d& center, const osg::Vec3d& up) {
  _eye = eye;
  _back = normalised(eye - center);
  _right = normalised(up ^ _back);
  _up = _back ^ _right;
  _camera->setViewMatrixAsLookAt(eye, center, up);
}

void BoxCutterFixture::lookAtBoxFrom(const osg::Vec3d& direction, double distance) {
  lookAt(centerInWorld() + normalised(direction) * distance, centerInWorld());
}

void BoxCutterFixture::putBelow(osg::Group& parent, const osg::Matrixd& matrix) {
  _scene->removeChild(_clip);
  _scene->removeChild(_box);
  parent.addChild(_clip);
  parent.addChild(_box);
  _scene->addChild(&parent);
  _parentMatrix = matrix;
}

osg::Camera& BoxCutterFixture::putBelowNestedCamera() {
  osg::ref_ptr<osg::Camera> nested = new osg::Camera;
  nested->setReferenceFrame(osg::Transform::ABSOLUTE_RF);
  nested->setRenderOrder(osg::Camera::NESTED_RENDER);
  nested->setViewport(0, 0, kWidth, kHeight);
  putBelow(*nested, osg::Matrixd());
  viewCamera().setViewMatrixAsLookAt(osg::Vec3d(500.0, 0.0, 0.0), osg::Vec3d(500.0, 1.0, 0.0), osg::Vec3d(0, 0, 1));
  _camera = nested;
  return *nested;
}

void BoxCutterFixture::placeBox() {
  _box->setMatrix(osg::Matrixd::rotate(0.7, osg::Vec3d(1.0, 2.0, 3.0)) * osg::Matrixd::translate(3.0, -2.0, 1.5));
}

void BoxCutterFixture::putBelowApplicationTransform() {
  const osg::Matrixd matrix =
      osg::Matrixd::rotate(-0.9, osg::Vec3d(2.0, -1.0, 1.0)) * osg::Matrixd::translate(40.0, 7.0, -3.0);
  putBelow(*new osg::MatrixTransform(matrix), matrix);
  placeBox();
  lookAtBoxFrom(osg::Vec3d(8.0, -20.0, 9.0));
}

void BoxCutterFixture::forEachProjectionInASurvey(const std::function<void()>& check) {
  const osg::Matrixd matrix = osg::Matrixd::translate(687000.0, 5337000.0, 510.0);
  putBelow(*new osg::MatrixTransform(matrix), matrix);
  usePerspective();
  lookAtBoxFrom(osg::Vec3d(8.0, -20.0, 9.0));
  check();
  useOrthographic();
  lookAtBoxFrom(osg::Vec3d(8.0, -20.0, 9.0));
  check();
}

void BoxCutterFixture::forEachProjectionBelowACamera(const std::function<void()>& check) {
  putBelowNestedCamera();
  usePerspective(45.0);
  lookAtBoxFrom(osg::Vec3d(-15.0, -11.0, 7.0));
  check();
  useOrthographic(20.0);
  lookAtBoxFrom(osg::Vec3d(-15.0, -11.0, 7.0));
  check();
}

void BoxCutterFixture::take(const Outlook& outlook) {
  const auto& [isPerspective, towardsEye, isPlaced] = outlook;
  if (isPlaced) {
    placeBox();
  }
  if (!isPerspective) {
    useOrthographic();
  }
  lookAtBoxFrom(towardsEye);
}

void BoxCutterFixture::settleHandles() {
  osg::ref_ptr<osgUtil::CullVisitor> cull = osgUtil::CullVisitor::create();
  cull->setComputeNearFarMode(osg::CullSettings::DO_NOT_COMPUTE_NEAR_FAR);
  cull->setCullingMode(osg::CullSettings::NO_CULLING);
  cull->setStateGraph(new osgUtil::StateGraph);
  cull->setRenderStage(new osgUtil::RenderStage);
  cull->pushViewport(viewCamera().getViewport());
  cull->pushProjectionMatrix(new osg::RefMatrix(viewCamera().getProjectionMatrix()));
  cull->pushModelViewMatrix(new osg::RefMatrix(viewCamera().getViewMatrix()), osg::Transform::ABSOLUTE_RF);
  _scene->accept(*cull);
  cull->popModelViewMatrix();
  cull->popProjectionMatrix();
  cull->popViewport();
}

osg::Vec2d BoxCutterFixture::toWindow(const osg::Vec3d& world) const {
  const osg::Vec3d fromEye = world - _eye;
  const double scale = 0.5 * kHeight / (_halfHeight * (_isPerspective ? -(fromEye * _back) : 1.0));
  return osg::Vec2d(roundedToQuarter(0.5 * kWidth + fromEye * _right * scale),
                    roundedToQuarter(0.5 * kHeight + fromEye * _up * scale));
}

Line BoxCutterFixture::sightLine(const osg::Vec2d& window) const {
  const double scale = _halfHeight / (0.5 * kHeight);
  const osg::Vec3d aside =
      _right * ((window.x() - 0.5 * kWidth) * scale) + _up * ((window.y() - 0.5 * kHeight) * scale);
  if (_isPerspective) {
    return {_eye, normalised(aside - _back)};
  }
  return {_eye + aside, -_back};
}

double BoxCutterFixture::worldPerPixel(const osg::Vec3d& world) const {
  return _halfHeight / (0.5 * kHeight) * (_isPerspective ? (_eye - world) * _back : 1.0);
}

osg::Vec3d BoxCutterFixture::axisInWorld(std::size_t axis) const {
  return normalised(directionToWorld(unitVector(axis)));
}

osg::Vec3d BoxCutterFixture::faceInWorld(std::size_t face) const {
  const int axis = static_cast<int>(kFaceNames[face].axis);
  osg::Vec3d local(_box->_box.center());
  local[axis] = kFaceNames[face].upper ? _box->_box._max[axis] : _box->_box._min[axis];
  return toWorld(local);
}

Line BoxCutterFixture::outwards(std::size_t face) const {
  const osg::Vec3d upwards = axisInWorld(kFaceNames[face].axis);
  return {faceInWorld(face), kFaceNames[face].upper ? upwards : -upwards};
}

osg::Vec3d BoxCutterFixture::shaftInWorld(std::size_t axis, double share) const {
  constexpr double kShaftLengthPixels = 150.0;
  const double pixels = share * kShaftLengthPixels * handleScale(kWidth, kHeight, _isPerspective, _halfHeight);
  return centerInWorld() + axisInWorld(axis) * (pixels * worldPerPixel(centerInWorld()));
}

RingOracle BoxCutterFixture::ringOracle(std::size_t axis) const {
  const osg::Vec3d low(_box->_box._min);
  const osg::Vec3d high(_box->_box._max);
  return {centerInWorld(), axisInWorld(axis), 0.5 * (toWorld(high) - toWorld(low)).length(), _back};
}

osg::Vec3d BoxCutterFixture::ringInWorld(const RingOracle& ring, double radians) const {
  constexpr double kCircleRadius = 1.075;
  const osg::Vec3d touch = ring.touch();
  return ring.center +
         (touch * std::cos(radians) + (ring.axis ^ touch) * std::sin(radians)) * (kCircleRadius * ring.radius);
}

osg::ref_ptr<osgGA::GUIEventAdapter> BoxCutterFixture::makeEvent(Event::EventType type, int button, int buttonMask,
                                                                 const osg::Vec2d& at) {
  osg::ref_ptr<Event> event = new Event;
  event->setEventType(type);
  event->setButton(button);
  event->setButtonMask(buttonMask);
  event->setInputRange(0.0f, 0.0f, static_cast<float>(kWidth), static_cast<float>(kHeight));
  event->setMouseYOrientation(Event::Y_INCREASING_UPWARDS);
  event->setX(static_cast<float>(at.x()));
  event->setY(static_cast<float>(at.y()));
  event->addPointerData(new osgGA::PointerData(&viewCamera(), event->getX(), 0.0f, static_cast<float>(kWidth),
                                               event->getY(), 0.0f, static_cast<float>(kHeight)));
  event->setTime(_time += 0.01);
  return event;
}

bool BoxCutterFixture::push(const osg::Vec2d& at) {
  settleHandles();
  return send(*makeEvent(Event::PUSH, kLeft, kLeft, at));
}

bool BoxCutterFixture::drag(const osg::Vec2d& at) {
  settleHandles();
  return send(*makeEvent(Event::DRAG, 0, kLeft, at));
}

bool BoxCutterFixture::release(const osg::Vec2d& at) {
  settleHandles();
  return send(*makeEvent(Event::RELEASE, kLeft, 0, at));
}

bool BoxCutterFixture::handleAt(QuorOsgUtils::BoxPointerInfo& pointer, Event::EventType type, const osg::Vec2d& at) {
  pointer.setMousePosition(static_cast<float>(at.x()), static_cast<float>(at.y()));
  return _box->handle(pointer, *makeEvent(type, kLeft, kLeft, at), *_viewer);
}

void BoxCutterFixture::dragFromTo(const osg::Vec2d& from, const osg::Vec2d& to) {
  EXPECT_TRUE(push(from));
  EXPECT_TRUE(drag(to));
  EXPECT_TRUE(release(to));
}

std::array<float, 6> BoxCutterFixture::extents() const {
  const osg::BoundingBoxf& box = _box->_box;
  return {box.xMin(), box.xMax(), box.yMin(), box.yMax(), box.zMin(), box.zMax()};
}

std::vector<osg::Vec3d> BoxCutterFixture::cornersInWorld() const {
  std::vector<osg::Vec3d> corners;
  for (unsigned int i = 0; i < 8; ++i) {
    corners.push_back(toWorld(osg::Vec3d(_box->_box.corner(i))));
  }
  return corners;
}

std::vector<osg::Plane> BoxCutterFixture::planesInClipNode() const {
  std::vector<osg::Plane> planes;
  for (unsigned int i = 0; i < _clip->getNumClipPlanes(); ++i) {
    planes.emplace_back(_clip->getClipPlane(i)->getClipPlane());
  }
  return planes;
}

void BoxCutterFixture::expectCornersMoved(const std::vector<osg::Vec3d>& before, const osg::Matrixd& motion,
                                          double tolerance) const {
  const std::vector<osg::Vec3d> now = cornersInWorld();
  for (std::size_t i = 0; i < now.size(); ++i) {
    EXPECT_LT((now[i] - before[i] * motion).length(), tolerance) << i;
  }
}

void BoxCutterFixture::expectIdle() const {
  EXPECT_FALSE(_box->_draggerActive);
  EXPECT_TRUE(_box->_pointer._hitList.empty());
}

void BoxCutterFixture::expectPlanesFitBox() const {
  constexpr double kTolerance = 1e-5;
  const std::vector<osg::Plane> planes = planesInClipNode();
  ASSERT_EQ(planes.size(), 6U);
  for (const osg::Plane& plane : planes) {
    const osg::Vec3d normal(plane[0], plane[1], plane[2]);
    EXPECT_NEAR(normal.length(), 1.0, 1e-9);
    int onPlane = 0, inside = 0;
    for (unsigned int i = 0; i < 8; ++i) {
      const osg::Vec3d corner = osg::Vec3d(_box->_box.corner(i)) * _box->getMatrix();
      const double distance = normal * corner + plane[3];
      if (std::abs(distance) < kTolerance) {
        ++onPlane;
      }
      if (distance >= kTolerance) {
        ++inside;
      }
    }
    EXPECT_EQ(onPlane, 4);
    EXPECT_EQ(inside, 4);
  }
}

void BoxCutterFixture::expectAllFinite() const {
  for (const osg::Vec3d& corner : cornersInWorld()) {
    EXPECT_TRUE(std::isfinite(corner.length2()));
  }
  for (const osg::Plane& plane : planesInClipNode()) {
    EXPECT_TRUE(std::isfinite(plane[0] + plane[1] + plane[2] + plane[3]));
  }
}

float BoxCutterFixture::ringLineWidth(std::size_t axis) const {
  return lineWidthOf(*_box->_rings[axis].ring);
}

float BoxCutterFixture::axisLineWidth(std::size_t axis) const {
  return lineWidthOf(*_box->_axes[axis].transform);
}

std::string outlookName(const ::testing::TestParamInfo<Outlook>& info) {
  const auto& [isPerspective, towardsEye, isPlaced] = info.param;
  return std::string(isPerspective ? "perspective" : "orthographic") + (isPlaced ? "Turned" : "AsBuilt") +
         (towardsEye.x() < 0.0 ? "Left" : "Right") + (towardsEye.y() < 0.0 ? "Front" : "Back");
}

}  // namespace QuorTests
