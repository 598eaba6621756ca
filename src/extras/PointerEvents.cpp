#include "extras/PointerEvents.h"

#include "manipulators/ScenePick.h"

#include <cmath>

namespace QuorOsgUtils {

osg::Vec2d pointerPosition(const osgGA::GUIEventAdapter& ea) {
  constexpr double kHalfPixel = 0.5;
  return {ea.getX() + kHalfPixel, ea.getY() + kHalfPixel};
}

double notchesOf(const osgGA::GUIEventAdapter& ea, double unitsPerNotch) {
  using Event = osgGA::GUIEventAdapter;
  const Event::ScrollingMotion motion = ea.getScrollingMotion();
  const bool isVertical = motion == Event::SCROLL_UP || motion == Event::SCROLL_DOWN;
  const double units = isVertical || motion == Event::SCROLL_2D ? ea.getScrollingDeltaY() : 0.0;
  if (units != 0.0) {
    const double notches = units / unitsPerNotch;
    return std::isfinite(notches) ? notches : 0.0;
  }
  return isVertical ? (motion == Event::SCROLL_UP ? 1.0 : -1.0) : 0.0;
}

std::optional<ViewState> viewStateOf(const osg::Camera& camera, const osgGA::OrbitManipulator& manipulator) {
  std::optional<ViewState> state = viewStateOf(camera);
  if (state) {
    state->view = manipulator.getInverseMatrix();
  }
  return state;
}

}  // namespace QuorOsgUtils
