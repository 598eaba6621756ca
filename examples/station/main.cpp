// Station mode: looks around from the scanner in a simulated room. A right drag turns the view with a level horizon,
// the wheel changes the field of view. Prints the view whenever it changes.
#include <QuorOsgUtils/PreciseOrbitManipulator.h>
#include <QuorOsgUtils/ViewPose.h>

#include <osg/Geometry>
#include <osg/Point>
#include <osgViewer/Viewer>

#include <cstdio>
#include <string>

namespace {

constexpr int kWidth = 1000, kHeight = 700;
constexpr double kFieldDegrees = 60.0, kNear = 0.1, kFar = 100.0;
const osg::Vec3d kStation(0.0, 0.0, 1.6);  // the scanner, in a room 8 × 6 × 3 metres large

// Points on the walls, the floor and the ceiling, each side with its own colour.
osg::ref_ptr<osg::Geometry> createRoom() {
  constexpr int kPointsPerSide = 150;
  const osg::Vec3f low(-4.0f, -3.0f, 0.0f), size(8.0f, 6.0f, 3.0f);
  osg::ref_ptr<osg::Vec3Array> places = new osg::Vec3Array;
  osg::ref_ptr<osg::Vec4Array> colours = new osg::Vec4Array(osg::Array::BIND_PER_VERTEX);
  for (int side = 0; side < 6; ++side) {
    const int fixed = side / 2;  // the axis that the side is perpendicular to
    for (int number = 0; number < kPointsPerSide * kPointsPerSide; ++number) {
      const int column = number % kPointsPerSide, row = number / kPointsPerSide;
      osg::Vec3f share;  // 0 to 1 along each axis of the room
      share[fixed] = static_cast<float>(side % 2);
      share[(fixed + 1) % 3] = static_cast<float>(column) / (kPointsPerSide - 1);
      share[(fixed + 2) % 3] = static_cast<float>(row) / (kPointsPerSide - 1);
      places->push_back(low + osg::componentMultiply(share, size));
      colours->push_back(osg::Vec4f(0.3f, 0.3f, 0.3f, 1.0f) + osg::Vec4f(share * 0.5f, 0.0f));
    }
  }
  osg::ref_ptr<osg::Geometry> room = new osg::Geometry;
  room->setVertexArray(places);
  room->setColorArray(colours);
  room->addPrimitiveSet(new osg::DrawArrays(GL_POINTS, 0, static_cast<int>(places->size())));
  room->getOrCreateStateSet()->setMode(GL_LIGHTING, osg::StateAttribute::OFF);
  room->getOrCreateStateSet()->setAttribute(new osg::Point(3.0f));
  return room;
}

//! [enter]
void enterStation(QuorOsgUtils::PreciseOrbitManipulator& manipulator, osg::Camera& camera) {
  constexpr double kReach = 1.0;  // any distance: at a station the orbit centre only gives the direction
  QuorOsgUtils::ViewPose pose;
  pose.rotation = QuorOsgUtils::rotationOf(QuorOsgUtils::ViewPreset::Front);  // along +Y, with a level horizon
  pose.distance = kReach;
  pose.centre = kStation + pose.direction() * kReach;
  QuorOsgUtils::setPose(manipulator, pose);
  manipulator.setStationCenter(osg::Vec3f(kStation));
  manipulator.setStationModel(true);
  camera.setProjectionMatrixAsPerspective(kFieldDegrees, double(kWidth) / kHeight, kNear, kFar);
}
//! [enter]

//! [report]
std::string describe(const QuorOsgUtils::PreciseOrbitManipulator& manipulator, const osg::Camera& camera) {
  double field = 0.0, aspect = 0.0, nearest = 0.0, farthest = 0.0;
  camera.getProjectionMatrixAsPerspective(field, aspect, nearest, farthest);
  const QuorOsgUtils::ViewPose pose = QuorOsgUtils::poseOf(manipulator);
  const osg::Vec3d eye = pose.eye(), ahead = pose.direction();
  char text[200];
  std::snprintf(text, sizeof text, "eye %.3f %.3f %.3f direction %.3f %.3f %.3f field %.1f", eye.x(), eye.y(), eye.z(),
                ahead.x(), ahead.y(), ahead.z(), field);
  return text;
}
//! [report]
}  // namespace

int main() {
  osg::ref_ptr<osg::Group> scene = new osg::Group;
  scene->addChild(createRoom());
  osgViewer::Viewer viewer;
  viewer.setUpViewInWindow(50, 50, kWidth, kHeight);
  viewer.setSceneData(scene);
  osg::ref_ptr<QuorOsgUtils::PreciseOrbitManipulator> manipulator = new QuorOsgUtils::PreciseOrbitManipulator(&viewer);
  viewer.setCameraManipulator(manipulator, false);  // false: the view is not reset to the home position
  enterStation(*manipulator, *viewer.getCamera());

  viewer.realize();
  osgViewer::Viewer::Windows windows;
  viewer.getWindows(windows);
  windows.front()->setWindowName("quor_station");
  std::string shown;
  while (!viewer.done()) {
    viewer.frame();
    const std::string now = describe(*manipulator, *viewer.getCamera());
    if (now != shown) {
      std::puts(now.c_str());
      std::fflush(stdout);
      shown = now;
    }
  }
  return 0;
}
