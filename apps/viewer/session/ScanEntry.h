#pragma once

#include "viewer/ui/Hud.h"
#include "viewer/ui/Keys.h"

#include <osgGA/GUIEventHandler>

#include <functional>
#include <string>
#include <vector>

namespace QuorViewer {

/// Lets the user type the path of a scan into the status bar. While a path is being typed, presses of other keys
/// are ignored; Esc drops the path. Must come before all other key handlers, except that of the key to quit.
class ScanEntry : public osgGA::GUIEventHandler {
 public:
  using Enter = std::function<void(const std::string& path)>;

  /// `hud` outlives the entry. `enter` gets each path that is completed with Enter; an empty one is ignored.
  ScanEntry(Hud& hud, Enter enter) : _hud(hud), _enter(std::move(enter)) {}

  bool isOpen() const { return _open; }
  void open();

  bool handle(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) override;

 private:
  void _take(int key);
  void _eraseLast();
  void _finish();
  void _close();
  void _show();

  Hud& _hud;
  Enter _enter;
  bool _open = false;
  std::string _path;  // UTF-8
};

}  // namespace QuorViewer
