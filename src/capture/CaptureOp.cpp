#include <QuorOsgUtils/ScreenCaptureTool.h>

namespace QuorOsgUtils {

CaptureOp::CaptureOp() : OpenThreads::Barrier(2) {}

CaptureOp::~CaptureOp() = default;

void CaptureOp::setFlag(bool flag) {
  _flag = flag;
}

bool CaptureOp::getFlag() {
  return _flag;
}

void CaptureOp::setActive(bool active) {
  _active = active;
}

bool CaptureOp::getActive() {
  return _active;
}

}  // namespace QuorOsgUtils
