#pragma once

#include "extras/SnapshotReader.h"

#include <QuorOsgUtils/FrameSnapshot.h>

#include <osg/BufferObject>
#include <osg/GLExtensions>
#include <osg/State>
#include <osg/ref_ptr>

#include <cstdint>
#include <optional>
#include <vector>

namespace QuorOsgUtils {

/// Reads that the GPU carries out while the next frames are drawn, each into a pixel buffer of its own.
class PixelBufferRing {
 public:
  /// Starts to read a prepared snapshot, which is due after `frames` more calls of `advance`. The context must be
  /// current.
  void start(const osg::State& state, const SnapshotReader& reader, const osg::ref_ptr<FrameSnapshot>& snapshot,
             int frames);
  /// To be called in every frame.
  void advance() { ++_now; }
  /// The oldest snapshot if it is due: filled, or null if it could not be read. Nothing if none is due. Waits for the
  /// GPU if it has not yet read it. The context must be current, and no pixel-pack buffer bound.
  std::optional<osg::ref_ptr<FrameSnapshot>> finishDue(const osg::State& state);
  /// Gives up the reads in progress.
  void cancel();
  /// Gives up everything. Expects that nothing is drawn.
  void release(osg::State* state);

  std::size_t size() const { return _started.size(); }

 private:
  struct Read {
    osg::ref_ptr<osg::PixelDataBufferObject> buffer;
    std::size_t bytes = 0;
    osg::ref_ptr<FrameSnapshot> snapshot;
    std::uint64_t due = 0;
  };

  Read _takeBuffer(std::size_t bytes);

  std::vector<Read> _started;  // oldest first; few
  std::vector<Read> _free;
  std::uint64_t _now = 0;
  unsigned int _contextId = 0;
};

}  // namespace QuorOsgUtils
