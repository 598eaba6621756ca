#pragma once

#include <osg/Geometry>
#include <osg/Program>

namespace QuorViewer {

osg::ref_ptr<osg::Program> createProgram(const char* name, const char* vertexSource, const char* fragmentSource);

/// Turns the geometry into one triangle that covers the window, with clip coordinates as vertices; it is never culled
/// and does not affect the near and far planes. Its state neither tests nor writes depth and has no lighting.
/// `fragmentSource` may read the varying `window`, the window position from (0, 0) at the bottom left to (1, 1).
void becomeFullScreenPass(osg::Geometry& geometry, const char* name, const char* fragmentSource);

/// Draw order within the frame. The manipulators' own markers use the default, 0; the clip box uses -100 for its disc
/// and rings and 100 for its other handles.
namespace DrawOrder {
constexpr int kBackground = -110;
constexpr int kCloud = -20;
constexpr int kEyeDome = -10;
constexpr int kPickMarker = 10;
constexpr int kHandles = 100;
constexpr int kHud = 200;
}  // namespace DrawOrder

}  // namespace QuorViewer
