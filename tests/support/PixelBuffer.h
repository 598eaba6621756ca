#pragma once

#include <osg/GraphicsContext>
#include <osg/ref_ptr>

namespace QuorTests {

/// An off-screen context for the test, or null if none is available.
inline osg::ref_ptr<osg::GraphicsContext> newPixelBuffer(int width = 16, int height = 16) {
  osg::ref_ptr<osg::GraphicsContext::Traits> traits = new osg::GraphicsContext::Traits;
  traits->readDISPLAY();
  traits->setUndefinedScreenDetailsToDefaultScreen();
  traits->width = width;
  traits->height = height;
  traits->pbuffer = true;
  osg::ref_ptr<osg::GraphicsContext> context = osg::GraphicsContext::createGraphicsContext(traits);
  return context.valid() && context->valid() ? context : nullptr;
}

/// The same. The first context stays open to the end of the program and is never used: closing the last one would
/// unload the driver, whose memory a leak checker could then no longer tell from ours.
inline osg::ref_ptr<osg::GraphicsContext> pixelBuffer(int width = 16, int height = 16) {
  static const auto* const keepsDriverLoaded = new osg::ref_ptr<osg::GraphicsContext>(newPixelBuffer());
  return keepsDriverLoaded->valid() ? newPixelBuffer(width, height) : nullptr;
}

}  // namespace QuorTests
