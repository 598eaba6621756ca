#include "viewer/tour/Tour.h"

#include "scan/platform/Platform.h"
#include "viewer/ui/Messages.h"

#include <osg/Viewport>
#include <osgViewer/GraphicsWindow>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <sstream>

namespace QuorViewer {

enum class TourAction { Key, Drag, HeldDrag, Release, Wheel, ClickNearPoint, Click, PullFace, MoveAlongAxis, TurnRing };

/// One step. Positions are fractions of the window from the bottom left.
struct TourStep {
  const char* name;
  TourAction action;
  int detail;       ///< key, mouse button, notches of the wheel (negative: away), or handle of the clip box
  osg::Vec2f from;  ///< of a handle: how far, as a fraction of the box's extent or in degrees
  osg::Vec2f to;
};

namespace {

using Event = osgGA::GUIEventAdapter;

constexpr int kLeftButton = 1;
constexpr int kMiddleButton = 2;
constexpr int kRightButton = 3;
constexpr int kDragMoves = 6;

const osg::Vec2f kMiddle(0.5f, 0.5f);

const std::vector<TourStep> kSteps = {
    {"home", TourAction::Key, Event::KEY_Home, kMiddle, {}},
    {"pick", TourAction::ClickNearPoint, 0, {0.53f, 0.92f}, {}},
    {"measure", TourAction::ClickNearPoint, 0, {0.40f, 0.42f}, {}},
    {"orbit", TourAction::HeldDrag, kRightButton, kMiddle, {0.62f, 0.56f}},
    {"orbit-released", TourAction::Release, kRightButton, kMiddle, {}},
    {"pan", TourAction::Drag, kMiddleButton, {0.52f, 0.48f}, {0.44f, 0.55f}},
    {"wheel-towards", TourAction::Wheel, 3, {0.46f, 0.52f}, {}},
    {"close-look", TourAction::Key, 'f', kMiddle, {}},
    {"wheel-away", TourAction::Wheel, -2, kMiddle, {}},
    {"home-again", TourAction::Key, Event::KEY_Home, kMiddle, {}},
    {"orthographic", TourAction::Key, 'o', kMiddle, {}},
    {"orthographic-wheel", TourAction::Wheel, 4, {0.46f, 0.5f}, {}},
    {"orthographic-pan", TourAction::Drag, kMiddleButton, {0.5f, 0.5f}, {0.56f, 0.44f}},
    {"orthographic-pick", TourAction::ClickNearPoint, 0, {0.5f, 0.5f}, {}},
    {"orthographic-orbit", TourAction::Drag, kRightButton, kMiddle, {0.44f, 0.62f}},
    {"perspective", TourAction::Key, 'o', kMiddle, {}},
    {"home-once-more", TourAction::Key, ' ', kMiddle, {}},
    {"about-the-pointer", TourAction::Key, 'n', kMiddle, {}},
    {"about-the-pointer-orbit", TourAction::HeldDrag, kRightButton, {0.40f, 0.42f}, {0.50f, 0.46f}},
    {"about-the-pointer-released", TourAction::Release, kRightButton, kMiddle, {}},
    {"about-the-middle", TourAction::Key, 'n', kMiddle, {}},
    {"station", TourAction::Key, 'l', kMiddle, {}},
    {"station-look", TourAction::Drag, kRightButton, {0.46f, 0.28f}, {0.54f, 0.72f}},
    {"station-wheel", TourAction::Wheel, -2, kMiddle, {}},
    {"station-field", TourAction::Key, 'v', kMiddle, {}},
    {"station-left", TourAction::Key, 'l', kMiddle, {}},
    {"home-at-last", TourAction::Key, ' ', kMiddle, {}},
    {"eye-dome-off", TourAction::Key, 'e', kMiddle, {}},
    {"eye-dome-on", TourAction::Key, 'e', kMiddle, {}},
    {"larger-points", TourAction::Key, '+', kMiddle, {}},
    {"smaller-points", TourAction::Key, '-', kMiddle, {}},
    {"clip-on", TourAction::Key, 'b', kMiddle, {}},
    {"clip-overview", TourAction::Wheel, -1, kMiddle, {}},
    {"clip-face", TourAction::PullFace, 1, {0.30f, 0.0f}, {}},
    {"clip-top", TourAction::PullFace, 5, {0.30f, 0.0f}, {}},
    {"clip-other-side", TourAction::Drag, kRightButton, {0.90f, 0.50f}, {0.10f, 0.54f}},
    {"clip-one-axis", TourAction::Key, 'y', kMiddle, {}},
    {"clip-all-axes", TourAction::Key, 'y', kMiddle, {}},
    {"clip-turn", TourAction::Key, 't', kMiddle, {}},
    {"clip-ring", TourAction::TurnRing, 2, {-40.0f, 0.0f}, {}},
    {"clip-move", TourAction::Key, 'm', kMiddle, {}},
    {"clip-axis", TourAction::MoveAlongAxis, 1, {0.12f, 0.0f}, {}},
    {"clip-orthographic", TourAction::Key, 'o', kMiddle, {}},
    {"clip-resize", TourAction::Key, 's', kMiddle, {}},
    {"clip-face-orthographic", TourAction::PullFace, 0, {0.25f, 0.0f}, {}},
    {"clip-perspective", TourAction::Key, 'o', kMiddle, {}},
    {"clip-off", TourAction::Key, 'b', kMiddle, {}},
    {"colour-rgb", TourAction::Key, '1', kMiddle, {}},
    {"colour-intensity", TourAction::Key, '2', kMiddle, {}},
    {"colour-elevation", TourAction::Key, '3', kMiddle, {}},
    {"colour-classification", TourAction::Key, '4', kMiddle, {}},
    {"beside-the-cloud", TourAction::Click, 0, {0.012f, 0.97f}, {}},
    {"help", TourAction::Key, 'h', kMiddle, {}},
};

std::string pictureName(std::size_t number, const char* step) {
  std::ostringstream name;
  name << std::setw(2) << std::setfill('0') << number << '-' << step << ".png";
  return name.str();
}

}  // namespace

bool Tour::run(const std::string& folder) {
  std::error_code error;
  std::filesystem::create_directories(toPath(folder), error);
  TourRecord record{_windowSize(), _dependencies.scans.pointCount(), {}};
  for (std::size_t index = 0; index < kSteps.size() && !_dependencies.viewer.done(); ++index) {
    const std::string picture = pictureName(index + 1, kSteps[index].name);
    _perform(kSteps[index]);
    if (!_takePicture(fromPath(toPath(folder) / picture))) {
      printError(std::string("the screenshot ").append(picture).append(" cannot be written to ").append(folder));
      return false;
    }
    record.steps.push_back(_record(kSteps[index], picture));
  }
  const std::string path = fromPath(toPath(folder) / "tour.json");
  std::ofstream file(path);
  file << toJson(record);
  if (!file.flush()) {
    printError(path + " cannot be written");
  }
  return file.good();
}

void Tour::_perform(const TourStep& step) {
  _picked = false;
  switch (step.action) {
    case TourAction::Key:
      _movePointer(_pixelAt(step.from));
      _events().keyPress(step.detail);
      _events().keyRelease(step.detail);
      break;
    case TourAction::Drag:
      _drag(step);
      _release(step.detail);
      break;
    case TourAction::HeldDrag:
      _drag(step);
      break;
    case TourAction::Release:
      _release(step.detail);
      break;
    case TourAction::Wheel:
      _turnWheel(step);
      break;
    case TourAction::ClickNearPoint:
      _click(_dependencies.picker.pixelOfAnyPointNear(step.from).value_or(_pixelAt(step.from)));
      break;
    case TourAction::Click:
      _click(_pixelAt(step.from));
      break;
    case TourAction::PullFace:
    case TourAction::MoveAlongAxis:
    case TourAction::TurnRing:
      _dragHandle(step);
      break;
  }
  _dependencies.drawFrame();
}

// Draws a frame after each move, as with a slow hand: the manipulator reads the frame drawn last.
void Tour::_drag(const TourStep& step) {
  _movePointer(_pixelAt(step.from));
  _events().mouseButtonPress(_windowX(), _windowY(), static_cast<unsigned int>(step.detail));
  _dependencies.drawFrame();
  for (int move = 1; move <= kDragMoves; ++move) {
    const float share = static_cast<float>(move) / kDragMoves;
    _movePointer(_pixelAt(step.from * (1.0f - share) + step.to * share));
    _dependencies.drawFrame();
  }
}

void Tour::_dragHandle(const TourStep& step) {
  osg::Vec3d eye, centre, up;
  _dependencies.frames.latest()->viewMatrix.getLookAt(eye, centre, up);
  const ClipBoxControl& handles = _dependencies.clip.control();
  const auto number = static_cast<std::size_t>(step.detail);
  const double amount = step.from.x();
  const ClipBoxControl::DragPath path = step.action == TourAction::PullFace ? handles.pathOfFace(number, amount)
                                        : step.action == TourAction::MoveAlongAxis
                                            ? handles.pathOfAxis(number, amount)
                                            : handles.pathOfRing(number, amount, eye);
  _drag({step.name, TourAction::Drag, kLeftButton, _fractionOf(path.from), _fractionOf(path.to)});
  _release(kLeftButton);
}

void Tour::_release(int button) {
  _events().mouseButtonRelease(_windowX(), _windowY(), static_cast<unsigned int>(button));
}

void Tour::_turnWheel(const TourStep& step) {
  _movePointer(_pixelAt(step.from));
  for (int notch = 0; notch < std::abs(step.detail); ++notch) {
    _events().mouseScroll(step.detail > 0 ? Event::SCROLL_UP : Event::SCROLL_DOWN);
    _dependencies.drawFrame();
  }
}

void Tour::_click(const osg::Vec2i& pixel) {
  const unsigned int before = _dependencies.picker.count();
  _movePointer(pixel);
  _events().mouseButtonPress(_windowX(), _windowY(), kLeftButton);
  _events().mouseButtonRelease(_windowX(), _windowY(), kLeftButton);
  _dependencies.drawFrame();
  _picked = _dependencies.picker.count() > before;
}

void Tour::_movePointer(const osg::Vec2i& pixel) {
  _pointer = pixel;
  _events().mouseMotion(_windowX(), _windowY());
}

bool Tour::_takePicture(const std::string& path) {
  _dependencies.refine();
  _dependencies.screenshot.request(path);
  _dependencies.drawFrame();
  const bool written = _dependencies.screenshot.captured() && _dependencies.screenshot.finish();
  _pictures += written ? 1 : 0;
  return written;
}

TourStepRecord Tour::_record(const TourStep& step, const std::string& picture) {
  const osg::ref_ptr<const QuorOsgUtils::FrameSnapshot> frame = _dependencies.frames.latest();
  osg::Vec3d eye, centre, up;
  frame->viewMatrix.getLookAt(eye, centre, up);
  const osg::Vec3d origin = _dependencies.scans.origin();
  return {step.name,    picture,         _pointer, _depthAtPointer(),
          eye + origin, centre + origin, up,       frame->projectionMatrix,
          _pickRecord()};
}

std::optional<TourPick> Tour::_pickRecord() const {
  if (!_picked) {
    return std::nullopt;
  }
  const PickedPoint& pick = *_dependencies.picker.latest();
  return TourPick{utf8Of(fileName(_dependencies.scans.info(pick.scan).path)), pick.point, pick.coordinates,
                  pick.classification, pick.intensity};
}

float Tour::_depthAtPointer() {
  const osg::ref_ptr<const QuorOsgUtils::FrameSnapshot> frame = _dependencies.frames.latest();
  const std::optional<std::size_t> pixel = frame->pixelAt(_pointer.x(), _pointer.y());
  return pixel ? frame->depths[*pixel] : 1.0f;
}

osg::Vec2f Tour::_fractionOf(const osg::Vec3d& place) const {
  const osg::ref_ptr<const QuorOsgUtils::FrameSnapshot> frame = _dependencies.frames.latest();
  const osg::Vec3d device = place * frame->viewMatrix * frame->projectionMatrix;
  return {static_cast<float>(0.5 * (device.x() + 1.0)), static_cast<float>(0.5 * (device.y() + 1.0))};
}

osg::Vec2i Tour::_pixelAt(const osg::Vec2f& fraction) const {
  const osg::Vec2i size = _windowSize();
  return {static_cast<int>(fraction.x() * static_cast<float>(size.x())),
          static_cast<int>(fraction.y() * static_cast<float>(size.y()))};
}

// The window counts its rows from the top.
float Tour::_windowX() const {
  return static_cast<float>(_pointer.x());
}

float Tour::_windowY() const {
  return static_cast<float>(_windowSize().y() - 1 - _pointer.y());
}

osg::Vec2i Tour::_windowSize() const {
  const osg::Viewport& viewport = *_dependencies.viewer.getCamera()->getViewport();
  return {static_cast<int>(viewport.width()), static_cast<int>(viewport.height())};
}

osgGA::EventQueue& Tour::_events() {
  return *static_cast<osgViewer::GraphicsWindow*>(_dependencies.viewer.getCamera()->getGraphicsContext())
              ->getEventQueue();
}

}  // namespace QuorViewer
