// Without any display. Each test runs in its own process, since the first call fixes the answers.
#include "support/FilesFixture.h"
#include "support/NewProcess.h"
#include "support/NotifyRecorder.h"
#include "support/RecordedWindowing.h"

#include <QuorOsgUtils/GCTool.h>

#include <osg/DisplaySettings>
#include <osgViewer/GraphicsWindow>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <type_traits>

using QuorOsgUtils::GCTool;
using ::testing::Each;
using ::testing::IsEmpty;
using namespace QuorTests;

namespace {

constexpr const char* kNoDisplay = ":59999";
constexpr const char* kDisplayIsAlwaysThere = "the display does not depend on the environment on this system";

/// Runs the work in a process without a display.
template <typename Work>
void withoutDisplay(Work work) {
  workInANewProcess([&work] {
    setEnvironment("DISPLAY", kNoDisplay);
    work();
  });
}

/// Addresses differ from object to object.
std::string withoutAddress(const std::string& text) {
  const std::size_t start = std::min(text.find("0x"), text.size());
  const std::size_t end = std::min(text.find_first_not_of("0123456789abcdef", start + 2), text.size());
  return text.substr(0, start) + text.substr(end);
}

std::vector<std::string> textsOf(const NotifyRecorder& recorder, std::size_t from) {
  std::vector<std::string> texts;
  for (std::size_t i = from; i < recorder.entries().size(); ++i) {
    texts.push_back(withoutAddress(recorder.entries()[i].text));
  }
  return texts;
}

/// OSG's message when it is asked for such a context.
void askForTheSameContext() {
  const osg::ref_ptr<osg::GraphicsContext::Traits> traits =
      new osg::GraphicsContext::Traits(osg::DisplaySettings::instance().get());
  traits->readDISPLAY();
  traits->screenNum = std::max(traits->screenNum, 0);
  traits->width = 4096;
  traits->height = 4096;
  traits->pbuffer = true;
  const osg::ref_ptr<osg::GraphicsContext> none = osg::GraphicsContext::createGraphicsContext(traits);
  EXPECT_FALSE(none.valid());
}

using GCToolTest = FilesFixture;

}  // namespace

TEST_F(GCToolTest, withoutADisplayAllSixResultsAreEmptyTextsAndItIsTriedOnce) {
  if (!displayIsFoundByEnvironment()) {
    GTEST_SKIP() << kDisplayIsAlwaysThere;
  }
  withoutDisplay([] {
    const osg::ref_ptr<RecordedWindowing> windowing = RecordedWindowing::install();
    ASSERT_TRUE(windowing.valid());
    EXPECT_STREQ(GCTool::getGPUVendor(), "");
    EXPECT_EQ(windowing->asked().size(), 1U);
    EXPECT_THAT(answers(), Each(IsEmpty()));
    EXPECT_THAT(answers(), Each(IsEmpty()));
    EXPECT_EQ(windowing->asked().size(), 1U);
  });
}

TEST_F(GCToolTest, withoutAnyWindowingSystemAllSixResultsAreEmptyTexts) {
  withoutDisplay([] {
    osg::GraphicsContext::getWindowingSystemInterfaces()->getInterfaces().clear();
    EXPECT_THAT(answers(), Each(IsEmpty()));
  });
}

TEST_F(GCToolTest, aContextOfAnotherClassLeavesAllSixResultsEmptyAndIsNotRequestedAgain) {
  withoutDisplay([] {
    const osg::ref_ptr<RecordedWindowing> windowing = RecordedWindowing::install(
        [](RecordedWindowing::Traits* traits) { return new osgViewer::GraphicsWindowEmbedded(traits); });
    EXPECT_THAT(answers(), Each(IsEmpty()));
    EXPECT_THAT(answers(), Each(IsEmpty()));
    EXPECT_EQ(windowing->asked().size(), 1U);
  });
}

TEST_F(GCToolTest, withoutADisplayOnlyTheSceneGraphItselfPrintsMessages) {
  if (!displayIsFoundByEnvironment()) {
    GTEST_SKIP() << kDisplayIsAlwaysThere;
  }
  withoutDisplay([] {
    const NotifyRecorder recorder(osg::DEBUG_FP);
    askForTheSameContext();
    const std::vector<std::string> expected = textsOf(recorder, 0);
    answers();
    EXPECT_EQ(textsOf(recorder, expected.size()), expected);
  });
}

TEST_F(GCToolTest, withoutADisplayNothingGoesToTheStandardStreams) {
  const std::string written = path("written");
  withoutDisplay([&written] {
    const NotifyRecorder takesTheSceneGraphs(osg::DEBUG_FP);
    const StreamsInFile streams(written);
    answers();
  });
  ASSERT_TRUE(std::filesystem::exists(written));
  EXPECT_EQ(std::filesystem::file_size(written), 0U);
}

TEST_F(GCToolTest, requestsOneLargePixelBufferOnTheDisplayOfTheEnvironment) {
  struct Case {
    const char* display;
    const char* host;
    int number;
    int screen;
  };
  // The default display and the default screen are 0.
  for (const Case& each : {Case{nullptr, "", 0, 0}, Case{"", "", 0, 0}, Case{":7", "", 7, 0}, Case{":7.2", "", 7, 2},
                           Case{"far:3.1", "far", 3, 1}}) {
    workInANewProcess([&each] {
      setEnvironment("DISPLAY", each.display);
      const auto none = [](RecordedWindowing::Traits*) -> osg::GraphicsContext* { return nullptr; };
      const osg::ref_ptr<RecordedWindowing> windowing = RecordedWindowing::install(none);
      GCTool::getFragmentMaxUniform();
      EXPECT_EQ(windowing->asked().size(), 1U);
      const RecordedWindowing::Traits& traits = *windowing->asked().at(0);
      EXPECT_EQ(traits.hostName, each.host);
      EXPECT_EQ(traits.displayNum, each.number);
      EXPECT_EQ(traits.screenNum, each.screen);
      EXPECT_EQ(traits.width, 4096);
      EXPECT_EQ(traits.height, 4096);
      EXPECT_TRUE(traits.pbuffer);
    });
  }
}

TEST_F(GCToolTest, theContextFollowsTheApplicationsDisplaySettings) {
  withoutDisplay([] {
    osg::DisplaySettings::instance()->setGLContextVersion("3.3");
    const osg::ref_ptr<RecordedWindowing> windowing = RecordedWindowing::install();
    GCTool::getGPUVendor();
    EXPECT_EQ(windowing->asked().at(0)->glContextVersion, "3.3");
  });
}

TEST_F(GCToolTest, hasStaticMembersOnly) {
  static_assert(!std::is_default_constructible_v<GCTool>);
  static_assert(std::is_empty_v<GCTool>);
}
