#pragma once

#include <osg/Vec2i>
#include <osgGA/GUIEventHandler>

#include <functional>
#include <utility>

namespace QuorViewer {

/// Distinguishes a click of the left button (press and release within 3 pixels) from navigation. It marks no event as
/// handled, so the manipulator still receives all of them. It ignores events that others have handled, such as drags of
/// the clip box's handles. It requests a frame at each event by which the manipulators or the box may change the image,
/// because they do not request all of them. Wheels that scroll to a side, which X11 reports as buttons that OSG has no
/// number for, are ignored.
class PointerHandler : public osgGA::GUIEventHandler {
 public:
  /// `clicked` gets the pixel under the pointer, from the bottom left. `navigated` is called when the user starts to
  /// change the view.
  PointerHandler(std::function<void(int x, int y)> clicked, std::function<void(bool byWheel)> navigated)
      : _clicked(std::move(clicked)), _navigated(std::move(navigated)) {}

  bool handle(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) override;

  /// The pixel under the pointer, from the bottom left, as of the latest event.
  osg::Vec2i pixel() const { return _pixel; }

 private:
  void _release(const osgGA::GUIEventAdapter& ea);

  std::function<void(int, int)> _clicked;
  std::function<void(bool)> _navigated;
  osg::Vec2i _pixel;
  bool _pressed = false;
  float _pressX = 0.0f;
  float _pressY = 0.0f;
};

}  // namespace QuorViewer
