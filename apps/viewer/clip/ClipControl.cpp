#include "viewer/clip/ClipControl.h"

#include "viewer/render/Precision.h"
#include "viewer/ui/Format.h"

#include <algorithm>
#include <cctype>
#include <utility>

namespace QuorViewer {
namespace {

constexpr int kAllAxes = 7;

// Calls back once a frame, after all other events of that frame.
class FrameFollower : public osgGA::GUIEventHandler {
 public:
  explicit FrameFollower(std::function<void()> follow) : _follow(std::move(follow)) {}
  bool handle(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& /*aa*/) override {
    if (ea.getEventType() == osgGA::GUIEventAdapter::FRAME) {
      _follow();
    }
    return false;
  }

 private:
  std::function<void()> _follow;
};

struct ModeWords {
  const char* line;
  const char* message;
};

ModeWords wordsOf(ClipMode mode) {
  switch (mode) {
    case ClipBoxControl::CUTTER_ROTATE:
      return {"clip mode rotate", "Drag a ring to rotate the box"};
    case ClipBoxControl::CUTTER_TRANSLATE:
      return {"clip mode move", "Drag an arrow to move the box"};
    case ClipBoxControl::CUTTER_SCALE:
      break;
  }
  return {"clip mode resize", "Drag a cone to resize the box"};
}

double thinnestSideOf(const osg::BoundingBoxd& box) {
  const osg::Vec3d size = box._max - box._min;
  return std::min({size.x(), size.y(), size.z()});
}

}  // namespace

ClipControl::ClipControl(Dependencies dependencies) : _dependencies(dependencies) {}

// Keeps the help short: keys of one kind share the row of the first.
std::vector<KeyBinding> ClipControl::bindings(ClipControl& control) {
  const auto bind = [](char key, const char* shown, const char* effect, std::function<void()> action) {
    return KeyBinding{{key, std::toupper(key)}, shown, effect, std::move(action)};
  };
  const auto mode = [&control](ClipMode which) { return [&control, which] { control._showMode(which); }; };
  const auto axis = [&control](int bit) { return [&control, bit] { control._toggleAxis(bit); }; };
  return {
      bind('b', "B", "clip box on or off", [&control] { control._toggle(); }),
      bind('s', "S, M, T", "resize, move or rotate the box", mode(ClipBoxControl::CUTTER_SCALE)),
      bind('m', "", "", mode(ClipBoxControl::CUTTER_TRANSLATE)),
      bind('t', "", "", mode(ClipBoxControl::CUTTER_ROTATE)),
      bind('x', "X, Y, Z", "show only the handles of that axis; press again for all", axis(1)),
      bind('y', "", "", axis(2)),
      bind('z', "", "", axis(4)),
      bind('r', "R", "reset the box to enclose everything", [&control] { control._reset(); }),
      bind('w', "W", "save the points inside the box as LAS", [&control] { control._beginSave(); }),
  };
}

osg::ref_ptr<osgGA::GUIEventHandler> ClipControl::createFollower() {
  return new FrameFollower([this] { _follow(); });
}

void ClipControl::startWith(const osg::BoundingBoxd& world) {
  const osg::Vec3d origin = _dependencies.scans.origin();
  const osg::BoundingBoxd box(world._min - origin, world._max - origin);
  if (drawnStepAt(box.center()) > thinnestSideOf(box)) {
    return _fail("--clip is too far away from the scan: a box this thin cannot be drawn there");
  }
  _dependencies.box.place(box);
}

void ClipControl::setContent(const osg::BoundingBox& content, bool complete) {
  _content = content;
  _complete = complete;
  _contentIsNew = true;
  _followContent();
}

// A drag may change nothing, or be cancelled; then the box follows afterwards.
void ClipControl::_followContent() {
  if (_dependencies.box.isDragged() || !std::exchange(_contentIsNew, false)) {
    return;
  }
  const bool follows =
      _dependencies.box.isPlaced() && !_automaticPose.empty() && _poseText(outputText) == _automaticPose;
  if (follows) {
    const bool on = _dependencies.box.isOn();
    _placeAroundContent();
    _dependencies.box.setOn(on);
  }
}

void ClipControl::removeBox() {
  _dependencies.box.remove();
  _content.init();
  _automaticPose.clear();
}

bool ClipControl::_placeAroundContent() {
  if (!_content.valid()) {
    _dependencies.messages.show("The clip box needs a loaded scan");
    return false;
  }
  _dependencies.box.place(boxAround(_content));
  _automaticPose = _poseText(outputText);
  return true;
}

void ClipControl::_toggle() {
  if (_dependencies.box.isOn()) {
    _dependencies.box.setOn(false);
    _announce("clip off", "Clip box off: all points are shown");
    return;
  }
  if (_dependencies.box.isPlaced()) {
    _dependencies.box.setOn(true);
  } else if (!_placeAroundContent()) {
    return;
  }
  _announce("clip on", "Clip box on: drag its handles. S resizes, M moves, T rotates; W saves the points inside");
}

void ClipControl::_reset() {
  if (_isReady() && _placeAroundContent()) {
    _announce("clip reset", "Clip box reset: it encloses all points");
  }
}

void ClipControl::_showMode(ClipMode mode) {
  if (_isReady()) {
    _dependencies.box.showHandles(mode, _dependencies.box.axisMask());
    const ModeWords words = wordsOf(mode);
    _announce(words.line, words.message);
  }
}

// Selects one axis alone or all three, never none: a box without handles would be useless.
void ClipControl::_toggleAxis(int bit) {
  if (!_isReady()) {
    return;
  }
  const int mask = _dependencies.box.axisMask() == bit ? kAllAxes : bit;
  _dependencies.box.showHandles(_dependencies.box.mode(), mask);
  std::string axes;
  for (int axis = 0; axis < 3; ++axis) {
    axes += (mask >> axis & 1) != 0 ? std::string(1, "XYZ"[axis]) : std::string();
  }
  _announce("clip axes " + axes, mask == kAllAxes ? "Handles of all axes" : "Handles of axis " + axes + " only");
}

bool ClipControl::_isReady() {
  if (!_dependencies.box.isOn()) {
    _dependencies.messages.show("Switch the clip box on first, with B");
  }
  return _dependencies.box.isOn();
}

void ClipControl::_beginSave() {
  if (!_isReady()) {
    return;
  }
  if (!_complete || _save) {
    _dependencies.messages.show(_save ? "The points inside are already being saved"
                                      : "Points can be saved only after all of them are loaded");
    return;
  }
  const ClipSave::Listener listener = {[this](const std::string& message) { _reportResult(message); },
                                       [this](const std::string& message) { _fail(message); }};
  _save = std::make_unique<ClipSave>(_dependencies.scans, _dependencies.box.control().planes(), listener);
}

bool ClipControl::advanceSave(std::chrono::milliseconds budget, const std::function<bool()>& mayShowProgress) {
  if (!isSaving()) {
    return false;
  }
  _save->step(budget);
  if (_save->finished()) {
    _finishSave();
  } else if (mayShowProgress()) {
    _showProgress();
  }
  return true;
}

void ClipControl::_finishSave() {
  _save.reset();
  _dependencies.hud.setProgress(1.0);
  _dependencies.messages.clearStanding(Standing::Saving);
  _terminalProgress.clear();
  _dependencies.viewer.requestRedraw();
}

void ClipControl::_showProgress() {
  const std::uint64_t total = std::max<std::uint64_t>(_save->pointCount(), 1);
  const std::uint64_t read = _save->pointsRead();
  _dependencies.hud.setProgress(static_cast<double>(read) / static_cast<double>(total));
  _dependencies.messages.setStanding(
      Standing::Saving, "Saving the points inside: " + grouped(read) + " of " + grouped(total) + " points read");
  _terminalProgress.show(read, total);
  _dependencies.viewer.requestRedraw();
}

void ClipControl::_announce(const std::string& line, const std::string& message) {
  _dependencies.messages.print(line);
  _dependencies.messages.show(message);
}

void ClipControl::_reportResult(const std::string& message) {
  _dependencies.messages.print(message);
  _dependencies.messages.showResult(message);
}

void ClipControl::_fail(const std::string& message) {
  _dependencies.messages.reportError(message);
}

void ClipControl::_follow() {
  _followContent();
  const bool on = _dependencies.box.isOn();
  const std::string note = on ? _poseText(statusText) : std::string();
  if (note != _shownNote) {
    _dependencies.hud.setNote(note);
    _shownNote = note;
  }
  const std::string pose = on ? _poseText(outputText) : std::string();
  if (_dependencies.verbose && on && pose != _printedPose) {
    _dependencies.messages.printState(pose);
  }
  _printedPose = pose;
}

std::string ClipControl::_poseText(std::string (*text)(const ClipPose&)) const {
  return text(poseOf(_dependencies.box.control().state(), _dependencies.scans.origin()));
}

}  // namespace QuorViewer
