#include "manipulators/NavigationEvents.h"
#include "manipulators/ScenePick.h"
#include "manipulators/WheelStep.h"

#include <QuorOsgUtils/PointCloudNavigation.h>

namespace QuorOsgUtils {

bool PointCloudNavigation::handleMouseWheel(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) {
  return _stationModel ? handleStationMouseWheel(ea, aa) : handleNormalMouseWheel(ea, aa);
}

bool PointCloudNavigation::handleNormalMouseWheel(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) {
  setViewCenter(osg::Vec3d());
  osg::View* view = aa.asView();
  if (!view) {
    return osgGA::OrbitManipulator::handleMouseWheel(ea, aa);
  }
  const osg::Camera* camera = view->getCamera();
  const bool isFrustum = camera && frustumOf(camera->getProjectionMatrix());
  return isFrustum ? handleMouseWheelPerspective(ea, aa) : handleMouseWheelOrthographic(ea, aa);
}

bool PointCloudNavigation::handleMouseWheelPerspective(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) {
  osgViewer::Viewer* viewer = viewerOf(aa);
  const osg::Camera* camera = viewer ? viewer->getCamera() : nullptr;
  const std::optional<WheelNotch> notch = wheelNotchOf(ea);
  if (!camera || !notch) {
    return true;
  }
  osg::Vec3d target;
  pickSceneDepthPoint(wholePixel(ea.getX()), wholePixel(ea.getY()), target, viewer);
  _center +=
      perspectiveWheelMovement(camera->getViewMatrix(), camera->getProjectionMatrix(), target, _wheelZoomFactor, *notch)
          .value_or(osg::Vec3d());
  return true;
}

bool PointCloudNavigation::handleMouseWheelOrthographic(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) {
  osg::Camera* camera = cameraOf(aa);
  const std::optional<WheelNotch> notch = wheelNotchOf(ea);
  const std::optional<ViewState> state = camera ? viewStateOf(*camera) : std::nullopt;
  if (!notch || !state) {
    return false;
  }
  const std::optional<OrthographicWheelStep> step =
      orthographicWheelStep(*state, ea.getX(), ea.getY(), _wheelZoomFactor, *notch);
  if (!step) {
    return false;
  }
  camera->setProjectionMatrix(step->projection);
  _center += step->movement;
  return false;
}

bool PointCloudNavigation::handleStationMouseWheel(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) {
  osg::Camera* camera = cameraOf(aa);
  const std::optional<WheelNotch> notch = wheelNotchOf(ea);
  double fieldOfView = 0.0;
  double aspectRatio = 0.0;
  double zNear = 0.0;
  double zFar = 0.0;
  if (!camera || !notch || !camera->getProjectionMatrixAsPerspective(fieldOfView, aspectRatio, zNear, zFar)) {
    return false;
  }
  const std::optional<double> next = stationFieldOfView(fieldOfView, *notch);
  if (next) {
    camera->setProjectionMatrixAsPerspective(*next, aspectRatio, zNear, zFar);
  }
  return false;
}

}  // namespace QuorOsgUtils
