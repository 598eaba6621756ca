#include "geometry/Drawables.h"

#include "geometry/CircleVertices.h"

#include <vector>

namespace QuorOsgUtils {

template <typename Real>
osg::ref_ptr<osg::Geometry> createAnnulus(Real radius, Real width, Real z) {
  const std::vector<osg::Vec3f> vertices = annulusVertices(radius, width, z);
  osg::ref_ptr<osg::Vec3Array> normals = new osg::Vec3Array;
  normals->assign(vertices.size(), osg::Vec3f(0.0f, 0.0f, -1.0f));
  osg::ref_ptr<osg::Geometry> annulus = new osg::Geometry;
  annulus->setVertexArray(new osg::Vec3Array(vertices.begin(), vertices.end()));
  annulus->setNormalArray(normals, osg::Array::BIND_PER_VERTEX);
  annulus->addPrimitiveSet(new osg::DrawArrays(GL_TRIANGLE_STRIP, 0, static_cast<int>(vertices.size())));
  return annulus;
}

template osg::ref_ptr<osg::Geometry> createAnnulus(float radius, float width, float z);
template osg::ref_ptr<osg::Geometry> createAnnulus(double radius, double width, double z);

osg::ref_ptr<osg::TessellationHints> createTubeHints() {
  osg::ref_ptr<osg::TessellationHints> hints = new osg::TessellationHints;
  hints->setDetailRatio(1.0f);
  hints->setTargetNumFaces(100);
  hints->setCreateFrontFace(true);
  hints->setCreateBackFace(false);
  hints->setCreateNormals(true);
  hints->setCreateTextureCoords(false);
  hints->setCreateBody(true);
  hints->setCreateTop(false);
  hints->setCreateBottom(false);
  return hints;
}

}  // namespace QuorOsgUtils
