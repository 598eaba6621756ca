#pragma once

#include "viewer/clip/ClipBox.h"
#include "viewer/clip/ClipPose.h"
#include "viewer/clip/ClipSave.h"
#include "viewer/session/ScanSet.h"
#include "viewer/ui/Hud.h"
#include "viewer/ui/Keys.h"
#include "viewer/ui/Messages.h"

#include <osg/BoundingBox>
#include <osgGA/GUIEventHandler>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace QuorViewer {

/// What the user does with the clip box, beside dragging its handles: keys, the line that tells where the box is, and
/// writing what is inside to files.
class ClipControl {
 public:
  /// All outlive the control.
  struct Host {
    ClipBox& box;
    Hud& hud;
    Messages& messages;
    ScanSet& scans;
    bool verbose = false;  ///< also write each new pose of the box
  };

  explicit ClipControl(Host host);

  /// `control` may be yet to be made, and is there when the first key comes.
  static std::vector<KeyBinding> bindings(ClipControl& control);
  /// Follows the box, frame by frame. It goes behind all other handlers.
  osg::ref_ptr<osgGA::GUIEventHandler> createFollower();

  /// Switches a box on that the user has asked for, in world coordinates.
  void startWith(const osg::BoundingBoxd& world);
  /// What there is to put the box around. A box that nobody has changed since grows with it. `complete` once no more
  /// is to come.
  void setContent(const osg::BoundingBox& content, bool complete);

  /// Takes the box away, when nothing is left that it could be around.
  void abandon();

  bool isSaving() const { return _save != nullptr; }
  /// Goes on writing files for about as long as `budget` allows. Expects that a save is going on.
  void saveALittle(std::chrono::milliseconds budget);
  /// Brings the progress of the save to the window and the terminal.
  void showProgress();

 private:
  void _toggle();
  void _reset();
  void _showMode(ClipMode mode);
  void _toggleAxis(int bit);
  void _beginSave();
  bool _isReady();  // tells the user what is missing
  bool _placeAroundContent();
  void _announce(const std::string& line, const std::string& message);
  void _fail(const std::string& message);
  void _follow();
  std::string _poseText(std::string (*text)(const ClipPose&)) const;

  Host _host;
  osg::BoundingBox _content;
  bool _complete = false;
  std::string _automaticPose;  // of a box that follows the content; empty when it does not
  std::string _shownNote;
  std::string _saidPose;
  std::unique_ptr<ClipSave> _save;
};

}  // namespace QuorViewer
