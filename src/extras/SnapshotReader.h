#pragma once

#include "capture/CaptureViewport.h"
#include "capture/TightPackState.h"

#include <QuorOsgUtils/FrameSnapshot.h>

#include <osg/FrameBufferObject>
#include <osg/GLExtensions>
#include <osg/State>

#include <optional>
#include <vector>

namespace QuorOsgUtils {

/// The frame-buffer object that the state applied last, or null if it has no images or there is none.
const osg::FrameBufferObject* drawnObject(const osg::State& state);

/// The pixels that both have; none if they do not meet.
PixelRectangle intersection(const PixelRectangle& a, const PixelRectangle& b);

/// All pixels of a viewport; none of one that cannot be captured.
PixelRectangle rectangleOf(const std::optional<CaptureViewport>& viewport);

/// Those that lie in the object's images.
PixelRectangle drawnPixels(const std::optional<CaptureViewport>& viewport, const osg::FrameBufferObject& object);

/// Gives the snapshot's vectors the size of its region, those of the chosen buffers (see `ReadBack`), and empties the
/// others. Throws if memory is exhausted.
void prepareBuffers(FrameSnapshot& snapshot, unsigned int buffers);

/// Sets the depth range from the depths.
void measureDepthRange(FrameSnapshot& snapshot);

/// At the end, restores the frame-buffer objects that were bound for drawing and for reading. The context must be
/// current.
class KeptBindings {
 public:
  explicit KeptBindings(const osg::GLExtensions& gl);
  KeptBindings(const KeptBindings&) = delete;
  KeptBindings& operator=(const KeptBindings&) = delete;
  ~KeptBindings();

 private:
  const osg::GLExtensions& _gl;
  GLint _draw = 0;
  GLint _read = 0;
};

/// Binds a frame-buffer object for reading, and at the end the default one. During its lifetime reads are tightly
/// packed and go to memory, or to the pixel-pack buffer that the caller binds meanwhile. The context must be current.
class SnapshotReader {
 public:
  SnapshotReader(const osg::State& state, const osg::GLExtensions& gl, const osg::FrameBufferObject& object);
  SnapshotReader(const SnapshotReader&) = delete;
  SnapshotReader& operator=(const SnapshotReader&) = delete;
  ~SnapshotReader();

  /// Whether the object can be read at all.
  bool isComplete() const;
  /// Fills the vectors of a prepared snapshot.
  void read(FrameSnapshot& snapshot) const;
  /// Starts to fill the bound pixel-pack buffer with them, one after the other.
  void startReading(FrameSnapshot& snapshot) const;

 private:
  const osg::State& _state;
  const osg::GLExtensions& _gl;
  const TightPackState _tight;
};

/// The bytes of all vectors of a snapshot.
std::size_t bytesOf(FrameSnapshot& snapshot);
/// Fills them from what `startReading` has read.
void copyBuffers(const unsigned char* from, FrameSnapshot& snapshot);

}  // namespace QuorOsgUtils
