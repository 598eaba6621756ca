#include "cutter/DepthMask.h"

#include <osg/GL>

namespace QuorOsgUtils {

void DepthMask::drawImplementation(osg::RenderInfo& renderInfo, const osg::Drawable* drawable) const {
  glDepthMask(GL_FALSE);
  drawable->drawImplementation(renderInfo);
  glDepthMask(GL_TRUE);
}

}  // namespace QuorOsgUtils
