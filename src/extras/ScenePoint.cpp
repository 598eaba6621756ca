#include "extras/ScenePoint.h"

#include "extras/NearestDepth.h"

#include <cmath>

namespace QuorOsgUtils {

std::optional<osg::Vec3d> scenePointNear(const DepthImage& image, const ViewState& state, const osg::Vec2d& position,
                                         int reach) {
  const int column = wholePixel(std::floor(position.x()));
  const int row = wholePixel(std::floor(position.y()));
  const std::optional<ScenePixel> pixel = nearestScenePixel(image, column, row, reach);
  if (!pixel) {
    return std::nullopt;
  }
  constexpr double kHalfPixel = 0.5;
  const bool isItself = pixel->x == column && pixel->y == row;
  const osg::Vec2d seen = isItself ? position : osg::Vec2d(pixel->x + kHalfPixel, pixel->y + kHalfPixel);
  return windowToWorld(state, osg::Vec3d(seen.x(), seen.y(), pixel->depth));
}

osg::Vec2d windowPosition(const ViewState& state, const osg::Vec3d& world) {
  const osg::Vec3d window = world * state.view * state.projection * windowMatrix(state);
  return {window.x(), window.y()};
}

}  // namespace QuorOsgUtils
