#pragma once

#include "viewer/platform/WindowIdentity.h"

namespace QuorViewer {

/// The viewer's icon: a hill of points, coloured by elevation.
Icon createIcon(int sizePixels);

}  // namespace QuorViewer
