#pragma once

#include "viewer/clip/ClipBox.h"
#include "viewer/measure/PickMarker.h"
#include "viewer/render/CaptureTarget.h"
#include "viewer/render/EyeDomeLighting.h"
#include "viewer/render/PointCloud.h"
#include "viewer/ui/Hud.h"

#include <osgViewer/Viewer>

namespace QuorViewer {

/// All that the window shows, hung up in the viewer: below the scene data what has a place in the world (the cloud in
/// its clip box, the picks, the manipulator's own markers), beside it what belongs to the picture (backdrop, lighting,
/// words).
struct Scene {
  Scene(osgViewer::Viewer& viewer, const Hud::HelpRows& help);

  CaptureTarget target;
  PointCloud cloud;
  ClipBox clip;
  PickMarker marker;
  EyeDomeLighting eyeDome;
  Hud hud;
};

}  // namespace QuorViewer
