#pragma once

#include <osgViewer/Viewer>

#include <stdexcept>
#include <string>

namespace QuorViewer {

/// No window can be opened; the text says why.
class WindowError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Opens the viewer's one window and makes the camera fill it. Everything is drawn on the calling thread until another
/// threading model is set. Sizes in pixels. Throws WindowError if there is no display or its OpenGL is too old for the
/// shaders.
void openWindow(osgViewer::Viewer& viewer, int width, int height, const std::string& title);

}  // namespace QuorViewer
