#pragma once

#include <QuorOsgUtils/FrameSnapshot.h>

#include <osg/ref_ptr>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <vector>

namespace QuorOsgUtils {

/// The snapshots of a tool: one thread fills and publishes them, any thread reads the latest one.
class SnapshotPool {
 public:
  /// A snapshot that nobody reads, with the vectors of its last use. The filling thread only.
  osg::ref_ptr<FrameSnapshot> take();
  /// Makes a filled snapshot the latest one. The filling thread only.
  void publish(const osg::ref_ptr<FrameSnapshot>& snapshot);

  osg::ref_ptr<const FrameSnapshot> latest() const;
  /// Null after the time.
  osg::ref_ptr<const FrameSnapshot> waitForNext(const FrameSnapshot* seen, std::chrono::milliseconds limit) const;

 private:
  // Of the filling thread. A reader can reach a snapshot only through the latest one, so that one to which only this
  // list refers stays unread until it is published again.
  std::vector<osg::ref_ptr<FrameSnapshot>> _all;
  mutable std::mutex _mutex;
  mutable std::condition_variable _published;
  osg::ref_ptr<const FrameSnapshot> _latest;
};

}  // namespace QuorOsgUtils
