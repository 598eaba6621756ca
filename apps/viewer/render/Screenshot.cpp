#include "viewer/render/Screenshot.h"

#include <osgDB/WriteFile>

#include <cassert>
#include <chrono>

namespace QuorViewer {
namespace {

using namespace std::chrono_literals;

constexpr auto kLimit = 10min;  // more than a software renderer takes for any scan

}  // namespace

Screenshot::Screenshot(osgViewer::View& view) : _images(view) {}

Screenshot::~Screenshot() {
  if (pending()) {
    _images.withdraw();
    finish();
  }
}

void Screenshot::request(const std::string& path) {
  assert(!pending());
  _written = false;
  _image = _images.request(kLimit).share();
  _writer = std::thread([this, path, image = _image] {
    _written = image.get().image.valid() && osgDB::writeImageFile(*image.get().image, path);
  });
}

bool Screenshot::captured() const {
  return pending() && _image.wait_for(0s) == std::future_status::ready;
}

bool Screenshot::finish() {
  _writer.join();
  return _written;
}

}  // namespace QuorViewer
