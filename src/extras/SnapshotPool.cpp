#include "extras/SnapshotPool.h"

#include "extras/Deadline.h"

#include <algorithm>

namespace QuorOsgUtils {

osg::ref_ptr<FrameSnapshot> SnapshotPool::take() {
  const auto isFree = [](const osg::ref_ptr<FrameSnapshot>& snapshot) { return snapshot->referenceCount() == 1; };
  const auto free = std::find_if(_all.begin(), _all.end(), isFree);
  if (free == _all.end()) {
    return new FrameSnapshot;
  }
  osg::ref_ptr<FrameSnapshot> taken = *free;
  _all.erase(std::remove_if(_all.begin(), _all.end(), isFree), _all.end());  // more than one: readers were slow
  return taken;
}

void SnapshotPool::publish(const osg::ref_ptr<FrameSnapshot>& snapshot) {
  if (std::find(_all.begin(), _all.end(), snapshot) == _all.end()) {
    _all.push_back(snapshot);
  }
  osg::ref_ptr<const FrameSnapshot> previous = snapshot;
  {
    const std::lock_guard<std::mutex> held(_mutex);
    _latest.swap(previous);
  }
  _published.notify_all();
}

osg::ref_ptr<const FrameSnapshot> SnapshotPool::latest() const {
  const std::lock_guard<std::mutex> held(_mutex);
  return _latest;
}

osg::ref_ptr<const FrameSnapshot> SnapshotPool::waitForNext(const FrameSnapshot* seen,
                                                            std::chrono::milliseconds limit) const {
  std::unique_lock<std::mutex> held(_mutex);
  const bool isNext =
      _published.wait_until(held, deadlineAfter(limit), [&] { return _latest.valid() && _latest != seen; });
  return isNext ? _latest : nullptr;
}

}  // namespace QuorOsgUtils
