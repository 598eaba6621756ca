#include "viewer/ui/ResourceDisplay.h"

#include "scan/platform/Platform.h"
#include "viewer/ui/Format.h"

namespace QuorViewer {

void ResourceDisplay::update(std::uint64_t graphicsBufferBytes) {
  _shownBufferBytes = graphicsBufferBytes;
  const std::string software = _softwareRenderer.empty() ? "" : "Software rendering, " + _softwareRenderer + "   ·   ";
  _hud.setResources(software + inMebibytes(processMemoryBytes()) + " memory   ·   " + inMebibytes(graphicsBufferBytes) +
                    " graphics buffers");
}

}  // namespace QuorViewer
