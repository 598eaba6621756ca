#include <QuorOsgUtils/ScreenCaptureTool.h>

namespace QuorOsgUtils {

ScreenCaptureTool::FrameBuffer::FrameBuffer() = default;

ScreenCaptureTool::FrameBuffer::~FrameBuffer() = default;

void ScreenCaptureTool::FrameBuffer::release() {
  unlock();
}

const std::vector<float>& ScreenCaptureTool::FrameBuffer::getDepthBuffer() {
  return _depthBuffer;
}

const std::vector<unsigned int>& ScreenCaptureTool::FrameBuffer::getItemIDBuffer() {
  return _itemIDBuffer;
}

const std::vector<float>& ScreenCaptureTool::FrameBuffer::getItemFloatBuffer() {
  return _itemFloatBuffer;
}

const std::vector<float>& ScreenCaptureTool::FrameBuffer::getPCFloatBuffer() {
  return _pcFloatBuffer;
}

const std::vector<int>& ScreenCaptureTool::FrameBuffer::getPCUIntBuffer() {
  return _pcUIntBuffer;
}

const osg::Matrixd& ScreenCaptureTool::FrameBuffer::getViewMatrix() {
  return _viewMatrix;
}

const osg::Matrixd& ScreenCaptureTool::FrameBuffer::getProjectionMatrix() {
  return _projectionMatrix;
}

void ScreenCaptureTool::FrameBuffer::getMinAndMaxDepth(float& minDepth, float& maxDepth) const {
  minDepth = _minDepth;
  maxDepth = _maxDepth;
}

void ScreenCaptureTool::FrameBuffer::getViewPort(int& x, int& y, int& width, int& height) const {
  x = _viewportX;
  y = _viewportY;
  width = _viewportWidth;
  height = _viewportHeight;
}

unsigned int ScreenCaptureTool::FrameBuffer::getFrameStamp() {
  return _frameStamp;
}

}  // namespace QuorOsgUtils
