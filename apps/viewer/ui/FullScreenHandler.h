#pragma once

#include "viewer/platform/WindowFrame.h"

#include <osgGA/GUIEventHandler>

#include <optional>

namespace QuorViewer {

/// Switches to full screen with F11, and with the next F11 back to the window's size and position.
class FullScreenHandler : public osgGA::GUIEventHandler {
 public:
  bool handle(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) override;

 private:
  void _toggle(osgViewer::GraphicsWindow& window);

  std::optional<WindowRectangle> _before;  // of the window; empty: it does not fill the screen
};

}  // namespace QuorViewer
