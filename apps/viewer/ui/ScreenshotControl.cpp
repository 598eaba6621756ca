#include "viewer/ui/ScreenshotControl.h"

#include "scan/platform/Platform.h"

#include <filesystem>
#include <utility>

namespace QuorViewer {

void ScreenshotControl::request() {
  if (_screenshot.pending()) {
    return;
  }
  do {
    _path = "quor_viewer_" + std::to_string(++_count) + ".png";
  } while (std::filesystem::exists(toPath(_path)));
  _screenshot.request(_path);
}

bool ScreenshotControl::reportCaptured() {
  if (_path.empty() || !_screenshot.captured()) {
    return false;
  }
  const std::string path = fromPath(std::filesystem::absolute(toPath(std::exchange(_path, std::string()))));
  const std::string message = (_screenshot.finish() ? "Screenshot saved to " : "Screenshot cannot be written: ") + path;
  _messages.show(message);
  _messages.print(message);
  return true;
}

}  // namespace QuorViewer
