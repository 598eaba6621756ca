// Large coordinates: a survey in UTM coordinates, drawn without losing its millimetres. A left click prints the
// surveyed coordinates of the point under the pointer.
#include <QuorOsgUtils/PreciseOrbitManipulator.h>

#include <osg/Geometry>
#include <osg/Point>
#include <osgGA/GUIEventHandler>
#include <osgUtil/PolytopeIntersector>
#include <osgViewer/Viewer>

#include <cmath>
#include <cstdio>
#include <vector>

namespace {

using Survey = std::vector<osg::Vec3d>;
// A helix of one metre radius, in UTM coordinates: 5,400 km from their origin.
Survey readSurvey() {
  Survey survey;
  for (int number = 0; number < 4000; ++number) {
    const double angle = 0.01 * number;
    survey.emplace_back(431000.123 + std::cos(angle), 5412000.456 + std::sin(angle), 300.789 + 0.0005 * number);
  }
  return survey;
}

//! [origin]
// A float has 24 bits: near 5,400,000 its steps are half a metre. So the world of the scene graph begins near the
// survey, at whole metres, which can be stated and added without rounding. The difference is computed in double
// precision.
osg::Vec3d originOf(const Survey& survey) {
  return {std::floor(survey[0].x()), std::floor(survey[0].y()), std::floor(survey[0].z())};
}

osg::ref_ptr<osg::Vec3Array> localPlaces(const Survey& survey, const osg::Vec3d& origin) {
  osg::ref_ptr<osg::Vec3Array> places = new osg::Vec3Array;
  for (const osg::Vec3d& point : survey) {
    places->push_back(osg::Vec3f(point - origin));
  }
  return places;
}
//! [origin]
osg::ref_ptr<osg::Geometry> createCloud(osg::Vec3Array* places) {
  osg::ref_ptr<osg::Geometry> cloud = new osg::Geometry;
  cloud->setVertexArray(places);
  cloud->addPrimitiveSet(new osg::DrawArrays(GL_POINTS, 0, static_cast<int>(places->size())));
  cloud->getOrCreateStateSet()->setMode(GL_LIGHTING, osg::StateAttribute::OFF);
  cloud->getOrCreateStateSet()->setAttribute(new osg::Point(5.0f));
  return cloud;
}

//! [coordinates]
// Prints the coordinates of the nearest point under a click: those in the scene, plus the origin.
class PrintCoordinates : public osgGA::GUIEventHandler {
 public:
  explicit PrintCoordinates(const osg::Vec3d& origin) : _origin(origin) {}

  bool handle(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) override {
    auto* const view = dynamic_cast<osgViewer::View*>(&aa);
    if (!view || ea.getEventType() != ea.PUSH || ea.getButton() != ea.LEFT_MOUSE_BUTTON) {
      return false;
    }
    constexpr double kReachPixels = 4.0;
    osg::ref_ptr<osgUtil::PolytopeIntersector> hits =
        new osgUtil::PolytopeIntersector(osgUtil::Intersector::WINDOW, ea.getX() - kReachPixels,
                                         ea.getY() - kReachPixels, ea.getX() + kReachPixels, ea.getY() + kReachPixels);
    osgUtil::IntersectionVisitor visitor(hits);
    view->getCamera()->accept(visitor);
    if (hits->containsIntersections()) {
      const osg::Vec3d point = hits->getFirstIntersection().localIntersectionPoint + _origin;
      std::printf("point %.3f %.3f %.3f\n", point.x(), point.y(), point.z());
      std::fflush(stdout);
    }
    return false;
  }

 private:
  osg::Vec3d _origin;
};
//! [coordinates]
}  // namespace

int main() {
  const Survey survey = readSurvey();
  const osg::Vec3d origin = originOf(survey);
  osgViewer::Viewer viewer;
  viewer.setUpViewInWindow(50, 50, 1000, 700);
  osg::ref_ptr<osg::Group> scene = new osg::Group;
  scene->addChild(createCloud(localPlaces(survey, origin)));
  viewer.setSceneData(scene);
  viewer.setCameraManipulator(new QuorOsgUtils::PreciseOrbitManipulator(&viewer));
  viewer.addEventHandler(new PrintCoordinates(origin));
  viewer.realize();
  osgViewer::Viewer::Windows windows;
  viewer.getWindows(windows);
  windows.front()->setWindowName("quor_large_coordinates");
  return viewer.run();
}
