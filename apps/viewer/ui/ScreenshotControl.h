#pragma once

#include "viewer/render/Screenshot.h"
#include "viewer/ui/Messages.h"

#include <string>

namespace QuorViewer {

/// The screenshots that the user requests: numbered files in the working folder. None is overwritten.
class ScreenshotControl {
 public:
  /// Both outlive the control.
  ScreenshotControl(Screenshot& screenshot, Messages& messages) : _screenshot(screenshot), _messages(messages) {}

  /// Requests a capture of the next frame, unless a screenshot is pending.
  void request();
  /// Finishes and reports the requested screenshot if its frame has been drawn. True if it did.
  bool reportCaptured();

 private:
  Screenshot& _screenshot;
  Messages& _messages;
  std::string _path;  // of the requested one; empty: none
  unsigned int _count = 0;
};

}  // namespace QuorViewer
