#include "viewer/ui/Help.h"

namespace QuorViewer {

Hud::HelpRows helpRows(const std::vector<KeyBinding>& bindings) {
  Hud::HelpRows rows = {{"Left click", "pick a point, measure from the last one"},
                        {"Left drag", "drag a handle of the clip box"},
                        {"Right drag", "orbit about the middle, or about the pointer"},
                        {"Middle drag", "pan with the point under the pointer"},
                        {"Wheel", "zoom towards the pointer, or away"}};
  for (const KeyBinding& binding : bindings) {
    if (!binding.shown.empty()) {
      rows.emplace_back(binding.shown, binding.effect);
    }
  }
  rows.emplace_back("F11", "full screen");
  rows.emplace_back("Esc", "quit");
  return rows;
}

}  // namespace QuorViewer
