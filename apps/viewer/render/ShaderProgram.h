#pragma once

#include <osg/Geometry>
#include <osg/Program>

namespace QuorViewer {

osg::ref_ptr<osg::Program> createProgram(const char* name, const char* vertexSource, const char* fragmentSource);

/// Draws with `gl_Color`, unlit, into attachment 0. For everything without shaders of its own: OpenGL refuses its
/// built-in shading altogether while an attachment holds integers.
osg::ref_ptr<osg::Program> createPlainProgram();

/// One triangle that covers the window, given in clip coordinates as its vertices; never culled, and without a say in
/// the near and far planes. Its state neither tests nor writes depth and has no lighting.
/// `fragmentSource` may read `window`, from (0, 0) at the bottom left to (1, 1).
void becomeFullScreenPass(osg::Geometry& geometry, const char* name, const char* fragmentSource);

/// Order of drawing within the frame. The manipulators' own markers use the default, 0; the clip box takes -100 for its
/// disc and rings and 100 for its other handles.
namespace DrawOrder {
constexpr int kBackground = -110;
constexpr int kCloud = -20;
constexpr int kEyeDome = -10;
constexpr int kPickMarker = 10;
constexpr int kHandles = 100;
constexpr int kHud = 200;
}  // namespace DrawOrder

}  // namespace QuorViewer
