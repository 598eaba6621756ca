#pragma once

#include <osgGA/GUIEventHandler>

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace QuorViewer {

/// The keys that must be held together with a bound key, as bits.
namespace Modifier {
constexpr unsigned int kNone = 0;
constexpr unsigned int kShift = 1;
constexpr unsigned int kControl = 2;
constexpr unsigned int kAlt = 4;
}  // namespace Modifier

/// The effect of a key. Several keys may have the same effect (+ of the number pad and of the main keys).
struct KeyBinding {
  /// Symbols; the case of letters has no meaning. A key of another layout acts by its position, see `meaningsOf`.
  std::vector<int> keys;
  std::string shown;  ///< key names in the help; empty: described in another binding's row
  std::string effect;
  std::function<void()> action;
  /// Exactly these must be held. A binding without a modifier also applies with Shift, which characters like + and ?
  /// need on many keyboards, unless another binding of the key requires Shift.
  unsigned int modifiers = Modifier::kNone;
  bool actsDuringDrag = false;  ///< also while a mouse button is held
  bool actsOnce = false;        ///< not again while the key is held and repeats
  std::string group = {};       ///< heading in the help
};

/// Runs the actions. A key that is bound here reaches no other handler, nor does Space with any modifiers. While a
/// mouse button is held, only actions run that are meant for it, because a navigation or handle drag may be in
/// progress.
class KeyHandler : public osgGA::GUIEventHandler {
 public:
  /// `held` is called instead of an action while a button is held.
  KeyHandler(std::vector<KeyBinding> bindings, std::function<void()> held)
      : _bindings(std::move(bindings)), _held(std::move(held)) {}
  bool handle(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) override;

 private:
  bool _isRepeated(const osgGA::GUIEventAdapter& ea);
  const KeyBinding* _find(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) const;
  const KeyBinding* _find(int key, unsigned int modifiers) const;

  std::vector<KeyBinding> _bindings;
  std::function<void()> _held;
  int _heldKey = 0;  // 0: none
};

/// The modifiers held at an event.
unsigned int heldModifiers(const osgGA::GUIEventAdapter& ea);
/// What an event's key may mean in the window of the view `aa`, best first: its symbol, with letters in lower case, and
/// the character at its position on a US keyboard. So the keys also work with a Cyrillic layout, and the digits of a
/// French one without Shift. A Latin letter means only itself.
std::vector<int> meaningsOf(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa);

}  // namespace QuorViewer
