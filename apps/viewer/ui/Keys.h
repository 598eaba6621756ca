#pragma once

#include <osgGA/GUIEventHandler>

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace QuorViewer {

/// The effect of a key. Several keys may have the same effect (the digit row and the number pad).
struct KeyBinding {
  std::vector<int> keys;
  std::string shown;  ///< key names in the help; empty: described in another binding's row
  std::string effect;
  std::function<void()> action;
};

/// Runs the actions. A key that is bound here reaches no other handler. While a mouse button is held no action runs,
/// because a navigation or handle drag may be in progress.
class KeyHandler : public osgGA::GUIEventHandler {
 public:
  /// `held` is called instead of an action while a button is held.
  KeyHandler(std::vector<KeyBinding> bindings, std::function<void()> held)
      : _bindings(std::move(bindings)), _held(std::move(held)) {}
  bool handle(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) override;

 private:
  std::vector<KeyBinding> _bindings;
  std::function<void()> _held;
};

}  // namespace QuorViewer
