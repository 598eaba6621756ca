// The least program with a window: what quor_viewer is compared with. Prints "frame" when the first frame has been
// drawn.

#include <osg/Geode>
#include <osg/Geometry>
#include <osgViewer/Viewer>

#include <cstdio>

int main() {
  osg::ref_ptr<osg::Vec3Array> points = new osg::Vec3Array(1);
  osg::ref_ptr<osg::Geometry> geometry = new osg::Geometry;
  geometry->setVertexArray(points);
  geometry->addPrimitiveSet(new osg::DrawArrays(GL_POINTS, 0, 1));
  osg::ref_ptr<osg::Geode> geode = new osg::Geode;
  geode->addDrawable(geometry);

  osgViewer::Viewer viewer;
  viewer.setThreadingModel(osgViewer::Viewer::SingleThreaded);
  viewer.setRunFrameScheme(osgViewer::Viewer::ON_DEMAND);
  viewer.setUpViewInWindow(0, 0, 1280, 720);
  viewer.setSceneData(geode);
  viewer.frame();
  std::puts("frame");
  std::fflush(stdout);
  return viewer.run();
}
