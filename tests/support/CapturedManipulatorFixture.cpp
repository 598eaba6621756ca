#include "support/CapturedManipulatorFixture.h"

#include <osg/GLExtensions>

#include <cstddef>
#include <utility>

namespace QuorTests {

template <typename Manipulator>
CapturedNavigationFixture<Manipulator>::CapturedNavigationFixture()
    : CapturedNavigationFixture(
          std::make_unique<CaptureContext>(CapturedNavigationFixture::kWidth, CapturedNavigationFixture::kHeight)) {}

template <typename Manipulator>
CapturedNavigationFixture<Manipulator>::CapturedNavigationFixture(std::unique_ptr<CaptureContext> context)
    : NavigationFixture<Manipulator>(&context->viewer()), _context(std::move(context)) {
  this->_viewer->setCameraManipulator(this->_manipulator, false);
  _context->setPainter([this] {
    for (const Rectangle& rectangle : _rectangles) {
      FrameContent content;
      content.depth = rectangle.depth;
      _context->fill(rectangle.x, rectangle.y, rectangle.width, rectangle.height, content);
    }
  });
}

template <typename Manipulator>
void CapturedNavigationFixture<Manipulator>::SetUp() {
  ASSERT_TRUE(_context->valid()) << "no graphics context";
}

template <typename Manipulator>
void CapturedNavigationFixture<Manipulator>::paint(int x, int y, int width, int height, float depth) {
  _rectangles.push_back({x, y, width, height, depth});
}

template <typename Manipulator>
void CapturedNavigationFixture<Manipulator>::setBackgroundDepth(float depth) {
  FrameContent background;
  background.depth = depth;
  _context->setBackground(background);
}

template <typename Manipulator>
int CapturedNavigationFixture<Manipulator>::colouredPixels() {
  _context->makeCurrent();
  std::vector<unsigned char> pixels(static_cast<std::size_t>(this->kWidth) * this->kHeight * 4);
  _context->frameBufferObject().apply(_context->state());
  glReadBuffer(GL_COLOR_ATTACHMENT0_EXT);
  glReadPixels(0, 0, this->kWidth, this->kHeight, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
  _context->state().get<osg::GLExtensions>()->glBindFramebuffer(GL_FRAMEBUFFER_EXT, 0);
  int count = 0;
  for (std::size_t i = 0; i < pixels.size(); i += 4) {
    if (pixels[i] || pixels[i + 1] || pixels[i + 2]) {
      ++count;
    }
  }
  return count;
}

template class CapturedNavigationFixture<OpenManipulator>;
template class CapturedNavigationFixture<OpenPivotManipulator>;
template class CapturedNavigationFixture<OpenPreciseOrbit>;
template class CapturedNavigationFixture<OpenPrecisePivot>;

}  // namespace QuorTests
