#pragma once

#include <QuorOsgUtils/ImageCapture.h>

#include <osgViewer/View>

#include <future>
#include <string>
#include <thread>

namespace QuorViewer {

/// Saves the visible frame as PNG files. The next drawn frame is captured and then written to disk on a separate
/// thread, so that drawing continues. Only one screenshot can be pending at a time.
class Screenshot {
 public:
  /// The camera of the view is captured. Create and destroy it while nothing is drawn.
  explicit Screenshot(osgViewer::View& view);
  Screenshot(const Screenshot&) = delete;
  Screenshot& operator=(const Screenshot&) = delete;
  ~Screenshot();

  /// Requests a capture of the next frame. Expects that no screenshot is pending; draw a frame afterwards.
  void request(const std::string& path);
  bool pending() const { return _writer.joinable(); }
  /// True once the requested frame has been captured: `finish` then does not wait for the draw.
  bool captured() const;
  /// Waits until the file of a captured frame is written. False if it could not be written.
  bool finish();

 private:
  QuorOsgUtils::ImageCapture _images;
  std::shared_future<QuorOsgUtils::CapturedImage> _image;
  std::thread _writer;
  bool _written = false;
};

}  // namespace QuorViewer
