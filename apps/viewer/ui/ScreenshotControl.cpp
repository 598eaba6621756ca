#include "viewer/ui/ScreenshotControl.h"

#include "scan/platform/Platform.h"

#include <filesystem>
#include <utility>

namespace QuorViewer {

void ScreenshotControl::request(Overlay overlay) {
  if (!_path.empty()) {
    return;
  }
  do {
    _path = "quor_viewer_" + std::to_string(++_count) + ".png";
  } while (std::filesystem::exists(toPath(_path)));
  _overlay = overlay;
}

void ScreenshotControl::prepareFrame() {
  if (!_path.empty() && !_screenshot.pending()) {
    _screenshot.request(_path);
  }
}

bool ScreenshotControl::reportCaptured() {
  if (_path.empty() || !_screenshot.captured()) {
    return false;
  }
  const std::string path = fromPath(std::filesystem::absolute(toPath(std::exchange(_path, std::string()))));
  const std::string kind = _overlay == Overlay::Shown ? "Screenshot with" : "Screenshot without";
  const std::string message =
      _screenshot.finish() ? kind + " status bar saved to " + path : "Screenshot cannot be written: " + path;
  _messages.showResult(message);
  _messages.print(message);
  return true;
}

}  // namespace QuorViewer
