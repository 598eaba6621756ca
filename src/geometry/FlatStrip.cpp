#include "geometry/FlatStrip.h"

namespace QuorOsgUtils {

osg::ref_ptr<osg::Geometry> createFlatStrip(const std::vector<osg::Vec3f>& vertices) {
  const unsigned int count = static_cast<unsigned int>(vertices.size());
  osg::ref_ptr<osg::Vec3Array> normals = new osg::Vec3Array(count);
  normals->assign(vertices.size(), osg::Vec3f(0.0f, 0.0f, -1.0f));
  osg::ref_ptr<osg::Geometry> strip = new osg::Geometry;
  strip->setVertexArray(new osg::Vec3Array(vertices.begin(), vertices.end()));
  strip->setNormalArray(normals, osg::Array::BIND_PER_VERTEX);
  strip->addPrimitiveSet(new osg::DrawArrays(GL_TRIANGLE_STRIP, 0, static_cast<int>(count)));
  return strip;
}

}  // namespace QuorOsgUtils
