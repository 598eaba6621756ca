#include "viewer/Scene.h"

#include "viewer/render/Background.h"

namespace QuorViewer {

Scene::Scene(osgViewer::Viewer& viewer, const Hud::HelpRows& help)
    : target(*viewer.getCamera()), clip(cloud.node()), hud(help) {
  osg::ref_ptr<osg::Group> world = new osg::Group;
  world->addChild(clip.node());
  world->addChild(marker.node());
  viewer.setSceneData(world);

  osg::Camera& camera = *viewer.getCamera();
  // Points keep their size in pixels, so a scan that is far away is visible although its box is tiny.
  camera.setCullingMode(camera.getCullingMode() & ~osg::CullSettings::SMALL_FEATURE_CULLING);
  camera.addChild(createBackground());
  camera.addChild(eyeDome.node());
  camera.addChild(hud.node());
}

}  // namespace QuorViewer
