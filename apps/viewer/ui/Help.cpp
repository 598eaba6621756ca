#include "viewer/ui/Help.h"

namespace QuorViewer {

Hud::HelpRows helpRows(const std::vector<KeyBinding>& bindings) {
  Hud::HelpRows rows = {{"Left click", "pick a point, measure from the previous pick"},
                        {"Left drag", "drag a handle of the clip box"},
                        {"Right drag", "orbit about the middle of the view or the pointer"},
                        {"Middle drag", "pan: the point under the pointer follows it"},
                        {"Wheel", "zoom towards or away from the pointer"}};
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
