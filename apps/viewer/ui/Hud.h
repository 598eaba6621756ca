#pragma once

#include "viewer/ui/FittedText.h"
#include "viewer/ui/HelpPanel.h"
#include "viewer/ui/Legend.h"

#include <osg/Geometry>
#include <osg/Group>
#include <osg/Projection>
#include <osgText/Text>

#include <string>

namespace QuorViewer {

/// The overlay on the image: a status bar at the bottom, the legend, and the help panel. Sizes in pixels.
///
/// Texts that are too long for the window are broken into lines, and the bar becomes higher. A text that is still too
/// long is shortened in its middle. The legend and the help use the area above the bar; while the help is shown,
/// legend and note are hidden.
class Hud {
 public:
  using HelpRows = QuorViewer::HelpRows;

  explicit Hud(const HelpRows& help);

  osg::Node* node() { return _projection; }
  Legend& legend() { return _legend; }
  HelpPanel& help() { return _help; }

  /// Lays everything out for a window of this size; cheap when nothing has changed.
  void resize(int width, int height);
  /// The upper line: a message. An urgent one is shown even while the user is typing.
  void setMessage(const std::string& utf8, bool urgent = false);
  /// Text that the user is typing, in place of the message; empty: none.
  void setPrompt(const std::string& utf8);
  /// The left of the lower line: what is shown.
  void setSummary(const std::string& utf8);
  /// The right of the lower line: resource use, in parts separated by "·". If there is not enough room, parts are
  /// dropped from the left.
  void setResources(const std::string& utf8);
  /// A separate line above the bar for lasting information; hidden if empty.
  void setNote(const std::string& utf8);
  /// A progress line along the bar's upper edge; hidden at 1.
  void setProgress(double share);
  /// All of it, whatever it contains. Default: shown.
  void setShown(bool shown) { _projection->setNodeMask(shown ? ~0U : 0U); }
  bool isHelpShown() const { return _help.isShown(); }
  void showHelp(bool show);

 private:
  void _createBar();
  void _showMessage();
  void _layOut();
  float _layOutBar();
  void _layOutResources(float summaryWidth);
  float _layOutNote(float bottom);
  std::size_t _mostLines() const;

  osg::ref_ptr<osg::Projection> _projection;
  osg::ref_ptr<osg::Group> _root;
  osg::ref_ptr<osg::Geometry> _bar;
  osg::ref_ptr<osg::Geometry> _progressLine;
  osg::ref_ptr<osg::Geometry> _notePanel;
  FittedText _message;
  FittedText _summary;
  osg::ref_ptr<osgText::Text> _resources;
  FittedText _note;
  std::string _messageText;
  std::string _prompt;
  bool _urgent = false;
  std::string _allResources;
  Legend _legend;
  HelpPanel _help;
  int _width = 0;
  int _height = 0;
  double _progress = 1.0;
};

}  // namespace QuorViewer
