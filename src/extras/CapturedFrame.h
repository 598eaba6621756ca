#pragma once

#include <osg/FrameBufferObject>
#include <osg/State>

namespace QuorOsgUtils {

/// A size in pixels.
struct PixelSize {
  int width = 0;
  int height = 0;

  bool operator==(const PixelSize& other) const { return width == other.width && height == other.height; }
};

/// Gives the frame new attachments of that size: depth and five colour attachments as the capture reads them.
void attachImages(osg::FrameBufferObject& frame, const PixelSize& size);

/// Clears every attachment of the bound frame as its own type, regardless of write masks and scissor. Leaves all writes
/// enabled and the scissor test off. The context must be current.
void clearImages(osg::State& state, const osg::Vec4& colour);

/// The frame-buffer object that the application's window is drawn into.
GLuint defaultFrameBuffer(const osg::State& state);

/// A frame-buffer object that stands for the default one: binds it when applied.
class DefaultFrame : public osg::FrameBufferObject {
 public:
  void apply(osg::State& state) const override;
  using osg::FrameBufferObject::apply;
};

}  // namespace QuorOsgUtils
