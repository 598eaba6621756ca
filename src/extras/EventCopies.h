#pragma once

#include <osg/ref_ptr>
#include <osgGA/GUIEventAdapter>

#include <vector>

namespace QuorOsgUtils {

/// Copies of events. One that nothing else refers to any more is used again, so that a drag allocates nothing.
class EventCopies {
 public:
  /// What the copy constructor copies: everything except the pointer data.
  osg::ref_ptr<osgGA::GUIEventAdapter> copyOf(const osgGA::GUIEventAdapter& event);

 private:
  std::vector<osg::ref_ptr<osgGA::GUIEventAdapter>> _copies;  // few: manipulators keep the latest two
};

}  // namespace QuorOsgUtils
