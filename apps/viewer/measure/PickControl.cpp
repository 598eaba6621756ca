#include "viewer/measure/PickControl.h"

#include <optional>
#include <string>

namespace QuorViewer {

void PickControl::pick(int x, int y) {
  _dependencies.messages.beginAction();
  try {
    if (const std::optional<PickedPoint> picked = _dependencies.picker.pick(x, y)) {
      _report(*picked);
    } else {
      _dependencies.messages.show("There is no point under the pointer");
      _dependencies.messages.print("picked nothing");
    }
  } catch (const ScanError& error) {
    _dependencies.messages.reportError(error.what());
  }
}

void PickControl::_report(const PickedPoint& picked) {
  _dependencies.marker.mark(picked.localPosition);
  const std::string text = statusText(picked);
  _dependencies.messages.setStanding(Standing::Pick, text);
  _dependencies.messages.show(text);  // over the progress of loading or saving
  _dependencies.messages.print(outputText(picked, fileName(_dependencies.scans.info(picked.scan).path)));
}

void PickControl::clear() {
  _dependencies.picker.clearLatest();
  _dependencies.marker.clear();
  _dependencies.messages.clearStanding(Standing::Pick);
}

}  // namespace QuorViewer
