#pragma once

#include "viewer/clip/ClipBox.h"
#include "viewer/measure/PickMarker.h"
#include "viewer/render/CaptureTarget.h"
#include "viewer/render/EyeDomeLighting.h"
#include "viewer/render/PointCloud.h"
#include "viewer/ui/Hud.h"

#include <osgViewer/Viewer>

namespace QuorViewer {

/// Everything the window shows, attached to the viewer. The scene data holds what has a position in the world (the
/// cloud in its clip box, the picks, the manipulators' markers); beside it are the parts that belong to the image
/// (background, lighting, text).
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
