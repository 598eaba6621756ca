// Each test runs in its own process, since the first call fixes the answers. This process itself must not use GL: a
// driver does not survive a fork.
#include "support/FilesFixture.h"
#include "support/IdlePixelBuffer.h"
#include "support/NewProcess.h"
#include "support/OnThreads.h"
#include "support/PixelBuffer.h"
#include "support/RecordedWindowing.h"

#include <QuorOsgUtils/GCTool.h>

#include <osg/GL>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

using QuorOsgUtils::GCTool;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using namespace QuorTests;

namespace {

/// Runs the work in a new process that keeps a driver loaded, see `pixelBuffer`.
template <typename Work>
void besideADriver(Work work) {
  workInANewProcess([&work] {
    ASSERT_TRUE(pixelBuffer().valid()) << "no off-screen context; is there a display?";
    work();
  });
}

std::string textOf(GLenum name) {
  const GLubyte* const text = glGetString(name);
  return text == nullptr ? "no text" : reinterpret_cast<const char*>(text);
}

std::string numberOf(GLenum name) {
  GLint number = -1;
  glGetIntegerv(name, &number);
  return std::to_string(number);
}

/// The driver's answers to a context created by the test.
Six askDriver(osg::GraphicsContext& context) {
  context.realize();
  EXPECT_TRUE(context.makeCurrent());
  Six six = {textOf(0x1F00), textOf(0x1F01), textOf(0x8B8C), textOf(0x1F03), numberOf(0x8B4A), numberOf(0x8B49)};
  context.releaseContext();
  return six;
}

Six expectedAnswers() {
  const osg::ref_ptr<osg::GraphicsContext> context = pixelBuffer();
  Six six = askDriver(*context);
  context->close();
  return six;
}

}  // namespace

TEST(GCToolGLTest, allSixResultsEqualThoseOfAnotherContext) {
  besideADriver([] {
    const Six expected = expectedAnswers();
    EXPECT_THAT(expected, Each(Not(IsEmpty())));
    EXPECT_EQ(answers(), expected);
  });
}

TEST(GCToolGLTest, theResultsDoNotDependOnTheOrderOfTheQueries) {
  for (std::size_t place = 0; place < kGetters.size(); ++place) {
    besideADriver([place] {
      const std::string first = kGetters[place]();
      const Six expected = expectedAnswers();
      EXPECT_EQ(first, expected[place]);
      EXPECT_EQ(answers(), expected);
    });
  }
}

TEST(GCToolGLTest, queryingTheExtensionsFirstProbesEverythingWithOneContext) {
  besideADriver([] {
    const osg::ref_ptr<RecordedWindowing> windowing = RecordedWindowing::install();
    EXPECT_STRNE(GCTool::getGPUExt(), "");
    EXPECT_EQ(windowing->asked().size(), 1U);
    EXPECT_THAT(answers(), Each(Not(IsEmpty())));
    EXPECT_EQ(windowing->asked().size(), 1U);
  });
}

TEST(GCToolGLTest, theTextPointersNeverChange) {
  besideADriver([] {
    std::array<const char*, kGetters.size()> first{};
    std::transform(kGetters.begin(), kGetters.end(), first.begin(), [](const auto getter) { return getter(); });
    for (std::size_t i = 0; i < first.size(); ++i) {
      EXPECT_EQ(kGetters[i](), first[i]);
    }
  });
}

TEST(GCToolGLTest, afterTheFirstCallAnyThreadMayQuery) {
  besideADriver([] {
    const Six expected = answers();
    std::array<Six, 4> seen;
    onThreads(seen.size(), [&seen](std::size_t i) {
      for (int k = 0; k < 1000; ++k) {
        seen[i] = answers();
      }
    });
    EXPECT_THAT(seen, Each(expected));
  });
}

TEST(GCToolGLTest, aDisplayThatComesLaterIsNotTried) {
  if (!displayIsFoundByEnvironment()) {
    GTEST_SKIP() << "the display does not depend on the environment on this system";
  }
  besideADriver([] {
    const std::string display = std::getenv("DISPLAY");
    setEnvironment("DISPLAY", ":59999");
    EXPECT_STREQ(GCTool::getGPUVendor(), "");
    setEnvironment("DISPLAY", display.c_str());
    EXPECT_THAT(expectedAnswers(), Each(Not(IsEmpty())));
    EXPECT_THAT(answers(), Each(IsEmpty()));
  });
}

TEST(GCToolGLTest, aRefusedTextIsEmptyAndAnUnknownLimitIsZero) {
  besideADriver([] {
    std::vector<std::string> calls;
    const osg::ref_ptr<RecordedWindowing> windowing = RecordedWindowing::install(
        [&calls](RecordedWindowing::Traits* traits) { return newIdlePixelBuffer(traits, calls); });
    EXPECT_THAT(answers(), ElementsAre("", "", "", "", "0", "0"));
    EXPECT_THAT(calls, ElementsAre("realize", "make current", "close"));
  });
}

TEST(GCToolGLTest, theProbeLeavesNoDescriptorThreadOrContext) {
  besideADriver([] {
    // This first context of that size makes the driver allocate what it keeps, before the counts are taken.
    const Six expected = expectedAnswers();
    const std::size_t descriptors = countOfHandles();
    const std::size_t threads = countOfThreads();
    const std::size_t contexts = osg::GraphicsContext::getAllRegisteredGraphicsContexts().size();
    const unsigned int maxContextID = osg::GraphicsContext::getMaxContextID();
    EXPECT_EQ(answers(), expected);
    EXPECT_EQ(countOfHandles(), descriptors);
    EXPECT_EQ(countOfThreads(), threads);
    EXPECT_EQ(osg::GraphicsContext::getAllRegisteredGraphicsContexts().size(), contexts);
    EXPECT_EQ(osg::GraphicsContext::getMaxContextID(), maxContextID);
  });
}

TEST(GCToolGLTest, aContextThatWasCurrentCanBeMadeCurrentAgainAndDraws) {
  besideADriver([] {
    const osg::ref_ptr<osg::GraphicsContext> context = pixelBuffer();
    context->realize();
    ASSERT_TRUE(context->makeCurrent());
    EXPECT_STRNE(GCTool::getGPURender(), "");
    ASSERT_TRUE(context->makeCurrent());
    glClearColor(0.0f, 1.0f, 0.0f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    std::array<unsigned char, 4> pixel{};
    glReadPixels(3, 3, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, pixel.data());
    EXPECT_EQ(pixel[0], 0);
    EXPECT_EQ(pixel[1], 255);
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
    context->close();
  });
}

TEST(GCToolGLTest, contextsCanBeMadeAndUsedAfterTheProbeOnItsThreadAndOnOthers) {
  besideADriver([] {
    const Six six = answers();
    EXPECT_EQ(expectedAnswers(), six);
    onThreads(1, [&six](std::size_t) { EXPECT_EQ(expectedAnswers(), six); });
  });
}

TEST(GCToolGLTest, theProbeMayBeTheFirstUseOfTheDriver) {
  expectInANewProcess([]() -> bool {
    const Six first = answers();
    const bool agree = first == expectedAnswers() && !first[0].empty();
    // Skips the normal exit, where a leak checker could not tell an unloaded driver's memory from ours.
    std::_Exit(agree ? 0 : 1);
  });
}
