#include "viewer/session/BundledScan.h"

#include "scan/platform/Platform.h"

#include <filesystem>

namespace QuorViewer {

// An installed viewer finds the scan relative to the program, so that its folder may be moved.
std::string bundledScan() {
  std::error_code ignored;
  const std::filesystem::path installed = (programFolder() / QUOR_VIEWER_INSTALLED_SAMPLE).lexically_normal();
  return std::filesystem::exists(installed, ignored) ? fromPath(installed) : QUOR_VIEWER_SOURCE_SAMPLE;
}

}  // namespace QuorViewer
