// Clip shader: cuts a block of points in the application's own shader, by three boxes at once: two whose inside is kept
// and one, which turns, whose outside is kept. A number limits the frames.
#include <QuorOsgUtils/ClipShader.h>

#include <osg/Geometry>
#include <osg/Point>
#include <osg/Program>
#include <osgGA/OrbitManipulator>
#include <osgViewer/Viewer>

#include <cstdlib>
#include <iostream>

namespace {
using namespace QuorOsgUtils;
constexpr int kSide = 60;

// The application's own shader: one call cuts.
const char* const kVertexShader = R"(#version 330 compatibility
void clipCloud(vec4 eyePosition);
out vec4 shade;
void main() {
  clipCloud(gl_ModelViewMatrix * gl_Vertex);
  shade = vec4(gl_Vertex.xyz / 60.0, 1.0);
  gl_Position = gl_ModelViewProjectionMatrix * gl_Vertex;
})";
const char* const kFragmentShader = R"(#version 330 compatibility
in vec4 shade; layout(location = 0) out vec4 colour;
void main() { colour = shade; })";

osg::ref_ptr<osg::Vec3Array> createPoints() {
  osg::ref_ptr<osg::Vec3Array> points = new osg::Vec3Array;
  for (int i = 0; i < kSide * kSide * kSide; ++i) {
    const int x = i % kSide, y = i / kSide % kSide, z = i / kSide / kSide;
    points->push_back(osg::Vec3f(static_cast<float>(x), static_cast<float>(y), static_cast<float>(z)) +
                      osg::Vec3f(0.5f, 0.5f, 0.5f));
  }
  return points;
}

std::vector<ClipShader::Box> boxesAt(double degrees) {
  const osg::BoundingBoxd left(0.0, 0.0, 0.0, 20.0, 60.0, 60.0);
  const osg::BoundingBoxd low(0.0, 0.0, 0.0, 60.0, 60.0, 20.0);
  const osg::BoundingBoxd hole(5.0, 15.0, -1.0, 45.0, 45.0, 45.0);
  const osg::Quat turned(osg::DegreesToRadians(degrees), osg::Vec3d(0.0, 0.0, 1.0));
  return {{left, {}, ClipShader::Keep::Inside},
          {low, {}, ClipShader::Keep::Inside},
          {hole, turned, ClipShader::Keep::Outside}};
}

// The same rule, for picks and for saving.
void printKept(const ClipShader& clip, const osg::Vec3Array& points) {
  int kept = 0;
  for (const osg::Vec3f& point : points) {
    kept += clip.keeps(point) ? 1 : 0;
  }
  std::cout << kept << " of " << points.size() << " points are kept" << std::endl;
}
}  // namespace

int main(int argc, char** argv) {
  const osg::ref_ptr<osg::Vec3Array> points = createPoints();
  const osg::ref_ptr<osg::Geometry> cloud = new osg::Geometry;
  cloud->setVertexArray(points);
  cloud->addPrimitiveSet(new osg::DrawArrays(GL_POINTS, 0, static_cast<int>(points->size())));
  const osg::ref_ptr<osg::Program> program = new osg::Program;
  program->addShader(new osg::Shader(osg::Shader::VERTEX, kVertexShader));
  program->addShader(new osg::Shader(osg::Shader::FRAGMENT, kFragmentShader));
  program->addShader(ClipShader::createShader());  // writes gl_ClipDistance
  cloud->getOrCreateStateSet()->setAttribute(program);
  cloud->getOrCreateStateSet()->setAttribute(new osg::Point(3.0f));

  const osg::ref_ptr<ClipShader> clip = new ClipShader;
  clip->setBoxes(boxesAt(0.0));
  const osg::ref_ptr<osg::Group> scene = new osg::Group;
  scene->addChild(cloud);
  scene->addCullCallback(clip);

  osgViewer::Viewer viewer;
  viewer.setUpViewInWindow(50, 50, 1000, 700);
  viewer.setSceneData(scene);
  viewer.setCameraManipulator(new osgGA::OrbitManipulator);
  viewer.getCameraManipulator()->setHomePosition({130.0, -60.0, 110.0}, {28.0, 28.0, 22.0}, {0.0, 0.0, 1.0});
  viewer.home();
  for (int frame = 0; !viewer.done() && (argc < 2 || frame < std::atoi(argv[1])); ++frame) {
    if (frame == 1) {  // the first one has been drawn
      printKept(*clip, *points);
    }
    clip->setBoxes(boxesAt(0.5 * frame));
    viewer.frame();
  }
  return 0;
}
