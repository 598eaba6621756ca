#pragma once

#include "viewer/render/Screenshot.h"
#include "viewer/ui/Messages.h"

#include <string>

namespace QuorViewer {

/// The screenshots that the user requests, with or without the overlay (status bar, legend, help): numbered files in
/// the working folder. None is overwritten.
class ScreenshotControl {
 public:
  /// Both outlive the control.
  ScreenshotControl(Screenshot& screenshot, Messages& messages) : _screenshot(screenshot), _messages(messages) {}

  enum class Overlay { Hidden, Shown };

  /// Requests a screenshot, unless one is pending.
  void request(Overlay overlay);
  /// Captures the next frame if a screenshot is requested. A request that arrives later, with the events of the frame
  /// itself, waits for the frame after it.
  void prepareFrame();
  /// Whether the next frame must be drawn without the overlay, because it is to be captured so.
  bool hidesOverlay() const { return !_path.empty() && _overlay == Overlay::Hidden; }
  /// Whether a requested screenshot still needs a frame.
  bool needsFrame() const { return !_path.empty(); }
  /// Finishes and reports the requested screenshot if its frame has been drawn. True if it did.
  bool reportCaptured();

 private:
  Screenshot& _screenshot;
  Messages& _messages;
  std::string _path;  // of the requested one; empty: none
  Overlay _overlay = Overlay::Shown;
  unsigned int _count = 0;
};

}  // namespace QuorViewer
