#include "extras/PointerEvents.h"
#include "extras/PointerRay.h"
#include "manipulators/NavigationEvents.h"

#include <QuorOsgUtils/PreciseNavigation.h>

namespace QuorOsgUtils {

bool PreciseNavigation::isPan(const Event& ea) {
  return ea.getButtonMask() == Event::MIDDLE_MOUSE_BUTTON && !navigation().isStationModel();
}

// A substitute need not be on the ray through the pointer; only its distance from the eye is used.
void PreciseNavigation::grab(osg::Camera& camera, const Event& ea) {
  _grabbed.reset();
  _pannedTo.reset();
  const osg::Vec2d position = pointerPosition(ea);
  const std::optional<ViewState> state = viewStateOf(camera, navigation());
  const std::optional<FoundPivot> found = state ? findPivot(camera, position) : std::nullopt;
  if (!found) {
    return;
  }
  if (found->isScene) {
    _grabbed = found->point;
  } else if (const auto onRay = viewPointAhead(*state, position, distanceAhead(*state, found->point))) {
    _grabbed = *onRay * navigation().getMatrix();
  }
}

// The result depends on the grabbed point and the pointer only, not on the steps between: a pan does not drift, however
// few frames are drawn.
bool PreciseNavigation::pan(const Event& ea, osgGA::GUIActionAdapter& aa) {
  osg::Camera* const camera = cameraOf(aa);
  if (!camera) {
    return false;
  }
  navigation().setViewCenter(osg::Vec3d());
  if (!_grabbed) {
    grab(*camera, ea);
  }
  const std::optional<ViewState> state = viewStateOf(*camera, navigation());
  if (!state || !_grabbed) {
    return false;
  }
  const osg::Vec3d seen = *_grabbed * state->view;
  const std::optional<osg::Vec3d> wanted = viewPointAhead(*state, pointerPosition(ea), -seen.z());
  if (!wanted) {
    return false;
  }
  navigation().setCenter(navigation().getCenter() + navigation().getRotation() * (seen - *wanted));
  _pannedTo = pointerPosition(ea);
  aa.requestRedraw();
  return true;
}

// Another button may be released during a pan. A point grabbed anew would then be one of the frame drawn last, which
// may show an earlier view.
void PreciseNavigation::letGo(const Event& ea, osgGA::GUIActionAdapter& aa) {
  if (_pannedTo && *_pannedTo != pointerPosition(ea)) {
    pan(ea, aa);
  }
  if ((ea.getButtonMask() & Event::MIDDLE_MOUSE_BUTTON) == 0) {
    _grabbed.reset();
    _pannedTo.reset();
  }
  aa.requestRedraw();
}

}  // namespace QuorOsgUtils
