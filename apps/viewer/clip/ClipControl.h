#pragma once

#include "common/ProgressLine.h"
#include "viewer/clip/ClipBox.h"
#include "viewer/clip/ClipPose.h"
#include "viewer/clip/ClipSave.h"
#include "viewer/session/ScanSet.h"
#include "viewer/ui/Hud.h"
#include "viewer/ui/Keys.h"
#include "viewer/ui/Messages.h"

#include <osg/BoundingBox>
#include <osgGA/GUIActionAdapter>
#include <osgGA/GUIEventHandler>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace QuorViewer {

/// The user's actions on the clip box, besides dragging its handles: keys, the line that shows the box's pose, and
/// writing the points inside to files.
class ClipControl {
 public:
  /// All objects must outlive the control.
  struct Dependencies {
    ClipBox& box;
    Hud& hud;
    Messages& messages;
    ScanSet& scans;
    osgGA::GUIActionAdapter& viewer;  ///< for redraws
    bool verbose = false;             ///< also print each new pose of the box
  };

  explicit ClipControl(Dependencies dependencies);

  /// `control` may still be under construction; it must exist when the first key is pressed.
  static std::vector<KeyBinding> bindings(ClipControl& control);
  /// Tracks the box each frame. Add it after all other handlers.
  osg::ref_ptr<osgGA::GUIEventHandler> createFollower();

  /// Places the box given by `--clip`, in world coordinates, and switches it on.
  void startWith(const osg::BoundingBoxd& world);
  /// Sets the bounds that a new or reset box encloses. A box that the user has not changed follows them. `complete` is
  /// true once all points are loaded.
  void setContent(const osg::BoundingBox& content, bool complete);

  /// When no points are left.
  void removeBox();

  bool isSaving() const { return _save != nullptr; }
  /// Continues a save in progress for about `budget`, and shows its progress if `mayShowProgress` says that there is
  /// time for a frame. False if no save is in progress.
  bool advanceSave(std::chrono::milliseconds budget, const std::function<bool()>& mayShowProgress);

 private:
  void _toggle();
  void _reset();
  void _showMode(ClipMode mode);
  void _toggleAxis(int bit);
  void _beginSave();
  void _finishSave();
  void _showProgress();
  bool _isReady();  // shows the user what is missing
  bool _placeAroundContent();
  void _announce(const std::string& line, const std::string& message);
  void _reportResult(const std::string& message);
  void _fail(const std::string& message);
  void _followContent();
  void _follow();
  std::string _poseText(std::string (*text)(const ClipPose&)) const;

  Dependencies _dependencies;
  osg::BoundingBox _content;
  bool _complete = false;
  bool _contentIsNew = false;  // since the box followed it
  std::string _automaticPose;  // of a box that follows the content; empty when it does not
  std::string _shownNote;
  std::string _printedPose;
  std::unique_ptr<ClipSave> _save;
  ProgressLine _terminalProgress{"saving: read"};
};

}  // namespace QuorViewer
