#pragma once

#include "support/CaptureContext.h"
#include "support/ManipulatorFixture.h"

#include <memory>
#include <vector>

namespace QuorTests {

/// The manipulator fixture on a real graphics context whose frames are captured: `paint` rectangles of the depth image,
/// `draw` a frame, send events.
template <typename Manipulator>
class CapturedNavigationFixture : public NavigationFixture<Manipulator> {
 protected:
  CapturedNavigationFixture();

  void SetUp() override;

  /// From the next frame on, until `clearPainting`. Everything else is background.
  void paint(int x, int y, int width, int height, float depth);
  void clearPainting() { _rectangles.clear(); }
  void setBackgroundDepth(float depth);
  void draw() { _context->draw(); }

  QuorOsgUtils::ScreenCaptureTool::FrameBuffer& frame() { return _context->frame(); }

  /// The pixels of the last frame's visible image that are not black.
  int colouredPixels();

 private:
  struct Rectangle {
    int x, y, width, height;
    float depth;
  };

  explicit CapturedNavigationFixture(std::unique_ptr<CaptureContext> context);

  std::unique_ptr<CaptureContext> _context;
  std::vector<Rectangle> _rectangles;
};

using CapturedManipulatorFixture = CapturedNavigationFixture<OpenManipulator>;
using CapturedPivotManipulatorFixture = CapturedNavigationFixture<OpenPivotManipulator>;

}  // namespace QuorTests
