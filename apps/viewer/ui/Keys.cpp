#include "viewer/ui/Keys.h"

#include "viewer/platform/KeyPosition.h"

#include <osg/View>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace QuorViewer {
namespace {

using Event = osgGA::GUIEventAdapter;

/// Neighbouring keys of a US keyboard, from a position on.
struct KeyRow {
  int first;
  std::string_view characters;
};

constexpr std::array<KeyRow, 4> kKeyRows = {
    {{2, "1234567890-="}, {16, "qwertyuiop"}, {30, "asdfghjkl"}, {44, "zxcvbnm"}}};

int lowerCase(int key) {
  return key >= 'A' && key <= 'Z' ? key - 'A' + 'a' : key;
}

bool isLatinLetter(int key) {
  return lowerCase(key) >= 'a' && lowerCase(key) <= 'z';
}

// 0: none.
int characterAt(int position) {
  for (const auto& [first, characters] : kKeyRows) {
    const int index = position - first;
    if (index >= 0 && index < static_cast<int>(characters.size())) {
      return characters[static_cast<std::size_t>(index)];
    }
  }
  return 0;
}

bool isBoundTo(const KeyBinding& binding, int key) {
  return std::any_of(binding.keys.begin(), binding.keys.end(), [key](int bound) { return lowerCase(bound) == key; });
}

// The window of a key event itself is unknown until the pointer has moved.
const osg::GraphicsContext* windowOf(osgGA::GUIActionAdapter& aa) {
  const osg::View* const view = aa.asView();
  return view != nullptr ? view->getCamera()->getGraphicsContext() : nullptr;
}

}  // namespace

unsigned int heldModifiers(const Event& ea) {
  const auto bitIf = [&ea](unsigned int keys, unsigned int bit) {
    return (static_cast<unsigned int>(ea.getModKeyMask()) & keys) != 0 ? bit : Modifier::kNone;
  };
  return bitIf(Event::MODKEY_SHIFT, Modifier::kShift) | bitIf(Event::MODKEY_CTRL, Modifier::kControl) |
         bitIf(Event::MODKEY_ALT, Modifier::kAlt);
}

// With Ctrl the window system reports a control character instead of the symbol.
std::vector<int> meaningsOf(const Event& ea, osgGA::GUIActionAdapter& aa) {
  const bool control = (heldModifiers(ea) & Modifier::kControl) != 0;
  const int symbol = lowerCase(control ? ea.getUnmodifiedKey() : ea.getKey());
  std::vector<int> meanings = {symbol};
  const osg::GraphicsContext* const window = windowOf(aa);
  if (!isLatinLetter(symbol) && window != nullptr && ea.getUnmodifiedKey() != 0) {
    meanings.push_back(characterAt(positionOfKey(*window, ea.getUnmodifiedKey())));
  }
  return meanings;
}

bool KeyHandler::handle(const Event& ea, osgGA::GUIActionAdapter& aa) {
  const bool isRepeated = _isRepeated(ea);
  if (ea.getHandled() || ea.getEventType() != Event::KEYDOWN) {
    return false;
  }
  const KeyBinding* const binding = _find(ea, aa);
  if (binding == nullptr) {
    return ea.getKey() == Event::KEY_Space;  // OSG's manipulators go to a home position of their own
  }
  if (isRepeated && binding->actsOnce) {
    return true;
  }
  const bool mayAct = ea.getButtonMask() == 0 || binding->actsDuringDrag;
  mayAct ? binding->action() : _held();
  aa.requestRedraw();
  return true;
}

// A key that another handler has handled may repeat after that handler has lost interest.
bool KeyHandler::_isRepeated(const Event& ea) {
  if (ea.getEventType() == Event::KEYUP && ea.getKey() == _heldKey) {
    _heldKey = 0;
  }
  return ea.getEventType() == Event::KEYDOWN && std::exchange(_heldKey, ea.getKey()) == ea.getKey();
}

const KeyBinding* KeyHandler::_find(const Event& ea, osgGA::GUIActionAdapter& aa) const {
  const KeyBinding* found = nullptr;
  for (const int key : meaningsOf(ea, aa)) {
    found = found != nullptr ? found : _find(key, heldModifiers(ea));
  }
  return found;
}

const KeyBinding* KeyHandler::_find(int key, unsigned int modifiers) const {
  const auto found = std::find_if(_bindings.begin(), _bindings.end(), [&](const KeyBinding& binding) {
    return binding.modifiers == modifiers && isBoundTo(binding, key);
  });
  if (found != _bindings.end()) {
    return &*found;
  }
  return modifiers == Modifier::kShift ? _find(key, Modifier::kNone) : nullptr;
}

}  // namespace QuorViewer
