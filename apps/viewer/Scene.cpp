#include "viewer/Scene.h"

#include "viewer/render/Background.h"

namespace QuorViewer {

Scene::Scene(osgViewer::Viewer& viewer, const Hud::HelpRows& help)
    : target(*viewer.getCamera()), clip(cloud.node()), eyeDome(target.depthCopy()), hud(help) {
  osg::ref_ptr<osg::Group> world = new osg::Group;
  world->addChild(clip.node());
  world->addChild(marker.node());
  viewer.setSceneData(world);

  osg::Camera& camera = *viewer.getCamera();
  camera.addChild(createBackground());
  camera.addChild(eyeDome.node());
  camera.addChild(hud.node());
}

}  // namespace QuorViewer
