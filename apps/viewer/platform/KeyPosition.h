#pragma once

#include <osg/GraphicsContext>

namespace QuorViewer {

/// The number of the key that has this symbol without modifiers in the keyboard layout in use. Keys are numbered by
/// their position, as on the PC keyboard since 1984: 16 is the key right of Tab. 0 if it is unknown.
int positionOfKey(const osg::GraphicsContext& window, int unmodifiedKey);

}  // namespace QuorViewer
