#pragma once

#include "viewer/render/ColourMode.h"
#include "viewer/ui/Overlay.h"

#include <osg/Group>
#include <osg/MatrixTransform>
#include <osg/Vec2f>

#include <functional>
#include <string>
#include <vector>

namespace QuorViewer {

/// Explains the colours: a ramp with its lowest and highest value, or the list of classes in the scan. In the upper
/// right corner of its area; where the area is low, the ramp is shorter, and not all classes are listed. Hidden where
/// there is no room at all.
class Legend {
 public:
  Legend();

  osg::Node* node() { return _node; }
  void hide();
  /// `mode` is Intensity or Elevation.
  void showRamp(ColourMode mode, const std::string& low, const std::string& high);
  /// Shows at most 16 lines; where there are more classes, the last line says how many.
  void showClasses(const std::vector<unsigned int>& codes);
  /// The area of the window that it may use, in pixels.
  void layOut(const Overlay::Rectangle& area);

 private:
  void _show(std::function<void()> build);
  void _rebuild();
  float _heightLeft() const;
  void _buildRamp(ColourMode mode, const std::string& low, const std::string& high);
  void _buildClasses(const std::vector<unsigned int>& codes);
  void _addLabel(const std::string& words, const osg::Vec2f& place, bool title);
  void _finish(float contentHeight);
  void _setPlace();

  osg::ref_ptr<osg::Group> _node;
  osg::ref_ptr<osg::MatrixTransform> _panel;
  std::function<void()> _build;  // adds the content
  Overlay::Rectangle _area;
  float _width = 0.0f;
};

}  // namespace QuorViewer
