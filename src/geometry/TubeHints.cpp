#include "geometry/TubeHints.h"

namespace QuorOsgUtils {

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
