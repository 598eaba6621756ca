#pragma once

#include <osg/GraphicsContext>

#include <string>
#include <vector>

namespace QuorTests {

/// A context of the platform's off-screen class that records the calls and never becomes realized or current, so that
/// the driver answers nothing.
osg::GraphicsContext* newIdlePixelBuffer(osg::GraphicsContext::Traits* traits, std::vector<std::string>& calls);

}  // namespace QuorTests
