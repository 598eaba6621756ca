#include "viewer/session/ScanEntry.h"

#include "viewer/ui/KeyText.h"
#include "viewer/ui/Utf8.h"

namespace QuorViewer {
namespace {

using Key = osgGA::GUIEventAdapter::KeySymbol;

}  // namespace

void ScanEntry::open() {
  _open = true;
  _path.clear();
  _show();
}

bool ScanEntry::handle(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) {
  if (!_open || ea.getEventType() != osgGA::GUIEventAdapter::KEYDOWN) {
    return false;
  }
  _take(ea.getKey());
  aa.requestRedraw();
  return true;
}

void ScanEntry::_take(int key) {
  if (key == Key::KEY_Return || key == Key::KEY_KP_Enter) {
    return _finish();
  }
  if (key == Key::KEY_Escape) {
    return _close();
  }
  if (key == Key::KEY_BackSpace) {
    _eraseLast();
  } else {
    _path += textOfKey(key);
  }
  _show();
}

void ScanEntry::_eraseLast() {
  while (!_path.empty() && continuesCharacter(_path.back())) {
    _path.pop_back();
  }
  if (!_path.empty()) {
    _path.pop_back();
  }
}

void ScanEntry::_close() {
  _open = false;
  _hud.setPrompt("");
}

void ScanEntry::_finish() {
  _close();
  if (!_path.empty()) {
    _enter(_path);
  }
}

void ScanEntry::_show() {
  _hud.setPrompt("Path of the scan to add (Enter to finish, Esc to cancel):  " + _path + "_");
}

}  // namespace QuorViewer
