#pragma once

#include <QuorOsgUtils/Export.h>

#include <osg/Matrixd>
#include <osg/Referenced>
#include <osg/ref_ptr>

#include <cstddef>
#include <optional>
#include <vector>

namespace QuorOsgUtils {

/// A rectangle of whole pixels of the window. (x, y) is the lower left pixel; rows count upwards.
struct PixelRectangle {
  int x = 0;       ///< of the left column
  int y = 0;       ///< of the bottom row
  int width = 0;   ///< in pixels
  int height = 0;  ///< in pixels

  /// Whether the pixel is in the rectangle.
  bool contains(int column, int row) const { return column >= x && row >= y && column - x < width && row - y < height; }
  /// Whether all four numbers are equal.
  bool operator==(const PixelRectangle& other) const {
    return x == other.x && y == other.y && width == other.width && height == other.height;
  }
};

/// One captured frame: what was drawn, and the matrices that it was drawn with.
///
/// Frames: window positions in pixels from the bottom left of the window, Y up; world units.
/// Pixels: each vector holds the pixels of `region`, row-major, bottom row first, or nothing if its buffer was not
/// read. Four-channel pixels start at 4 × the pixel's index. See `ScreenCaptureTool` for the attachments.
/// Threads: a published snapshot (`osg::ref_ptr<const FrameSnapshot>`) never changes, so any thread may read it for as
/// long as it holds it, without a lock. GL: none is used.
struct QUOR_OSG_UTILS_EXPORT FrameSnapshot : public osg::Referenced {
  /// Without pixels.
  FrameSnapshot();
  FrameSnapshot(const FrameSnapshot&) = delete;
  FrameSnapshot& operator=(const FrameSnapshot&) = delete;

  /// Of the `osg::FrameStamp` that the frame was drawn with.
  unsigned int frameNumber = 0;
  osg::Matrixd viewMatrix;        ///< world to view, as the frame was drawn
  osg::Matrixd projectionMatrix;  ///< view to clip space, as the frame was drawn
  /// The whole viewport that the frame was drawn into, also if a part of it lies outside the window.
  PixelRectangle viewport;
  /// The pixels that were read: those of the viewport that lie in the frame-buffer object, or a part of them.
  PixelRectangle region;

  std::vector<float> depths;           ///< width × height: 0 near, 1 far and background
  std::vector<unsigned char> colours;  ///< width × height × 4: attachment 0, RGBA
  std::vector<unsigned int> itemIDs;   ///< width × height × 4: attachment 1
  std::vector<float> itemFloats;       ///< width × height × 4: attachment 2
  std::vector<float> pcFloats;         ///< width × height × 4: attachment 3
  std::vector<int> pcInts;             ///< width × height × 4: attachment 4
  ///@{
  /// The range of `depths`, by the rule of `ScreenCaptureTool::FrameBuffer::getMinAndMaxDepth`.
  float minDepth = 1.0f;
  float maxDepth = 0.0f;
  ///@}

  /// Of `region`.
  std::size_t pixelCount() const;
  /// The index of a window position's pixel; nothing outside the region.
  std::optional<std::size_t> pixelAt(int x, int y) const;

 protected:
  ~FrameSnapshot() override;
};

/// A source of captured frames. If the post-draw callback of their view's camera is one, the manipulators read its
/// latest frame, otherwise the frame buffer of a `ScreenCaptureTool`.
class QUOR_OSG_UTILS_EXPORT SnapshotSource {
 public:
  /// The latest frame, or null before the first. Any thread.
  virtual osg::ref_ptr<const FrameSnapshot> latest() const = 0;

 protected:
  SnapshotSource();
  virtual ~SnapshotSource();
};

}  // namespace QuorOsgUtils
