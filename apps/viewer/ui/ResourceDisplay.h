#pragma once

#include "viewer/ui/Hud.h"

#include <cstdint>
#include <string>

namespace QuorViewer {

/// The resource use on the status bar: memory, graphics buffers, and the renderer if it draws on the processor.
class ResourceDisplay {
 public:
  /// `hud` outlives the display.
  explicit ResourceDisplay(Hud& hud) : _hud(hud) {}

  /// The name of the renderer that draws on the processor; empty: a graphics card draws.
  void setSoftwareRenderer(const std::string& name) { _softwareRenderer = name; }
  void update(std::uint64_t graphicsBufferBytes);
  /// The size of the graphics buffers that is shown.
  std::uint64_t shownBufferBytes() const { return _shownBufferBytes; }

 private:
  Hud& _hud;
  std::string _softwareRenderer;
  std::uint64_t _shownBufferBytes = 0;
};

}  // namespace QuorViewer
