#pragma once

#include "viewer/Arguments.h"
#include "viewer/Scene.h"
#include "viewer/clip/ClipControl.h"
#include "viewer/measure/PickControl.h"
#include "viewer/measure/Picker.h"
#include "viewer/navigate/CameraControl.h"
#include "viewer/navigate/Navigator.h"
#include "viewer/navigate/StationControl.h"
#include "viewer/navigate/ViewControl.h"
#include "viewer/render/FrameLoop.h"
#include "viewer/render/Screenshot.h"
#include "viewer/session/CloudControl.h"
#include "viewer/session/Session.h"
#include "viewer/ui/Keys.h"
#include "viewer/ui/Messages.h"
#include "viewer/ui/PointerHandler.h"
#include "viewer/ui/ResourceDisplay.h"
#include "viewer/ui/ScreenshotControl.h"

#include <osgViewer/Viewer>

#include <functional>
#include <memory>
#include <vector>

namespace QuorViewer {

/// The viewer application: one window that shows a set of scans. Creates the parts, connects keys and scans to them,
/// and runs the frame loop. Everything runs on the thread that calls `run`, except the reading of scans.
class Application {
 public:
  /// Opens the scans. Throws ScanError.
  explicit Application(const Arguments& arguments);

  /// Shows the window until it is closed, or until the requested tour or screenshot is done. Returns the exit status.
  /// Throws WindowError.
  int run();

 private:
  std::vector<KeyBinding> _createBindings();
  Session::Listener _createListener();
  void _addEventHandlers();
  void _showFirstContent();

  int _explore();
  int _takeOnePicture();
  int _takeTour();

  bool _loadAndSave();
  void _loadEverything();
  void _drawFrame();

  void _showContent();
  void _closeScanUnderPointer();
  void _removeScan(const osg::ref_ptr<osg::Node>& points);
  void _updateStatus();

  Arguments _arguments;
  osg::ref_ptr<osgViewer::Viewer> _viewer;
  Navigator _navigator;
  std::vector<KeyBinding> _bindings;
  Scene _scene;
  Messages _messages;
  Session _session;
  CloudControl _points;
  ClipControl _clip;
  ViewControl _view;
  Picker _picker;
  PickControl _picks;
  StationControl _station;
  CameraControl _camera;
  Screenshot _screenshot;
  ScreenshotControl _screenshots;
  ResourceDisplay _resources;
  osg::ref_ptr<PointerHandler> _pointer;
  std::unique_ptr<FrameLoop> _frames;  // set once the window is open
  std::function<bool()> _mayShowProgress = [this] { return _frames->isProgressFrameDue(); };
};

}  // namespace QuorViewer
