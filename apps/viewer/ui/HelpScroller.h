#pragma once

#include "viewer/ui/Hud.h"

#include <osgGA/GUIEventHandler>

namespace QuorViewer {

/// Scrolls the help, while it is shown and not all of it fits into the window:
///
/// | input                 | effect        |
/// |-----------------------|---------------|
/// | wheel                 | three lines   |
/// | up, down              | one line      |
/// | page up, page down    | one page      |
///
/// These events are then handled. Add it before the handlers of keys and pointer.
class HelpScroller : public osgGA::GUIEventHandler {
 public:
  /// `hud` outlives the handler.
  explicit HelpScroller(Hud& hud) : _hud(hud) {}

  bool handle(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) override;

 private:
  int _linesFor(const osgGA::GUIEventAdapter& ea) const;

  Hud& _hud;
};

}  // namespace QuorViewer
