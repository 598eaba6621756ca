#pragma once

#include "viewer/Arguments.h"
#include "viewer/Scene.h"
#include "viewer/clip/ClipControl.h"
#include "viewer/clip/HandleHighlighter.h"
#include "viewer/measure/PickControl.h"
#include "viewer/measure/Picker.h"
#include "viewer/navigate/CameraControl.h"
#include "viewer/navigate/Navigator.h"
#include "viewer/navigate/ScanZoom.h"
#include "viewer/navigate/StationControl.h"
#include "viewer/navigate/ViewControl.h"
#include "viewer/navigate/ViewDrag.h"
#include "viewer/render/FrameLoop.h"
#include "viewer/render/Screenshot.h"
#include "viewer/session/CloudControl.h"
#include "viewer/session/Session.h"
#include "viewer/ui/Keys.h"
#include "viewer/ui/Messages.h"
#include "viewer/ui/PointerHandler.h"
#include "viewer/ui/QuittableViewer.h"
#include "viewer/ui/ResourceDisplay.h"
#include "viewer/ui/ScreenshotControl.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace QuorViewer {

/// The viewer application: one window that shows a set of scans. Creates the parts, connects keys and scans to them,
/// and runs the frame loop. Everything runs on the thread that calls `run`, except the reading of scans.
class Application {
 public:
  /// Opens the scans that can be opened. Throws ScanError if none can.
  explicit Application(const Arguments& arguments);

  /// Shows the window until it is closed, or until the requested tour or screenshot is done. Returns the exit status.
  /// Throws WindowError.
  int run();

 private:
  std::vector<KeyBinding> _createBindings();
  KeyBinding _createCancelBinding();
  Session::Listener _createListener();
  void _addEventHandlers();
  void _showFirstContent();

  int _explore();
  int _takeOnePicture();
  int _takeTour();

  bool _loadAndSave();
  void _loadEverything();
  /// Whether the picture shows all that it can show of large scans.
  bool _isRefined() const;
  void _drawFrame();
  void _printChangedContent();

  void _showContent();
  void _followContent();
  void _pick(int x, int y);
  void _navigate(bool byWheel);
  void _closeScanUnderPointer();
  void _cancel();
  void _cancelDrag();
  std::string _unfinishedWork() const;
  void _removeScan(const osg::ref_ptr<osg::Node>& points);
  void _removeFromCloud(const osg::ref_ptr<osg::Node>& points);
  void _updateStatus();

  Arguments _arguments;
  osg::ref_ptr<QuittableViewer> _viewer;
  Navigator _navigator;
  std::vector<KeyBinding> _bindings;
  Scene _scene;
  Messages _messages;
  LevelOfDetail _detail;
  Session _session;
  CloudControl _points;
  ClipControl _clip;
  osg::ref_ptr<HandleHighlighter> _highlighter;
  ViewControl _view;
  Picker _picker;
  PickControl _picks;
  StationControl _station;
  CameraControl _camera;
  ScanZoom _zoom;
  Screenshot _screenshot;
  ScreenshotControl _screenshots;
  ResourceDisplay _resources;
  osg::ref_ptr<PointerHandler> _pointer;
  osg::ref_ptr<ViewDrag> _drag;
  std::unique_ptr<FrameLoop> _frames;  // set once the window is open
  std::string _printedContent;         // of the latest frame
  std::function<bool()> _mayShowProgress = [this] { return _frames->isProgressFrameDue(); };
};

}  // namespace QuorViewer
