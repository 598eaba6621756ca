#pragma once

#include <QuorOsgUtils/ScreenCaptureTool.h>

#include <osg/ref_ptr>

#include <string>
#include <thread>

namespace QuorViewer {

/// Pictures of the visible frame as PNG files. Each is captured with the next drawn frame and written by a thread that
/// waits for it, so that drawing goes on. One picture at a time.
class Screenshot {
 public:
  /// `tool` outlives the screenshot.
  explicit Screenshot(QuorOsgUtils::ScreenCaptureTool& tool);
  Screenshot(const Screenshot&) = delete;
  Screenshot& operator=(const Screenshot&) = delete;
  ~Screenshot();

  /// Asks for the next frame. Expects that no picture is being taken; draw a frame afterwards.
  void request(const std::string& path);
  bool pending() const { return _writer.joinable(); }
  /// True once the requested frame has been captured: `finish` then does not wait for the draw.
  bool captured() const;
  /// Waits for the file of a captured frame. False when it could not be written.
  bool finish();

 private:
  class Request;

  QuorOsgUtils::ScreenCaptureTool& _tool;
  osg::ref_ptr<Request> _request;
  std::thread _writer;
  bool _written = false;
};

}  // namespace QuorViewer
