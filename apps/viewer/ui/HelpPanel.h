#pragma once

#include "viewer/ui/HelpLayout.h"
#include "viewer/ui/Overlay.h"

#include <osg/Geometry>
#include <osg/Group>
#include <osgText/Text>

namespace QuorViewer {

/// The panel that lists mouse and keys. It fits into any area; where not all of its rows do, it scrolls.
class HelpPanel {
 public:
  explicit HelpPanel(const HelpRows& rows);

  osg::Node* node() { return _node; }
  bool isShown() const { return _node->getNodeMask() != 0U; }
  void show(bool show);
  /// Centres the panel in an area of the window, in pixels.
  void layOut(const Overlay::Rectangle& area);
  bool canScroll() const { return _layout.scrolls(); }
  /// Moves the rows up by a number of lines; negative: down. No effect beyond the first and the last row.
  void scroll(int lines);
  /// The number of lines that are visible at a time.
  int linesShown() const { return static_cast<int>(_layout.linesShown); }

 private:
  void _arrange();
  void _build();
  void _addTitle(const osg::Vec2f& topLeft, float width);
  void _addColumn(const std::vector<HelpRow>& lines, const osg::Vec2f& topLeft);
  void _addText(const std::string& utf8, const osg::Vec4f& colour, const osg::Vec2f& baseLine,
                osgText::Text::AlignmentType alignment = osgText::Text::LEFT_BASE_LINE);
  std::string _hint() const;
  osg::Vec2f _contentSize() const;

  osg::ref_ptr<osg::Group> _node;
  HelpRows _rows;
  HelpLayout _layout;
  Overlay::Rectangle _area;
  std::size_t _firstLine = 0;  // of those shown
};

}  // namespace QuorViewer
