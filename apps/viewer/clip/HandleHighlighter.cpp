#include "viewer/clip/HandleHighlighter.h"

namespace QuorViewer {
namespace {

using Event = osgGA::GUIEventAdapter;

bool isOfPointer(const Event& ea) {
  constexpr int kTypes = Event::MOVE | Event::DRAG | Event::PUSH | Event::RELEASE;
  return (ea.getEventType() & kTypes) != 0;
}

}  // namespace

bool HandleHighlighter::handle(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) {
  auto* const view = dynamic_cast<osgViewer::View*>(&aa);
  if (view != nullptr && isOfPointer(ea)) {
    _latest = &ea;
    if (_update(*view)) {
      aa.requestRedraw();
    }
  }
  return false;
}

void HandleHighlighter::followView(osgViewer::View& view) {
  if (_latest && _update(view)) {
    view.requestRedraw();
  }
}

// A handle that is dragged keeps its highlight from the press on. While the view is dragged no handle has one.
bool HandleHighlighter::_update(osgViewer::View& view) {
  const bool held = _latest->getButtonMask() != 0;
  if (held && !_box.isDragged()) {
    return _box.removeHighlight();
  }
  const bool keeps = held && _latest->getEventType() != Event::PUSH;
  return !keeps && _box.highlightUnderPointer(*_latest, view);
}

}  // namespace QuorViewer
