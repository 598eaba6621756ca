#pragma once

#include "viewer/ui/Legend.h"

#include <osg/Geometry>
#include <osg/Group>
#include <osg/Projection>
#include <osgText/Text>

#include <string>
#include <utility>
#include <vector>

namespace QuorViewer {

/// The overlay on the image: a status bar of two lines at the bottom, the legend, and the help panel. Sizes in pixels.
class Hud {
 public:
  using HelpRows = std::vector<std::pair<std::string, std::string>>;  ///< input and effect

  explicit Hud(const HelpRows& help);

  osg::Node* node() { return _projection; }
  Legend& legend() { return _legend; }

  /// Lays everything out for a window of this size; cheap when nothing has changed.
  void resize(int width, int height);
  /// The upper line: the latest message.
  void setMessage(const std::string& utf8);
  /// The left of the lower line: what is shown.
  void setSummary(const std::string& utf8);
  /// The right of the lower line: resource use. Hidden if there is no room for it.
  void setResources(const std::string& utf8);
  /// A separate line above the bar for lasting information; hidden if empty.
  void setNote(const std::string& utf8);
  /// A progress line along the bar's upper edge; hidden at 1.
  void setProgress(double share);
  bool isHelpShown() const;
  void showHelp(bool show);

 private:
  void _createBar();
  void _createHelp(const HelpRows& rows);
  void _layOut();
  void _layOutResources();
  void _layOutNote();
  void _layOutHelp();

  osg::ref_ptr<osg::Projection> _projection;
  osg::ref_ptr<osg::Group> _root;
  osg::ref_ptr<osg::Group> _help;
  osg::ref_ptr<osg::Geometry> _bar;
  osg::ref_ptr<osg::Geometry> _progressLine;
  osg::ref_ptr<osg::Geometry> _notePanel;
  osg::ref_ptr<osg::Geometry> _helpPanel;
  osg::ref_ptr<osgText::Text> _message;
  osg::ref_ptr<osgText::Text> _summary;
  osg::ref_ptr<osgText::Text> _resources;
  osg::ref_ptr<osgText::Text> _note;
  std::vector<osg::ref_ptr<osgText::Text>> _helpTexts;  // title, inputs, effects
  Legend _legend;
  int _width = 0;
  int _height = 0;
  double _progress = 0.0;
};

}  // namespace QuorViewer
