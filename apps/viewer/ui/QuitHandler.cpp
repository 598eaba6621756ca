#include "viewer/ui/QuitHandler.h"

#include "viewer/ui/Keys.h"

#include <algorithm>

namespace QuorViewer {
namespace {

using Event = osgGA::GUIEventAdapter;

bool isQuitKey(const Event& ea, osgGA::GUIActionAdapter& aa) {
  if (ea.getEventType() != Event::KEYDOWN || heldModifiers(ea) != Modifier::kControl) {
    return false;
  }
  const std::vector<int> meanings = meaningsOf(ea, aa);
  return std::find(meanings.begin(), meanings.end(), 'q') != meanings.end();
}

// Ctrl itself is pressed before the second Ctrl+Q.
bool isModifierKey(int key) {
  return key >= Event::KEY_Shift_L && key <= Event::KEY_Hyper_R;
}

}  // namespace

bool QuitHandler::handle(const Event& ea, osgGA::GUIActionAdapter& aa) {
  if (ea.getEventType() == Event::KEYUP) {
    _keyHeld = false;
  }
  const bool isKey = isQuitKey(ea, aa);
  if (isKey || ea.getEventType() == Event::QUIT_APPLICATION) {
    const bool isRepeated = isKey && std::exchange(_keyHeld, true);
    if (!isRepeated) {
      _request();
      aa.requestRedraw();
    }
    return true;
  }
  if (ea.getEventType() != Event::KEYDOWN || isModifierKey(ea.getKey()) || !_dependencies.messages.isAsking()) {
    return false;
  }
  _dependencies.messages.show("Not quitting");
  aa.requestRedraw();
  return ea.getKey() == Event::KEY_Escape;
}

void QuitHandler::_request() {
  const std::string work = _dependencies.unfinishedWork();
  if (work.empty() || _dependencies.messages.isAsking()) {
    return _dependencies.quit();
  }
  _dependencies.messages.ask(work + ". Press Ctrl+Q again to quit, any other key to continue");
}

}  // namespace QuorViewer
