#pragma once

#include <osg/Notify>
#include <osg/ref_ptr>

#include <string>
#include <vector>

namespace QuorTests {

/// Takes the place of the scene graph's notifier while it lives and keeps what is written.
class NotifyRecorder {
 public:
  struct Entry {
    osg::NotifySeverity severity;
    std::string text;
  };

  explicit NotifyRecorder(osg::NotifySeverity level)
      : _levelBefore(osg::getNotifyLevel()), _handlerBefore(osg::getNotifyHandler()) {
    osg::setNotifyLevel(level);
    osg::setNotifyHandler(_handler);
  }
  NotifyRecorder(const NotifyRecorder&) = delete;
  NotifyRecorder& operator=(const NotifyRecorder&) = delete;
  ~NotifyRecorder() {
    osg::setNotifyHandler(_handlerBefore);
    osg::setNotifyLevel(_levelBefore);
  }

  const std::vector<Entry>& entries() const { return _handler->entries; }

 private:
  struct Handler : osg::NotifyHandler {
    // The notifier also calls with nothing, when its level changes.
    void notify(osg::NotifySeverity severity, const char* message) override {
      if (*message != '\0') entries.push_back({severity, message});
    }
    std::vector<Entry> entries;
  };

  osg::NotifySeverity _levelBefore;
  osg::ref_ptr<osg::NotifyHandler> _handlerBefore;
  osg::ref_ptr<Handler> _handler = new Handler;
};

}  // namespace QuorTests
