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

/// Runs the actions. A key that is bound here reaches nobody else. While a mouse button is held none acts, for then the
/// navigation or a handle is in the middle of a movement.
class KeyHandler : public osgGA::GUIEventHandler {
 public:
  /// `held` is called in place of an action while a button is held.
  KeyHandler(std::vector<KeyBinding> bindings, std::function<void()> held)
      : _bindings(std::move(bindings)), _held(std::move(held)) {}
  bool handle(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) override;

 private:
  std::vector<KeyBinding> _bindings;
  std::function<void()> _held;
};

}  // namespace QuorViewer
