#include "viewer/session/ScanEntry.h"

namespace QuorViewer {
namespace {

using Key = osgGA::GUIEventAdapter::KeySymbol;

// OSG's key codes up to 0xFF are Latin-1 characters; those above are Enter, arrows and the like.
bool isCharacter(int key) {
  return (key >= 0x20 && key < 0x7F) || (key >= 0xA0 && key <= 0xFF);
}

bool continuesCharacter(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

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
  if (key == Key::KEY_BackSpace) {
    _eraseLast();
  } else if (isCharacter(key) && key < 0x80) {
    _path += static_cast<char>(key);
  } else if (isCharacter(key)) {
    _path += {static_cast<char>(0xC0 | key >> 6), static_cast<char>(0x80 | (key & 0x3F))};
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

void ScanEntry::_finish() {
  _open = false;
  _hud.setMessage("");
  if (!_path.empty()) {
    _enter(_path);
  }
}

void ScanEntry::_show() {
  _hud.setMessage("Path of the scan to add (Enter to finish):  " + _path + "_");
}

}  // namespace QuorViewer
