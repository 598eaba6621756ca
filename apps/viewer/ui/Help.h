#pragma once

#include "viewer/ui/Hud.h"
#include "viewer/ui/Keys.h"

#include <vector>

namespace QuorViewer {

/// The rows of the help panel: the mouse, then the keys.
Hud::HelpRows helpRows(const std::vector<KeyBinding>& bindings);

}  // namespace QuorViewer
