#include "viewer/Application.h"

#include "viewer/render/Gpu.h"
#include "viewer/session/BundledScan.h"
#include "viewer/tour/Tour.h"
#include "viewer/ui/Help.h"
#include "viewer/ui/Window.h"

#include <QuorOsgUtils/GCTool.h>

#include <osg/Viewport>
#include <osgGA/GUIEventAdapter>

#include <chrono>
#include <optional>
#include <string>
#include <thread>

namespace QuorViewer {
namespace {

using Key = osgGA::GUIEventAdapter::KeySymbol;
using namespace std::chrono_literals;

constexpr auto kWorkBudget = 30ms;  // between two looks at the user's input
constexpr auto kIdle = 4ms;

std::vector<std::string> filesToShow(const Arguments& arguments) {
  return arguments.files.empty() ? std::vector<std::string>{bundledScan()} : arguments.files;
}

void logGpu(Messages& messages) {
  for (const auto& [name, value] : gpuProperties()) {
    messages.log(std::string(name).append(": ").append(value));
  }
}

}  // namespace

Application::Application(const Arguments& arguments)
    : _arguments(arguments),
      _viewer(new osgViewer::Viewer),
      _navigator(*_viewer),
      _bindings(_createBindings()),
      _scene(*_viewer, helpRows(_bindings)),
      _messages(_scene.hud),
      _session(filesToShow(arguments), arguments.memoryBytes.value_or(defaultBudgetBytes()),
               {_scene.cloud, _scene.hud, _messages, *_viewer}, _createListener()),
      _points({_scene.cloud, _scene.hud.legend(), _session}),
      _clip({_scene.clip, _scene.hud, _messages, _session.scans(), *_viewer, arguments.verbose}),
      _view(*_viewer->getCamera(), _navigator),
      _picker(_scene.target.tool(), _session.scans()),
      _picks({_picker, _scene.marker, _session.scans(), _messages}),
      _station({_navigator, _view, _picker, _session.scans(), _messages}, arguments.station),
      _camera({_view, _station, _picker, _session.scans(), _messages, arguments.verbose}),
      _screenshot(_scene.target.tool()),
      _screenshots(_screenshot, _messages),
      _resources(_scene.hud),
      _pointer(new PointerHandler([this](int x, int y) { _picks.pick(x, y); },
                                  [this] { _camera.setUserNavigated(true); })) {}

int Application::run() {
  logGpu(_messages);
  _resources.setSoftwareRenderer(softwareRendererOf(QuorOsgUtils::GCTool::getGPURender()));
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
      {{'p', 'P'}, "P", "save a screenshot", [this] { _screenshots.request(); }}};
  const std::vector<KeyBinding> helpKeys = {
      {{'h', 'H', '?'}, "H", "this help", [this] { _scene.hud.showHelp(!_scene.hud.isHelpShown()); }}};
  std::vector<KeyBinding> bindings;
  for (const std::vector<KeyBinding>& more :
       {CloudControl::bindings(_points), lightingKeys, CameraControl::bindings(_camera), fileKeys,
        StationControl::bindings(_station), ClipControl::bindings(_clip), helpKeys}) {
    bindings.insert(bindings.end(), more.begin(), more.end());
  }
  return bindings;
}

Session::Listener Application::_createListener() {
  Session::Listener listener;
  listener.scanAdded = [this] { setWindowTitle(*_viewer, _session.title()); };
  listener.pointsAdded = [this] { _showContent(); };
  listener.pointsLoaded = [this] {
    _points.updateRanges();
    _clip.setContent(_scene.cloud.bounds(), true);
  };
  listener.scanClosed = [this](const osg::ref_ptr<osg::Node>& points) { _removeScan(points); };
  return listener;
}

void Application::_addEventHandlers() {
  _viewer->addEventHandler(_session.pathHandler());
  _viewer->addEventHandler(new KeyHandler(_bindings, [this] { _messages.show("Release the mouse button first"); }));
  _viewer->addEventHandler(_pointer);
  _viewer->addEventHandler(createFullScreenHandler());
  _viewer->addEventHandler(_clip.createFollower());
}

void Application::_showFirstContent() {
  const double pixels = static_cast<double>(_arguments.width) * _arguments.height;
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
    if (_viewer->checkNeedToDoFrame() || hasWindowNews(*_viewer)) {
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
             [this] { _drawFrame(); }});
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
  while (!_session.isLoaded() && !_viewer->done()) {
    const bool loaded = _session.loadNextChunks(kWorkBudget, _mayShowProgress);
    if (_viewer->checkNeedToDoFrame()) {
      _drawFrame();
    } else if (!loaded) {
      std::this_thread::sleep_for(kIdle);
    }
  }
}

void Application::_drawFrame() {
  const osg::Viewport& viewport = *_viewer->getCamera()->getViewport();
  _scene.hud.resize(static_cast<int>(viewport.width()), static_cast<int>(viewport.height()));
  _station.showFieldOfView();
  _updateStatus();
  _frames->draw();
  // While points are loading, another frame follows anyway.
  if (_session.isLoaded() && _frames->gpuBufferBytes() != _resources.shownBufferBytes()) {
    _viewer->requestRedraw();
  }
  _camera.printChangedView();
  if (_screenshots.reportCaptured()) {
    _viewer->requestRedraw();
  }
}

void Application::_showContent() {
  const osg::BoundingBox bounds = _scene.cloud.bounds();
  _points.updateRanges();
  if (bounds.valid()) {
    _camera.setContent(bounds, _session.summary().places);
    _clip.setContent(bounds, _session.isLoaded());
  }
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

// The view stays unless no scan is left; then the next scan sets it.
void Application::_removeScan(const osg::ref_ptr<osg::Node>& points) {
  if (points) {
    _frames->remove(_scene.cloud.node(), points);
  }
  _picks.clear();
  const bool anyLeft = !_session.scans().isEmpty();
  _camera.setUserNavigated(anyLeft);
  if (anyLeft) {
    _clip.setContent(_scene.cloud.bounds(), _session.isLoaded());
  } else {
    _station.leave();
    _clip.removeBox();
  }
  setWindowTitle(*_viewer, _session.title());
}

void Application::_updateStatus() {
  const std::string separator = "   ·   ";
  _scene.hud.setSummary(_session.pointCountText() + separator + titleOf(_scene.cloud.colourMode()) + separator +
                        _station.summary());
  _resources.update(_frames->gpuBufferBytes());
}

}  // namespace QuorViewer
