#pragma once

#include <osgGA/GUIEventAdapter>

namespace QuorViewer {

/// The vertical direction of a scroll event: 1 up, towards the scene; -1 down; 0: it scrolls to a side only.
int scrollDirection(const osgGA::GUIEventAdapter& ea);

}  // namespace QuorViewer
