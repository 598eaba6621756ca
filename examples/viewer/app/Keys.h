#pragma once

#include <osgGA/GUIEventHandler>

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace QuorViewer {

/// What a key does. Several keys may do the same (the digit row and the number pad).
struct KeyBinding {
  std::vector<int> keys;
  std::string shown;  ///< in the help; empty: another one's row speaks for this one too
  std::string effect;
  std::function<void()> action;
};

/// Runs the actions. A key that is bound here reaches nobody else.
class KeyHandler : public osgGA::GUIEventHandler {
 public:
  explicit KeyHandler(std::vector<KeyBinding> bindings) : _bindings(std::move(bindings)) {}
  bool handle(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) override;

 private:
  std::vector<KeyBinding> _bindings;
};

}  // namespace QuorViewer
