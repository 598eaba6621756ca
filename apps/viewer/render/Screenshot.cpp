#include "viewer/render/Screenshot.h"

#include <osg/Image>
#include <osgDB/WriteFile>

#include <cassert>
#include <cstring>
#include <vector>

namespace QuorViewer {

class Screenshot::Request : public QuorOsgUtils::CaptureOp {
 public:
  void captureImage(int width, int height, std::vector<unsigned char>& rgba) override {
    _width = width;
    _height = height;
    _rgba.swap(rgba);
  }

  // The frame's alpha has no meaning in an image file.
  osg::ref_ptr<osg::Image> image() const {
    osg::ref_ptr<osg::Image> image = new osg::Image;
    image->allocateImage(_width, _height, 1, GL_RGB, GL_UNSIGNED_BYTE);
    for (int row = 0; row < _height; ++row) {
      unsigned char* to = image->data(0, static_cast<unsigned int>(row));
      const unsigned char* from = &_rgba[static_cast<std::size_t>(row) * static_cast<std::size_t>(_width) * 4];
      for (int pixel = 0; pixel < _width; ++pixel, to += 3, from += 4) {
        std::memcpy(to, from, 3);
      }
    }
    return image;
  }

  bool empty() const { return _rgba.empty(); }

 private:
  int _width = 0;
  int _height = 0;
  std::vector<unsigned char> _rgba;
};

Screenshot::Screenshot(QuorOsgUtils::ScreenCaptureTool& tool) : _tool(tool) {}

// A request that no frame has served would block its writer for ever: withdraw it and open the barrier.
Screenshot::~Screenshot() {
  if (!pending()) {
    return;
  }
  if (!captured()) {
    _tool.setCaptureOp(nullptr);
    _request->invalidate();
  }
  finish();
}

void Screenshot::request(const std::string& path) {
  assert(!pending());
  _request = new Request;
  _written = false;
  _tool.setCaptureOp(_request);
  _writer = std::thread([this, path] {
    _request->block();
    _written = !_request->empty() && osgDB::writeImageFile(*_request->image(), path);
  });
}

bool Screenshot::captured() const {
  return pending() && _tool.getCaptureOp() != _request.get();
}

bool Screenshot::finish() {
  _writer.join();
  _request = nullptr;
  return _written;
}

}  // namespace QuorViewer
