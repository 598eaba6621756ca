#include <QuorOsgUtils/BoxCutterDragger.h>

namespace QuorOsgUtils {

BoxPointerInfo::BoxPointerInfo() = default;

BoxPointerInfo::BoxPointerInfo(const BoxPointerInfo& other) = default;

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
