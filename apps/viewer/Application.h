#pragma once

#include "viewer/Arguments.h"
#include "viewer/Scene.h"
#include "viewer/clip/ClipControl.h"
#include "viewer/measure/Picker.h"
#include "viewer/navigate/Navigator.h"
#include "viewer/navigate/StationControl.h"
#include "viewer/navigate/ViewControl.h"
#include "viewer/render/FrameLoop.h"
#include "viewer/render/Screenshot.h"
#include "viewer/session/CloudControl.h"
#include "viewer/session/ScanEntry.h"
#include "viewer/session/ScanLoader.h"
#include "viewer/session/ScanSet.h"
#include "viewer/ui/Keys.h"
#include "viewer/ui/Messages.h"
#include "viewer/ui/PointerHandler.h"

#include <osgViewer/Viewer>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace QuorViewer {

/// The viewer application: one window that shows a set of scans. Everything runs on the thread that calls `run`, except
/// the reading of scans.
class Application {
 public:
  /// Opens the scans. Throws ScanError.
  explicit Application(const Arguments& arguments);

  /// Shows the window until it is closed, or until the requested tour or picture is done. Returns the exit status.
  /// Throws WindowError.
  int run();

 private:
  void _askGpu();
  void _setUpViewer();
  std::vector<KeyBinding> _createBindings();

  int _explore();
  int _takeOnePicture();
  int _takeTour();
  void _drawFrame();

  bool _workALittle();
  bool _loadALittle();
  void _saveALittle();
  void _addScan(const std::string& path);
  void _closeScanUnderPointer();
  void _closeScan(unsigned int scan);
  osgViewer::ViewerBase::Windows _windows() const;
  bool _hasWindowNews() const;
  void _showTitle();
  bool _isProgressDue() const;
  void _loadEverything();
  void _followContent();
  void _showProgress();
  void _finishLoading();
  void _describeNewScans();
  void _complain(const std::string& error);

  void _pick(int x, int y);
  void _goHome();
  void _toggleProjection();
  void _lookAtPick();
  void _requestScreenshot();
  void _reportScreenshot();

  void _updateSummary();
  void _writeViewWhenChanged();

  Arguments _arguments;
  ScanSet _scans;
  osg::ref_ptr<osgViewer::Viewer> _viewer;
  Navigator _navigator;
  std::vector<KeyBinding> _bindings;
  Scene _scene;
  Messages _messages;
  ClipControl _clip;
  ViewControl _view;
  Picker _picker;
  StationControl _station;
  osg::ref_ptr<ScanEntry> _entry;
  ScanLoader _loader;
  CloudControl _points;
  Screenshot _screenshot;
  osg::ref_ptr<PointerHandler> _pointer;
  std::unique_ptr<FrameLoop> _frames;  // set once the window is open

  bool _loaded = false;
  std::uint64_t _pointsShown = 0;  // in the latest progress message
  unsigned int _latestScanDescribed = 0;
  std::uint64_t _bufferBytesShown = 0;
  bool _userNavigated = false;
  std::chrono::steady_clock::time_point _latestFrameEnd;
  std::chrono::steady_clock::duration _latestFrameDuration{};
  unsigned int _screenshotCount = 0;
  std::string _screenshotPath;
  std::string _latestView;
  std::string _latestError;
  std::string _softwareRenderer;  // empty if a graphics card draws
};

}  // namespace QuorViewer
