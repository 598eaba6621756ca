#pragma once

#include <QuorOsgUtils/ClipBoxControl.h>

#include <osg/View>
#include <osg/io_utils>
#include <osgGA/GUIEventHandler>
#include <osgViewer/GraphicsWindow>

#include <cstdlib>
#include <cstring>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

/// Edits a clip box by keys, and undoes keys and drags. The window's title shows the extents as numeric fields: Tab
/// selects the next one (*), digits and Enter set it. U undoes; S, M and T select the handles.
class BoxEditor : public osgGA::GUIEventHandler {
 public:
  explicit BoxEditor(QuorOsgUtils::ClipBoxControl* control) : _control(control) {
    QuorOsgUtils::ClipBoxListener listener;
    listener.ended = [this](const QuorOsgUtils::ClipBoxChange& change) {
      _undo.insert(_undo.end(), change.isCancelled ? 0 : 1, change.before);
      print(change.isCancelled ? "cancelled" : "dragged");
    };
    _control->setListener(listener);
  }

  bool handle(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) override {
    const int key = ea.getEventType() == ea.KEYDOWN ? ea.getKey() : 0;
    if (key == 'u' && !_undo.empty()) {
      _control->setState(_undo.back());
      _undo.pop_back();
      print("undone");
    } else if (key == ea.KEY_Tab) {
      _field = (_field + 1) % 6;
      _typed.clear();
    } else if (key == ea.KEY_Return && !_typed.empty()) {
      _enter();
    } else if (key > 0 && key < 128) {
      _type(static_cast<char>(key));
    }
    _showFields(aa);
    return false;
  }

  /// Plain numbers: 17 digits are read back exactly.
  void print(const char* what) const {
    const osg::BoundingBoxd box = _control->box();
    std::cout.precision(17);
    std::cout << what << ": box from " << box._min << " to " << box._max << ", rotation "
              << _control->rotation().asVec4() << std::endl;
  }

 private:
  // Fields: the lowest and the highest x, then those of y and z, before the rotation.
  void _enter() {
    const QuorOsgUtils::ClipBoxState before = _control->state();
    QuorOsgUtils::ClipBoxState wanted = before;
    (_field % 2 == 0 ? wanted.box._min : wanted.box._max)[_field / 2] = std::atof(_typed.c_str());
    const bool done = _control->setState(wanted);  // false: no box has these extents
    _undo.insert(_undo.end(), done ? 1 : 0, before);
    print(done ? "typed" : "refused");
    _typed.clear();
  }

  void _type(char key) {
    const char* const modes = "tms";  // by CutterType
    if (const char* const mode = std::strchr(modes, key)) {
      _control->showHandles(static_cast<QuorOsgUtils::ClipBoxControl::CutterType>(mode - modes), 7);
    } else if (std::strchr("0123456789.-", key)) {
      _typed += key;
    }
  }

  void _showFields(osgGA::GUIActionAdapter& aa) {
    const osg::BoundingBoxd box = _control->box();
    std::ostringstream title;
    for (int field = 0; field < 6; ++field) {
      const char* const names[] = {"x ", " to ", " y ", " to ", " z ", " to "};
      title << names[field] << (field == _field ? "*" : "");
      if (field == _field && !_typed.empty()) {
        title << _typed;
      } else {
        title << (field % 2 == 0 ? box._min : box._max)[field / 2];
      }
    }
    auto* const window = dynamic_cast<osgViewer::GraphicsWindow*>(aa.asView()->getCamera()->getGraphicsContext());
    if (window && title.str() != _shown) {
      window->setWindowName(_shown = title.str());
    }
  }

  osg::ref_ptr<QuorOsgUtils::ClipBoxControl> _control;
  std::vector<QuorOsgUtils::ClipBoxState> _undo;
  int _field = 0;
  std::string _typed, _shown;
};
