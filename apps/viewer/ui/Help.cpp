#include "viewer/ui/Help.h"

#include <algorithm>

namespace QuorViewer {
namespace {

constexpr const char* kMouse = "Mouse";

/// Rows in groups, in the order in which the groups appear first.
class Groups {
 public:
  void add(const std::string& group, const HelpRow& row) {
    const auto found =
        std::find_if(_groups.begin(), _groups.end(), [&](const auto& known) { return known.first == group; });
    if (found != _groups.end()) {
      found->second.push_back(row);
    } else {
      _groups.emplace_back(group, HelpRows{row});
    }
  }

  HelpRows rows() const {
    HelpRows all;
    for (const auto& [group, rows] : _groups) {
      all.emplace_back(group, "");
      all.insert(all.end(), rows.begin(), rows.end());
    }
    return all;
  }

 private:
  std::vector<std::pair<std::string, HelpRows>> _groups;
};

}  // namespace

HelpRows helpRows(const std::vector<KeyBinding>& bindings) {
  Groups groups;
  groups.add(kMouse, {"Left click", "pick a point, measure from the previous pick"});
  groups.add(kMouse, {"Left drag", "drag a handle of the clip box"});
  groups.add(kMouse, {"Right drag", "orbit about the middle of the view or the pointer"});
  groups.add(kMouse, {"Middle drag", "pan: the grabbed point stays under the pointer"});
  groups.add(kMouse, {"Wheel", "approach the point under the pointer, or move away"});
  for (const KeyBinding& binding : bindings) {
    if (!binding.shown.empty()) {
      groups.add(binding.group, {binding.shown, binding.effect});
    }
  }
  groups.add(kWindowGroup, {"F11", "full screen"});
  groups.add(kWindowGroup, {"Ctrl+Q", "quit"});
  return groups.rows();
}

}  // namespace QuorViewer
