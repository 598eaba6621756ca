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

/// Opens the viewer's only window, with a camera viewport that fills it. Drawing happens on the calling thread until
/// another threading model is set. Sizes are in pixels. Throws WindowError if there is no display or its OpenGL is too
/// old for the shaders.
void openWindow(osgViewer::Viewer& viewer, int width, int height, const std::string& title);

void setWindowTitle(osgViewer::Viewer& viewer, const std::string& title);

/// Whether the window system has sent something that only a drawn frame hands on, like the request to close the window.
bool hasWindowNews(osgViewer::Viewer& viewer);

}  // namespace QuorViewer
