#include "BundledScan.h"

#include <filesystem>

namespace QuorViewer {

std::string bundledScan() {
  std::error_code ignored;
  return std::filesystem::exists(QUOR_VIEWER_SOURCE_SAMPLE, ignored) ? QUOR_VIEWER_SOURCE_SAMPLE
                                                                     : QUOR_VIEWER_INSTALLED_SAMPLE;
}

}  // namespace QuorViewer
