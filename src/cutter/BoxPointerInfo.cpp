#include <QuorOsgUtils/BoxCutterDragger.h>

namespace QuorOsgUtils {

BoxPointerInfo::BoxPointerInfo() = default;

// The base's copy constructor does not copy the camera's matrices.
BoxPointerInfo::BoxPointerInfo(const BoxPointerInfo& other) : BoxPointerInfo() {
  *this = other;
}

BoxPointerInfo& BoxPointerInfo::operator=(const BoxPointerInfo& other) {
  osgManipulator::PointerInfo::operator=(other);
  _hitIter = _hitList.begin();
  _pushX = other._pushX;
  _pushY = other._pushY;
  _dragX = other._dragX;
  _dragY = other._dragY;
  _pixelSize = other._pixelSize;
  _cameraToWorld = other._cameraToWorld;
  return *this;
}

void BoxPointerInfo::reset() {
  *this = BoxPointerInfo();
}

}  // namespace QuorOsgUtils
