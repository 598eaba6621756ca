#include "tests/scan/ScanBytes.h"
#include "viewer/ui/Messages.h"

#include <osg/NodeVisitor>
#include <osgText/Text>

#include <gmock/gmock.h>

#include <chrono>
#include <filesystem>
#include <string>

namespace {

using namespace QuorViewer;
using namespace std::chrono_literals;
using testing::Contains;
using testing::Not;

class MessagesTest : public testing::Test {
 protected:
  // The log is written into the working folder.
  void SetUp() override {
    std::filesystem::current_path(_folder.path("."));
    _hud.resize(1280, 720);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
  }
  void TearDown() override {
    testing::internal::GetCapturedStdout();
    testing::internal::GetCapturedStderr();
    std::filesystem::current_path(std::filesystem::temp_directory_path());
  }

  /// The texts of the overlay, among them the message.
  std::vector<std::string> texts() {
    struct Collect : osg::NodeVisitor {
      Collect() : osg::NodeVisitor(TRAVERSE_ACTIVE_CHILDREN) {}
      void apply(osg::Drawable& drawable) override {
        if (const auto* text = dynamic_cast<const osgText::Text*>(&drawable)) {
          found.push_back(text->getText().createUTF8EncodedString());
        }
      }
      std::vector<std::string> found;
    } collect;
    _hud.node()->accept(collect);
    return collect.found;
  }

  static Messages::Clock::time_point in(std::chrono::seconds time) { return Messages::Clock::now() + time; }

  ScanBytes::Folder _folder;
  Hud _hud{{}};
  Messages _messages{_hud};
};

TEST_F(MessagesTest, aNoticeDisappearsAfterItsTimeAndNotBefore) {
  _messages.show("notice");
  EXPECT_FALSE(_messages.expire(in(Messages::kNoticeDuration - 1s)));
  EXPECT_THAT(texts(), Contains("notice"));
  EXPECT_TRUE(_messages.expire(in(Messages::kNoticeDuration + 1s)));
  EXPECT_THAT(texts(), Not(Contains("notice")));
  EXPECT_FALSE(_messages.expire(in(Messages::kNoticeDuration + 2s)));
}

TEST_F(MessagesTest, resultsAndErrorsStayUntilTheNextAction) {
  for (const bool error : {false, true}) {
    error ? _messages.reportError("outcome") : _messages.showResult("outcome");
    EXPECT_FALSE(_messages.expire(in(24h)));
    EXPECT_THAT(texts(), Contains("outcome"));
    _messages.beginAction();
    EXPECT_THAT(texts(), Not(Contains("outcome")));
  }
}

TEST_F(MessagesTest, aResultAfterANoticeIsNotRemovedAtTheNoticesTime) {
  _messages.show("notice");
  _messages.showResult("outcome");
  EXPECT_FALSE(_messages.expire(in(24h)));
  EXPECT_THAT(texts(), Contains("outcome"));
}

TEST_F(MessagesTest, aStandingMessageReturnsAfterANotice) {
  _messages.setStanding(Standing::Pick, "pick");
  _messages.show("notice");
  EXPECT_THAT(texts(), Contains("notice"));
  EXPECT_THAT(texts(), Not(Contains("pick")));
  _messages.expire(in(24h));
  EXPECT_THAT(texts(), Contains("pick"));
  _messages.clearStanding(Standing::Pick);
  EXPECT_THAT(texts(), Not(Contains("pick")));
}

TEST_F(MessagesTest, theMostImportantStandingMessageIsShown) {
  _messages.setStanding(Standing::Hint, "hint");
  _messages.setStanding(Standing::Saving, "saving");
  _messages.setStanding(Standing::Loading, "loading");
  _messages.setStanding(Standing::Pick, "pick");
  EXPECT_THAT(texts(), Contains("loading"));
  _messages.clearStanding(Standing::Loading);
  EXPECT_THAT(texts(), Contains("saving"));
  _messages.clearStanding(Standing::Saving);
  EXPECT_THAT(texts(), Contains("pick"));
  _messages.clearStanding(Standing::Pick);
  EXPECT_THAT(texts(), Contains("hint"));
}

TEST_F(MessagesTest, anActionRemovesTheHintAndKeepsThePick) {
  _messages.setStanding(Standing::Hint, "hint");
  _messages.setStanding(Standing::Pick, "pick");
  _messages.beginAction();
  EXPECT_THAT(texts(), Contains("pick"));
  _messages.clearStanding(Standing::Pick);
  EXPECT_THAT(texts(), Not(Contains("hint")));
}

TEST_F(MessagesTest, anActionRemovesAnErrorAndTheHintBelowItAtOnce) {
  Messages verbose(_hud, true);
  verbose.setStanding(Standing::Hint, "hint");
  verbose.reportError("outcome");
  verbose.beginAction();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "message hint\nmessage outcome\nmessage\n");
  testing::internal::CaptureStdout();
}

TEST_F(MessagesTest, aPromptHidesMessagesUntilItIsRemoved) {
  _hud.setPrompt("path: _");
  _messages.reportError("outcome");
  EXPECT_THAT(texts(), Contains("path: _"));
  EXPECT_THAT(texts(), Not(Contains("outcome")));
  _hud.setPrompt("");
  EXPECT_THAT(texts(), Contains("outcome"));
}

TEST_F(MessagesTest, aQuestionIsVisibleWhileAPromptIsOpen) {
  _hud.setPrompt("path: _");
  _messages.ask("Quit?");
  EXPECT_THAT(texts(), Contains("Quit?"));
  _messages.beginAction();
  EXPECT_THAT(texts(), Contains("path: _"));
}

TEST_F(MessagesTest, progressIsNotPrinted) {
  Messages verbose(_hud, true);
  verbose.setStanding(Standing::Loading, "loading");
  verbose.setStanding(Standing::Saving, "saving");
  verbose.clearStanding(Standing::Loading);
  EXPECT_THAT(texts(), Contains("saving"));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  testing::internal::CaptureStdout();
}

}  // namespace
