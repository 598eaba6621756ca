#pragma once

#include "viewer/render/ColourMode.h"

#include <osg/Group>
#include <osg/MatrixTransform>
#include <osg/Vec2f>

#include <string>
#include <vector>

namespace QuorViewer {

/// Explains the colours: a ramp with its lowest and highest value, or the list of classes in the scan.
class Legend {
 public:
  Legend();

  osg::Node* node() { return _node; }
  void hide();
  /// `mode` is Intensity or Elevation.
  void showRamp(ColourMode mode, const std::string& low, const std::string& high);
  /// Shows at most 16 classes: the first ones.
  void showClasses(const std::vector<unsigned int>& codes);
  /// Size of the window in pixels.
  void resize(const osg::Vec2f& window);

 private:
  void _addLabel(const std::string& words, const osg::Vec2f& place, bool title);
  void _finish(float contentHeight);

  osg::ref_ptr<osg::Group> _node;
  osg::ref_ptr<osg::MatrixTransform> _panel;
  osg::Vec2f _window;
  float _width = 0.0f;
};

}  // namespace QuorViewer
