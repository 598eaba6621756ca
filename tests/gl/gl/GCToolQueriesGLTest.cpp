// The queries sent to the driver, and their order. This program answers in place of the driver: its own two functions
// take precedence over the driver's when the library's calls are resolved.
#include "support/IdlePixelBuffer.h"
#include "support/NewProcess.h"
#include "support/PixelBuffer.h"
#include "support/RecordedWindowing.h"

#include <osg/GL>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using ::testing::ElementsAre;
using namespace QuorTests;

namespace {

constexpr GLenum kVendor = 0x1F00;
constexpr GLenum kRenderer = 0x1F01;
constexpr GLenum kExtensions = 0x1F03;
constexpr GLenum kShadingLanguageVersion = 0x8B8C;
constexpr GLenum kMaxVertexUniformComponents = 0x8B4A;
constexpr GLenum kMaxFragmentUniformComponents = 0x8B49;

std::vector<GLenum>& asked() {
  static std::vector<GLenum> list;
  return list;
}

const char* textOf(GLenum name) {
  switch (name) {
    case kVendor:
      return "a vendor";
    case kRenderer:
      return "";
    case kShadingLanguageVersion:
      return "4.60 of somebody's";
    case kExtensions:
      return "GL_one GL_two  GL_three ";
    default:
      return nullptr;
  }
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) const GLubyte* glGetString(GLenum name) {
  asked().push_back(name);
  return reinterpret_cast<const GLubyte*>(textOf(name));
}

__attribute__((visibility("default"))) void glGetIntegerv(GLenum name, GLint* value) {
  asked().push_back(name);
  if (*value != 0) {
    *value = 7;
  }
  if (name == kMaxVertexUniformComponents) {
    *value = 2147483647;
  }
  if (name == kMaxFragmentUniformComponents) {
    *value = -12;
  }
}
}

TEST(GCToolQueriesGLTest, theSixQueriesAreSentInOrderAndTheirResultsKeptUnchanged) {
  workInANewProcess([] {
    ASSERT_TRUE(pixelBuffer().valid()) << "no off-screen context; is there a display?";
    std::vector<std::string> calls;
    const osg::ref_ptr<RecordedWindowing> windowing = RecordedWindowing::install(
        [&calls](RecordedWindowing::Traits* traits) { return newIdlePixelBuffer(traits, calls); });
    ASSERT_TRUE(windowing.valid());
    asked().clear();
    EXPECT_THAT(answers(),
                ElementsAre("a vendor", "", "4.60 of somebody's", "GL_one GL_two  GL_three ", "2147483647", "-12"));
    EXPECT_THAT(asked(), ElementsAre(kVendor, kRenderer, kShadingLanguageVersion, kExtensions,
                                     kMaxVertexUniformComponents, kMaxFragmentUniformComponents));
    EXPECT_THAT(calls, ElementsAre("realize", "make current", "close"));
  });
}
