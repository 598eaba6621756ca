#include "viewer/Application.h"

#include "viewer/render/Gpu.h"
#include "viewer/session/BundledScan.h"
#include "viewer/tour/Tour.h"
#include "viewer/ui/FullScreenHandler.h"
#include "viewer/ui/Help.h"
#include "viewer/ui/HelpScroller.h"
#include "viewer/ui/QuitHandler.h"
#include "viewer/ui/Window.h"

#include <QuorOsgUtils/GCTool.h>

#include <osg/Viewport>
#include <osgGA/GUIEventAdapter>

#include <chrono>
#include <optional>
#include <string>
#include <thread>
#include <utility>

namespace QuorViewer {
namespace {

using Key = osgGA::GUIEventAdapter::KeySymbol;
using namespace std::chrono_literals;

constexpr auto kWorkBudget = 30ms;  // between two looks at the user's input
constexpr auto kIdle = 4ms;

std::vector<std::string> filesToShow(const Arguments& arguments) {
  return arguments.files.empty() ? std::vector<std::string>{bundledScan()} : arguments.files;
}

std::uint64_t memoryFor(const Arguments& arguments) {
  return arguments.memoryBytes.value_or(defaultBudgetBytes());
}

TreeSettings treeSettingsOf(const Arguments& arguments) {
  TreeSettings settings;
  settings.enabled = arguments.index;
  settings.folder = arguments.indexFolder;
  settings.limitBytes = arguments.indexLimitBytes;
  settings.memoryBytes = memoryFor(arguments) / 2;
  return settings;
}

FrameBudget frameBudgetFor(const Arguments& arguments) {
  const std::uint64_t most = memoryFor(arguments) / LevelOfDetail::kBytesPerPoint;
  return {std::min(arguments.budgetPoints.value_or(most), most), arguments.budgetPoints.has_value()};
}

// Pictures taken by the program itself show only finished views.
bool isAnimated(const Arguments& arguments) {
  return arguments.animation && arguments.tourFolder.empty() && arguments.screenshotFile.empty();
}

// Adds an action that runs before that of each binding.
std::vector<KeyBinding> runFirst(const std::function<void()>& first, std::vector<KeyBinding> bindings) {
  for (KeyBinding& binding : bindings) {
    binding.action = [first, action = binding.action] {
      first();
      action();
    };
  }
  return bindings;
}

void logGpu(Messages& messages) {
  for (const auto& [name, value] : gpuProperties()) {
    messages.log(std::string(name).append(": ").append(value));
  }
}

}  // namespace

Application::Application(const Arguments& arguments)
    : _arguments(arguments),
      _viewer(new QuittableViewer),
      _navigator(*_viewer),
      _bindings(_createBindings()),
      _scene(*_viewer, helpRows(_bindings)),
      _messages(_scene.hud, arguments.verbose),
      _detail(memoryFor(arguments), frameBudgetFor(arguments),
              {_scene.cloud, [this](osg::Group* parent, osg::Node* child) { _frames->removePart(parent, child); },
               [this](unsigned int scan, const std::string& error) { _session.replaceDamaged(scan, error); },
               [this](unsigned int scan, const std::string& change) { _session.noteChange(scan, change); },
               [this](const std::string& error) { _messages.reportError(error); }}),
      _session(filesToShow(arguments), memoryFor(arguments), treeSettingsOf(arguments),
               {_scene.cloud, _detail, _scene.hud, _messages, *_viewer}, _createListener()),
      _points({_scene.cloud, _scene.hud.legend(), _session, _messages}),
      _clip({_scene.clip, _scene.hud, _messages, _session.scans(), *_viewer, arguments.verbose}),
      _highlighter(new HandleHighlighter(_scene.clip)),
      _view(*_viewer->getCamera(), _navigator),
      _picker(_scene.target.tool(), _session.scans()),
      _picks({_picker, _scene.marker, _session.scans(), _messages}),
      _station({_navigator, _view, _picker, _session.scans(), _messages}, arguments.station),
      _camera({_view, _station, _picker, _session.scans(), _messages, arguments.verbose, isAnimated(arguments)}),
      _zoom({_camera, _picker, _session, _messages, [this] { return _pointer->pixel(); }}),
      _screenshot(*_viewer),
      _screenshots(_screenshot, _messages),
      _resources(_scene.hud),
      _pointer(new PointerHandler([this](int x, int y) { _pick(x, y); }, [this](bool byWheel) { _navigate(byWheel); })),
      _drag(new ViewDrag(*_viewer->getCamera(), _navigator, [this] { _camera.settle(); })) {}

int Application::run() {
  logGpu(_messages);
  const std::string softwareRenderer = softwareRendererOf(QuorOsgUtils::GCTool::getGPURender());
  _resources.setSoftwareRenderer(softwareRenderer);
  _detail.setTargetFrameTime(softwareRenderer.empty() ? 33ms : 150ms);
  openWindow(*_viewer, _arguments.width, _arguments.height, _session.title());
  _frames = std::make_unique<FrameLoop>(*_viewer, _arguments.threading);
  _viewer->setRunFrameScheme(osgViewer::ViewerBase::ON_DEMAND);
  _addEventHandlers();
  _showFirstContent();
  if (!_arguments.tourFolder.empty()) {
    return _takeTour();
  }
  return _arguments.screenshotFile.empty() ? _explore() : _takeOnePicture();
}

std::vector<KeyBinding> Application::_createBindings() {
  const std::vector<KeyBinding> lightingKeys = {
      {{'e', 'E'}, "E", "eye-dome lighting on or off", [this] { _scene.eyeDome.setOn(!_scene.eyeDome.isOn()); }}};
  const std::vector<KeyBinding> fileKeys = {
      {{'a', 'A'}, "A", "add a scan: type its path, then Enter", [this] { _session.openPathEntry(); }},
      {{'d', 'D', Key::KEY_Delete}, "D, Del", "close the scan under the pointer", [this] { _closeScanUnderPointer(); }},
      {{'p'},
       "P, Shift+P",
       "save a screenshot without or with status bar and legend",
       [this] { _screenshots.request(ScreenshotControl::Overlay::Hidden); }},
      {{'p'}, "", "", [this] { _screenshots.request(ScreenshotControl::Overlay::Shown); }, Modifier::kShift}};
  const std::vector<KeyBinding> helpKeys = {
      {{'h', 'H', '?'}, "H", "this help", [this] { _scene.hud.showHelp(!_scene.hud.isHelpShown()); }}};
  std::vector<KeyBinding> bindings;
  const auto add = [this, &bindings](const char* group, const std::vector<KeyBinding>& more) {
    for (const KeyBinding& binding : more) {
      bindings.push_back(binding);
      bindings.back().group = group;
      bindings.back().action = [this, action = binding.action] {
        _messages.beginAction();
        action();
      };
    }
  };
  add("View", CameraControl::bindings(_camera));
  add("View", ScanZoom::bindings(_zoom));
  add("View", runFirst([this] { _camera.settle(); }, StationControl::bindings(_station)));
  add("Points", CloudControl::bindings(_points));
  add("Points", lightingKeys);
  add("Clip box", ClipControl::bindings(_clip));
  add("Files", fileKeys);
  add(kWindowGroup, helpKeys);
  bindings.push_back(_createCancelBinding());
  return bindings;
}

// It begins its action itself, because it needs the notice that is shown.
KeyBinding Application::_createCancelBinding() {
  KeyBinding binding = {
      {Key::KEY_Escape}, "Esc", "cancel a drag, a path being typed or an index; close the help", [this] { _cancel(); }};
  binding.actsDuringDrag = true;
  binding.actsOnce = true;
  binding.group = kWindowGroup;
  return binding;
}

Session::Listener Application::_createListener() {
  Session::Listener listener;
  listener.scanAdded = [this] { setWindowTitle(*_viewer, _session.title()); };
  listener.scanIsFar = [this](unsigned int scan) { _zoom.offer(scan); };
  listener.pointsAdded = [this] { _showContent(); };
  listener.pointsLoaded = [this] {
    _points.updateRanges();
    _clip.setContent(_scene.cloud.bounds(), true);
  };
  listener.pointsReplaced = [this](const osg::ref_ptr<osg::Node>& points) { _removeFromCloud(points); };
  listener.areScansInUse = [this] { return _clip.isSaving(); };
  listener.scanClosed = [this](const osg::ref_ptr<osg::Node>& points) { _removeScan(points); };
  return listener;
}

void Application::_addEventHandlers() {
  _viewer->addEventHandler(
      new QuitHandler({_messages, [this] { return _unfinishedWork(); }, [this] { _viewer->setDone(true); }}));
  _viewer->addEventHandler(_session.pathHandler());
  _viewer->addEventHandler(new HelpScroller(_scene.hud));
  _viewer->addEventHandler(new KeyHandler(_bindings, [this] { _messages.show("Release the mouse button first"); }));
  _viewer->addEventHandler(_drag);
  _viewer->addEventHandler(_pointer);
  _viewer->addEventHandler(new FullScreenHandler);
  _viewer->addEventHandler(_highlighter);
  _viewer->addEventHandler(_clip.createFollower());
}

void Application::_showFirstContent() {
  const double pixels = static_cast<double>(_arguments.width) * _arguments.height;
  _navigator.setRotationSpeed(_arguments.rotationSpeedDegrees);
  _detail.setWidensPoints(!_arguments.pointSizePixels);
  _points.start(_arguments.colourMode, _arguments.pointSizePixels, pixels);
  if (_arguments.orthographic) {
    _view.toggleProjection();
  }
  if (_arguments.clip) {
    _clip.startWith(*_arguments.clip);
  }
  _view.home();
  _session.start();
  _updateStatus();
}

int Application::_explore() {
  while (!_viewer->done()) {
    const bool busy = _loadAndSave();
    if (_messages.expire()) {
      _viewer->requestRedraw();
    }
    if (_frames->handleEvents() || hasWindowNews(*_viewer)) {
      _drawFrame();
    } else if (!busy) {
      std::this_thread::sleep_for(kIdle);
    }
  }
  if (_arguments.verbose) {
    _messages.printState("frames drawn " + std::to_string(_frames->frameCount()));
  }
  return 0;
}

int Application::_takeOnePicture() {
  _loadEverything();
  _drawFrame();
  _screenshot.request(_arguments.screenshotFile);
  _drawFrame();
  if (!_screenshot.captured() || !_screenshot.finish()) {
    printError("the screenshot " + _arguments.screenshotFile + " cannot be written");
    return 1;
  }
  return _session.anyFailed() ? 1 : 0;
}

int Application::_takeTour() {
  _loadEverything();
  Tour tour({*_viewer, _scene.target.tool(), _picker, _view, _scene.clip, _screenshot, _session.scans(),
             [this] { _drawFrame(); }, [this] { _loadEverything(); }});
  const bool written = tour.run(_arguments.tourFolder);
  const unsigned int errors = _scene.target.glErrorCount();
  _messages.print("tour: " + std::to_string(tour.pictureCount()) + " pictures in " + _arguments.tourFolder + ", " +
                  std::to_string(errors) + " GL errors");
  return written && errors == 0 && !_session.anyFailed() ? 0 : 1;
}

// False if there was nothing to do.
bool Application::_loadAndSave() {
  const bool loaded = _session.loadNextChunks(kWorkBudget, _mayShowProgress);
  const bool saved = _clip.advanceSave(kWorkBudget, _mayShowProgress);
  return loaded || saved;
}

void Application::_loadEverything() {
  while (!(_session.isLoaded() && _isRefined()) && !_viewer->done()) {
    const bool loaded = _session.loadNextChunks(kWorkBudget, _mayShowProgress);
    if (_frames->handleEvents()) {
      _drawFrame();
    } else if (!loaded) {
      std::this_thread::sleep_for(kIdle);
    }
  }
}

bool Application::_isRefined() const {
  return _detail.isComplete() && _detail.isPreparedFor(*_viewer->getCamera(), _scene.clip.planes()) &&
         !_session.isReplacing();
}

void Application::_drawFrame() {
  const osg::Viewport& viewport = *_viewer->getCamera()->getViewport();
  _scene.hud.resize(static_cast<int>(viewport.width()), static_cast<int>(viewport.height()));
  _followContent();
  const bool inTransition = _camera.advance();
  _view.adaptNearPlane();
  _station.showFieldOfView();
  _updateStatus();
  _screenshots.prepareFrame();
  _scene.hud.setShown(!_screenshots.hidesOverlay());
  _detail.prepareFrame(*_viewer->getCamera(), _scene.clip.planes());
  const auto start = std::chrono::steady_clock::now();
  _frames->draw();
  _detail.endFrame(std::chrono::steady_clock::now() - start);
  if (!_detail.isPreparedFor(*_viewer->getCamera(), _scene.clip.planes())) {
    _viewer->requestRedraw();
  }
  if (inTransition) {
    _viewer->requestRedraw();
  }
  // While points are loading, another frame follows anyway.
  if (_session.isLoaded() && _frames->gpuBufferBytes() != _resources.shownBufferBytes()) {
    _viewer->requestRedraw();
  }
  _highlighter->followView(*_viewer);
  _camera.printChangedView();
  _printChangedContent();
  if (_screenshots.reportCaptured() || _screenshots.needsFrame()) {
    _viewer->requestRedraw();
  }
}

void Application::_printChangedContent() {
  const std::string content =
      "frame " + _session.pointCountText() + (_session.isLoaded() && _isRefined() ? ", refined" : "");
  if (_arguments.verbose && content != std::exchange(_printedContent, content)) {
    _messages.printState(content);
  }
}

void Application::_showContent() {
  const osg::BoundingBox bounds = _scene.cloud.bounds();
  _points.updateRanges();
  if (bounds.valid()) {
    _camera.setContent(bounds, _session.summary().places);
    _followContent();
    _clip.setContent(bounds, _session.isLoaded());
  }
}

// The view stays still under a handle of the clip box that is dragged.
void Application::_followContent() {
  if (!_drag->isActive()) {
    _camera.followContent();
  }
}

void Application::_pick(int x, int y) {
  _zoom.withdrawOffers();
  _picks.pick(x, y);
}

void Application::_navigate(bool byWheel) {
  _zoom.withdrawOffers();
  _camera.beginNavigation(byWheel);
}

void Application::_closeScanUnderPointer() {
  const osg::Vec2i pixel = _pointer->pixel();
  const std::optional<unsigned int> scan = _picker.scanAt(pixel.x(), pixel.y());
  if (!scan) {
    _messages.show("There is no scan under the pointer");
  } else if (_clip.isSaving()) {
    _messages.show("A scan cannot be closed while the points inside the box are being saved");
  } else {
    _session.close(*scan);
  }
}

// Ends what the user has begun and not finished. The path entry and the question whether to quit handle Esc themselves.
void Application::_cancel() {
  const std::string scan = _session.indexedScan();
  const std::string question = "Press Esc again to cancel the index of " + scan;
  const bool isConfirmed = _messages.isShown(question);
  if (_drag->isActive()) {
    return _cancelDrag();
  }
  _messages.beginAction();
  if (_scene.hud.isHelpShown()) {
    _scene.hud.showHelp(false);
  } else if (scan.empty()) {
    _messages.show("Press Ctrl+Q or close the window to quit");
  } else if (isConfirmed) {
    _session.cancelIndex();
  } else {
    _messages.show(question);
  }
}

void Application::_cancelDrag() {
  if (_drag->cancel()) {
    _scene.clip.cancelDrag();
    _messages.beginAction();
    _messages.show("Drag cancelled");
  }
}

std::string Application::_unfinishedWork() const {
  if (_clip.isSaving()) {
    return "The points inside the box are still being saved";
  }
  if (!_session.indexedScan().empty()) {
    return "An index is still being built";
  }
  return _session.isLoaded() ? "" : "Points are still being loaded";
}

// The view stays unless no scan is left; then the next scan sets it.
void Application::_removeScan(const osg::ref_ptr<osg::Node>& points) {
  _removeFromCloud(points);
  _picks.clear();
  _navigator.forgetScene();
  if (!_session.scans().isEmpty()) {
    _camera.stopFollowing();
    _clip.setContent(_scene.cloud.bounds(), _session.isLoaded());
  } else {
    _station.leave();
    _camera.reset();
    _clip.removeBox();
  }
  setWindowTitle(*_viewer, _session.title());
}

void Application::_removeFromCloud(const osg::ref_ptr<osg::Node>& points) {
  if (points) {
    _frames->remove(_scene.cloud.node(), points);
  }
}

void Application::_updateStatus() {
  _session.updateIndexProgress();
  const std::string separator = "   ·   ";
  _scene.hud.setSummary(_session.pointCountText() + separator + titleOf(_scene.cloud.colourMode()) + separator +
                        _station.summary());
  _resources.update(_frames->gpuBufferBytes());
}

}  // namespace QuorViewer
