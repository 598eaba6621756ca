#pragma once

#include "viewer/ui/HelpLayout.h"
#include "viewer/ui/Keys.h"

#include <vector>

namespace QuorViewer {

/// The group of the keys that are not about the scene.
constexpr const char* kWindowGroup = "Window";

/// The rows of the help panel: the mouse, then the keys by their groups, in the order of the first key of each group.
HelpRows helpRows(const std::vector<KeyBinding>& bindings);

}  // namespace QuorViewer
