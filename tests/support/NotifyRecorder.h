#pragma once

#include <osg/Notify>
#include <osg/ref_ptr>

#include <string>
#include <vector>

namespace QuorTests {

/// Replaces OSG's notify handler during its lifetime and keeps what is written.
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
    // OSG also calls the handler with an empty text when the level changes.
    void notify(osg::NotifySeverity severity, const char* message) override {
      if (*message != '\0') {
        entries.push_back({severity, message});
      }
    }
    std::vector<Entry> entries;
  };

  osg::NotifySeverity _levelBefore;
  osg::ref_ptr<osg::NotifyHandler> _handlerBefore;
  osg::ref_ptr<Handler> _handler = new Handler;
};

}  // namespace QuorTests
