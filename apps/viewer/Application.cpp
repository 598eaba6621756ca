#include "viewer/Application.h"

#include "scan/platform/Platform.h"
#include "viewer/platform/WindowEvents.h"
#include "viewer/render/Gpu.h"
#include "viewer/session/BundledScan.h"
#include "viewer/tour/Tour.h"
#include "viewer/ui/Format.h"
#include "viewer/ui/TerminalProgress.h"
#include "viewer/ui/Window.h"

#include <QuorOsgUtils/GCTool.h>

#include <osg/Viewport>
#include <osgGA/GUIEventAdapter>
#include <osgViewer/ViewerEventHandlers>

#include <algorithm>
#include <filesystem>
#include <thread>
#include <utility>

namespace QuorViewer {
namespace {

using Key = osgGA::GUIEventAdapter::KeySymbol;
using namespace std::chrono_literals;

constexpr auto kWorkBudget = 30ms;
// While loading or writing, drawing takes at most a fifth of the time, however long a frame of the points loaded so far
// takes; user input is still handled at once.
constexpr auto kProgressInterval = 100ms;
constexpr int kWorkPerDrawing = 4;
constexpr auto kIdle = 4ms;

Hud::HelpRows helpRows(const std::vector<KeyBinding>& bindings) {
  Hud::HelpRows rows = {{"Left click", "pick a point, measure from the last one"},
                        {"Left drag", "drag a handle of the clip box"},
                        {"Right drag", "orbit about the middle, or about the pointer"},
                        {"Middle drag", "pan with the point under the pointer"},
                        {"Wheel", "zoom towards the pointer, or away"}};
  for (const KeyBinding& binding : bindings) {
    if (!binding.shown.empty()) {
      rows.emplace_back(binding.shown, binding.effect);
    }
  }
  rows.emplace_back("F11", "full screen");
  rows.emplace_back("Esc", "quit");
  return rows;
}

std::string titleOf(const ScanSet& scans) {
  std::string title = "quor_viewer";
  const char* before = ": ";
  for (const unsigned int number : scans.numbers()) {
    title += std::exchange(before, ", ") + fileName(scans.info(number).path);
  }
  return title;
}

std::string placeText(const osg::Vec3d& place) {
  constexpr int kDecimals = 3;
  return fixed(place.x(), kDecimals) + " " + fixed(place.y(), kDecimals) + " " + fixed(place.z(), kDecimals);
}

std::vector<std::string> filesToShow(const Arguments& arguments) {
  return arguments.files.empty() ? std::vector<std::string>{bundledScan()} : arguments.files;
}

}  // namespace

Application::Application(const Arguments& arguments)
    : _arguments(arguments),
      _scans(filesToShow(arguments)),
      _viewer(new osgViewer::Viewer),
      _navigator(*_viewer),
      _bindings(_createBindings()),
      _scene(*_viewer, helpRows(_bindings)),
      _messages(_scene.hud),
      _clip({_scene.clip, _scene.hud, _messages, _scans, arguments.verbose}),
      _view(*_viewer->getCamera(), _navigator),
      _picker(_scene.target.tool(), _scans),
      _station({_navigator, _view, _picker, _scans, _messages}, arguments.station),
      _entry(new ScanEntry(_scene.hud, [this](const std::string& path) { _addScan(path); })),
      _loader(_scans, arguments.memoryBytes.value_or(defaultBudgetBytes()),
              {[this](unsigned int scan, const PointChunk& chunk) { _scene.cloud.add(scan, chunk); },
               [this](const std::string& error) { _complain(error); },
               [this](const std::string& note) { _messages.print(note); }}),
      _points({_scene.cloud, _scene.hud.legend(), _scans, _loader}),
      _screenshot(_scene.target.tool()),
      _pointer(new PointerHandler([this](int x, int y) { _pick(x, y); }, [this] { _userNavigated = true; })) {}

int Application::run() {
  _askGpu();
  openWindow(*_viewer, _arguments.width, _arguments.height, titleOf(_scans));
  _frames = std::make_unique<FrameLoop>(*_viewer, _arguments.threading);
  _setUpViewer();
  if (!_arguments.tourFolder.empty()) {
    return _takeTour();
  }
  return _arguments.screenshotFile.empty() ? _explore() : _takeOnePicture();
}

void Application::_askGpu() {
  for (const auto& [name, answer] : gpuAnswers()) {
    _messages.log(std::string(name).append(": ").append(answer));
  }
  _softwareRenderer = softwareRendererOf(QuorOsgUtils::GCTool::getGPURender());
}

void Application::_setUpViewer() {
  _viewer->setRunFrameScheme(osgViewer::ViewerBase::ON_DEMAND);
  _viewer->addEventHandler(_entry);
  _viewer->addEventHandler(new KeyHandler(_bindings, [this] { _messages.show("Release the mouse button first"); }));
  _viewer->addEventHandler(_pointer);
  osg::ref_ptr<osgViewer::WindowSizeHandler> fullScreen = new osgViewer::WindowSizeHandler;
  fullScreen->setKeyEventToggleFullscreen(Key::KEY_F11);
  fullScreen->setChangeWindowedResolution(false);
  _viewer->addEventHandler(fullScreen);
  _viewer->addEventHandler(_clip.createFollower());

  const double pixels = static_cast<double>(_arguments.width) * _arguments.height;
  _points.start(_arguments.colourMode, _arguments.pointSizePixels, pixels);
  if (_arguments.orthographic) {
    _view.toggleProjection();
  }
  if (_arguments.clip) {
    _clip.startWith(*_arguments.clip);
  }
  _view.home();
  _loader.start();
  _updateSummary();
}

std::vector<KeyBinding> Application::_createBindings() {
  const std::vector<KeyBinding> ofView = {
      {{'e', 'E'}, "E", "eye-dome lighting on or off", [this] { _scene.eyeDome.setOn(!_scene.eyeDome.isOn()); }},
      {{'o', 'O'}, "O", "orthographic or perspective", [this] { _toggleProjection(); }},
      {{Key::KEY_Home, Key::KEY_KP_Home, ' '}, "Home, Space", "show everything", [this] { _goHome(); }},
      {{'f', 'F'}, "F", "zoom to the picked point", [this] { _lookAtPick(); }},
      {{'a', 'A'}, "A", "add a scan: type its path, then Enter", [this] { _entry->open(); }},
      {{'d', 'D', Key::KEY_Delete}, "D", "close the scan under the pointer", [this] { _closeScanUnderPointer(); }},
      {{'p', 'P'}, "P", "save a screenshot", [this] { _requestScreenshot(); }},
  };
  const std::vector<KeyBinding> ofHelp = {
      {{'h', 'H', '?'}, "H", "this help", [this] { _scene.hud.showHelp(!_scene.hud.isHelpShown()); }}};
  std::vector<KeyBinding> bindings;
  for (const std::vector<KeyBinding>& more :
       {CloudControl::bindings(_points), ofView, StationControl::bindings(_station), ClipControl::bindings(_clip),
        ofHelp}) {
    bindings.insert(bindings.end(), more.begin(), more.end());
  }
  return bindings;
}

int Application::_explore() {
  while (!_viewer->done()) {
    const bool busy = _workALittle();
    if (_viewer->checkNeedToDoFrame() || _hasWindowNews()) {
      _drawFrame();
    } else if (!busy) {
      std::this_thread::sleep_for(kIdle);
    }
  }
  return 0;
}

int Application::_takeOnePicture() {
  _loadEverything();
  _drawFrame();
  _screenshot.request(_arguments.screenshotFile);
  _screenshotPath = _arguments.screenshotFile;
  _drawFrame();
  if (!_screenshot.captured() || !_screenshot.finish()) {
    printError("the picture " + _screenshotPath + " could not be written");
    return 1;
  }
  return _loader.failed() ? 1 : 0;
}

int Application::_takeTour() {
  _loadEverything();
  Tour tour(
      {*_viewer, _scene.target.tool(), _picker, _view, _scene.clip, _screenshot, _scans, [this] { _drawFrame(); }});
  const bool written = tour.run(_arguments.tourFolder);
  const unsigned int errors = _scene.target.glErrorCount();
  _messages.print("tour: " + std::to_string(tour.pictureCount()) + " pictures in " + _arguments.tourFolder + ", " +
                  std::to_string(errors) + " GL errors");
  return written && errors == 0 && !_loader.failed() ? 0 : 1;
}

void Application::_drawFrame() {
  const osg::Viewport& viewport = *_viewer->getCamera()->getViewport();
  _scene.hud.resize(static_cast<int>(viewport.width()), static_cast<int>(viewport.height()));
  _station.showFieldOfView();
  _updateSummary();
  const auto start = std::chrono::steady_clock::now();
  _frames->draw();
  _latestFrameEnd = std::chrono::steady_clock::now();
  _latestFrameDuration = _latestFrameEnd - start;
  // While points are loading, another frame follows anyway.
  if (_loaded && _frames->gpuBufferBytes() != _bufferBytesShown) {
    _viewer->requestRedraw();
  }
  _writeViewWhenChanged();
  _reportScreenshot();
}

// False when there is nothing to do but wait for the user or for more points.
bool Application::_workALittle() {
  const bool cameSome = !(_loaded && _loader.finished()) && _loadALittle();
  if (!_clip.isSaving()) {
    return cameSome;
  }
  _saveALittle();
  return true;
}

bool Application::_loadALittle() {
  const bool cameSome = _loader.step(kWorkBudget);
  if (cameSome) {
    _followContent();
  }
  if (_loaded) {  // a scan was closed since: an updated summary of the rest is due
    if (_loader.finished()) {
      _viewer->requestRedraw();
    }
  } else if (_loader.finished()) {
    _finishLoading();
  } else if (_loader.pollSampleCompleted() || (_loader.pointsRead() != _pointsShown && _isProgressDue())) {
    _showProgress();
  }
  return cameSome;
}

void Application::_addScan(const std::string& path) {
  try {
    _scans.add(path);
    _messages.print("adding " + path);
    _loader.start();
    _loaded = false;
    _showTitle();
  } catch (const ScanError& error) {
    _complain(error.what());
  }
}

void Application::_closeScanUnderPointer() {
  const osg::Vec2i pixel = _pointer->pixel();
  const std::optional<unsigned int> scan = _picker.scanAt(pixel.x(), pixel.y());
  if (!scan) {
    _messages.show("There is no scan under the pointer");
  } else if (_clip.isSaving()) {
    _messages.show("A scan can be closed after the points inside the box are saved");
  } else {
    _closeScan(*scan);
  }
}

// The view stays unless no scan is left; then the next scan sets it.
void Application::_closeScan(unsigned int scan) {
  const std::string name = fileName(_scans.info(scan).path);
  _loader.close(scan);
  if (const osg::ref_ptr<osg::Node> points = _scene.cloud.release(scan)) {
    _frames->remove(_scene.cloud.node(), points);
  }
  _scans.close(scan);
  _picker.clearLatest();
  _scene.marker.clear();
  _userNavigated = !_scans.isEmpty();
  if (_scans.isEmpty()) {
    _station.abandon();
    _clip.abandon();
  } else {
    _clip.setContent(_scene.cloud.bounds(), _loaded);
  }
  _showTitle();
  _messages.print("closed " + name);
  _messages.show(name + (_scans.isEmpty() ? " is closed; A adds a scan" : " is closed"));
}

osgViewer::ViewerBase::Windows Application::_windows() const {
  osgViewer::ViewerBase::Windows windows;
  _viewer->getWindows(windows);
  return windows;
}

bool Application::_hasWindowNews() const {
  const osgViewer::ViewerBase::Windows windows = _windows();
  return std::any_of(windows.begin(), windows.end(),
                     [](osgViewer::GraphicsWindow* window) { return hasNewsForNextFrame(*window); });
}

void Application::_showTitle() {
  for (osgViewer::GraphicsWindow* window : _windows()) {
    window->setWindowName(titleOf(_scans));
  }
}

void Application::_saveALittle() {
  _clip.saveALittle(kWorkBudget);
  if (!_clip.isSaving()) {
    _viewer->requestRedraw();
  } else if (_isProgressDue()) {
    _clip.showProgress();
    _viewer->requestRedraw();
  }
}

bool Application::_isProgressDue() const {
  const auto sinceFrame = std::chrono::steady_clock::now() - _latestFrameEnd;
  return sinceFrame >
         std::max<std::chrono::steady_clock::duration>(kProgressInterval, kWorkPerDrawing * _latestFrameDuration);
}

void Application::_loadEverything() {
  while (!_loaded && !_viewer->done()) {
    const bool cameSome = _loadALittle();
    if (_viewer->checkNeedToDoFrame()) {
      _drawFrame();
    } else if (!cameSome) {
      std::this_thread::sleep_for(kIdle);
    }
  }
}

void Application::_followContent() {
  const osg::BoundingBox bounds = _scene.cloud.bounds();
  _points.updateRanges();
  if (!bounds.valid()) {
    return;
  }
  _view.setContent({bounds._min, bounds._max}, _loader.summary().places);
  _clip.setContent(bounds, _loaded);
  if (!_userNavigated && !_station.isAtStation()) {
    _view.home();
  }
}

void Application::_showProgress() {
  _pointsShown = _loader.pointsRead();
  const std::uint64_t total = std::max<std::uint64_t>(_loader.pointsPlanned(), 1);
  const double share = static_cast<double>(_loader.pointsRead()) / static_cast<double>(total);
  _scene.hud.setProgress(share);
  if (!_entry->isOpen()) {
    _messages.showProgress("Loading " + grouped(_loader.pointsRead()) + " of " + grouped(total) + " points");
  }
  showTerminalProgress("loading", _loader.pointsRead(), total);
  _viewer->requestRedraw();
}

void Application::_finishLoading() {
  _loaded = true;
  _clip.setContent(_scene.cloud.bounds(), true);
  _scene.hud.setProgress(1.0);
  clearTerminalProgress();
  _points.updateRanges();
  _describeNewScans();
  if (!_scans.isEmpty()) {
    _messages.print("loaded " + std::to_string(_loader.pointsRead()) + " points");
  }
  if (!_latestError.empty()) {
    _messages.show(std::exchange(_latestError, std::string()));
  } else if (!_entry->isOpen() && !_scans.isEmpty()) {
    _messages.show("Click a point to see its coordinates; H shows the help");
  }
  _viewer->requestRedraw();
}

// The extent of a scan is known once its points have been loaded.
void Application::_describeNewScans() {
  for (const unsigned int number : _scans.numbers()) {
    if (number <= _latestScanDescribed) {
      continue;
    }
    _latestScanDescribed = number;
    const ScanInfo& info = _scans.info(number);
    const osg::BoundingBox bounds = _scene.cloud.boundsOf(number);
    const std::string place = bounds.valid() ? ", from " + placeText(_scans.origin() + bounds._min) + " to " +
                                                   placeText(_scans.origin() + bounds._max)
                                             : std::string();
    _messages.log(info.path + ": " + info.format + ", " + grouped(info.pointCount) + " points" + place);
    if (info.localOnly) {
      printError(info.path + ": " + info.format +
                 " is read in single precision, which is exact enough only for local coordinates");
    }
  }
}

void Application::_complain(const std::string& error) {
  _messages.reportError(error);
  if (!_loaded) {
    _latestError = error;
  }
}

void Application::_pick(int x, int y) {
  try {
    if (const std::optional<PickedPoint> picked = _picker.pick(x, y)) {
      _scene.marker.mark(picked->localPosition);
      _messages.show(statusText(*picked));
      _messages.print(outputText(*picked, fileName(_scans.info(picked->scan).path)));
    } else {
      _messages.show("There is no point under the pointer");
      _messages.print("picked nothing");
    }
  } catch (const ScanError& error) {
    _messages.reportError(error.what());
  }
}

void Application::_goHome() {
  _station.abandon();
  _view.home();
}

void Application::_toggleProjection() {
  if (_station.isAtStation()) {
    _messages.show("A station needs the perspective projection; L leaves it");
  } else {
    _view.toggleProjection();
  }
}

void Application::_lookAtPick() {
  if (_picker.latest()) {
    _station.abandon();
    _userNavigated = true;
    _view.lookAt(_picker.latest()->localPosition);
  } else {
    _messages.show("Pick a point first, with a left click");
  }
}

void Application::_requestScreenshot() {
  if (_screenshot.pending()) {
    return;
  }
  do {
    _screenshotPath = "quor_viewer_" + std::to_string(++_screenshotCount) + ".png";
  } while (std::filesystem::exists(placeOf(_screenshotPath)));
  _screenshot.request(_screenshotPath);
}

// Only screenshots that the user requests while the viewer runs; `--screenshot` and the tour check their results
// directly.
void Application::_reportScreenshot() {
  if (_screenshotCount == 0 || !_screenshot.captured()) {
    return;
  }
  const std::string path = nameOf(std::filesystem::absolute(placeOf(_screenshotPath)));
  const std::string message = (_screenshot.finish() ? "Screenshot saved to " : "This file cannot be written: ") + path;
  _messages.show(message);
  _messages.print(message);
  _viewer->requestRedraw();
}

void Application::_updateSummary() {
  const std::string thinned = _loader.thinning() > 1 ? ", every " + ordinal(_loader.thinning()) : std::string();
  _scene.hud.setSummary(grouped(_loader.pointsRead()) + " points" + thinned + "   ·   " +
                        titleOf(_scene.cloud.colourMode()) + "   ·   " + _station.summary());
  _bufferBytesShown = _frames->gpuBufferBytes();
  const std::string software = _softwareRenderer.empty() ? "" : "Software rendering, " + _softwareRenderer + "   ·   ";
  _scene.hud.setResources(software + inMebibytes(processMemoryBytes()) + " memory   ·   " +
                          inMebibytes(_bufferBytesShown) + " graphics buffers");
}

void Application::_writeViewWhenChanged() {
  if (!_arguments.verbose) {
    return;
  }
  std::string view = _view.describe(_scans.origin());
  if (view != _latestView) {
    _messages.printState(view);
    _latestView = std::move(view);
  }
}

}  // namespace QuorViewer
