#pragma once

#include <osg/ColorMaski>

namespace QuorOsgUtils {

/// Keeps what is drawn out of one attachment of the frame buffer. OSG restores an attribute by a default that it makes
/// with `cloneType`; that of `osg::ColorMaski` would unmask attachment 0 instead of this one.
class AttachmentMask : public osg::ColorMaski {
 public:
  explicit AttachmentMask(unsigned int attachment) : osg::ColorMaski(attachment, false, false, false, false) {}
  osg::Object* cloneType() const override { return new osg::ColorMaski(getIndex(), true, true, true, true); }
};

}  // namespace QuorOsgUtils
