#include "viewer/platform/KeyPosition.h"

#include <windows.h>

namespace QuorViewer {

// OSG reports the virtual key as the unmodified one.
int positionOfKey(const osg::GraphicsContext& /*window*/, int unmodifiedKey) {
  return static_cast<int>(::MapVirtualKeyW(static_cast<UINT>(unmodifiedKey), MAPVK_VK_TO_VSC));
}

}  // namespace QuorViewer
