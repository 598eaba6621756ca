#include "viewer/ui/Hud.h"

#include <osg/NodeVisitor>
#include <osg/Transform>
#include <osgText/Text>

#include <gmock/gmock.h>

#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace QuorViewer;

using testing::HasSubstr;

struct ShownText {
  std::string utf8;
  osg::BoundingBox box;  // pixels, from the window's bottom left
};

/// All texts that are shown, line by line.
class TextVisitor : public osg::NodeVisitor {
 public:
  TextVisitor() : osg::NodeVisitor(TRAVERSE_ACTIVE_CHILDREN) {}
  void apply(osg::Drawable& drawable) override {
    const auto* const text = dynamic_cast<const osgText::Text*>(&drawable);
    if (text == nullptr || !text->getBoundingBox().valid()) {
      return;
    }
    std::istringstream lines(text->getText().createUTF8EncodedString());
    const float pitch = text->getCharacterHeight() * (1.0f + text->getLineSpacing());
    osg::Vec3 place = text->getPosition() * osg::computeLocalToWorld(getNodePath());
    for (std::string words; std::getline(lines, words); place.y() -= pitch) {
      _addLine(*text, words, place);
    }
  }
  std::vector<ShownText> texts;

 private:
  void _addLine(const osgText::Text& like, const std::string& words, const osg::Vec3& place) {
    const osg::ref_ptr<osgText::Text> line = new osgText::Text(like);
    line->setText(words, osgText::String::ENCODING_UTF8);
    line->setPosition(place);
    if (line->getBoundingBox().valid()) {
      texts.push_back({words, line->getBoundingBox()});
    }
  }
};

std::vector<ShownText> textsIn(osg::Node& node) {
  TextVisitor visitor;
  node.accept(visitor);
  return visitor.texts;
}

HelpRows rowsOf(int count) {
  HelpRows rows;
  for (int row = 0; row < count; ++row) {
    if (row % 8 == 0) {
      rows.emplace_back("Group " + std::to_string(row / 8), "");
    }
    const std::string number = std::to_string(100 + row);
    rows.emplace_back("Ctrl+F" + number, "the longest effect of a key at present has about sixty characters " + number);
  }
  return rows;
}

std::string longError() {
  std::string path;
  while (path.size() < 191) {
    path += "/folder_" + std::to_string(path.size());
  }
  return path + "/town.laz: the file was truncated while it was being read, at byte 20,000,007";
}

class HudTest : public testing::Test {
 protected:
  void show(const std::string& message, const std::string& note) {
    _hud.setMessage(message);
    _hud.setSummary(
        "500,000,000 points, every 12th   \u00B7   Classification   \u00B7   Perspective   \u00B7   Orbit: "
        "middle of view");
    _hud.setResources("Software rendering, llvmpipe   \u00B7   3,110 MiB memory   \u00B7   1,234 MiB graphics buffers");
    _hud.setNote(note);
  }

  std::vector<ShownText> texts() { return textsIn(*_hud.node()); }

  void expectAllInside(int width, int height) {
    for (const ShownText& text : texts()) {
      EXPECT_GE(text.box.xMin(), 0.0f) << text.utf8;
      EXPECT_GE(text.box.yMin(), 0.0f) << text.utf8;
      EXPECT_LE(text.box.xMax(), static_cast<float>(width)) << text.utf8;
      EXPECT_LE(text.box.yMax(), static_cast<float>(height)) << text.utf8;
    }
  }

  static void expectApart(const std::vector<ShownText>& some, const std::vector<ShownText>& others) {
    for (const ShownText& a : some) {
      for (const ShownText& b : others) {
        if (&a != &b) {
          const bool apart = a.box.xMax() <= b.box.xMin() || b.box.xMax() <= a.box.xMin() ||
                             a.box.yMax() <= b.box.yMin() || b.box.yMax() <= a.box.yMin();
          EXPECT_TRUE(apart) << a.utf8 << " / " << b.utf8;
        }
      }
    }
  }

  Hud _hud{rowsOf(40)};
};

const std::string kNote =
    "Box  370.74 \u00D7 344.38 \u00D7 87.19      centre  2230921.68   252240.44   39.75      "
    "rotated 123.4\u00B0 about (0.58, 0.58, 0.58)";

TEST_F(HudTest, textsNeitherOverlapNorLeaveTheWindow) {
  const std::vector<unsigned int> classes = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18};
  for (const int width : {600, 640, 800, 1024, 1280, 1920, 2560, 4000}) {
    for (const int height : {300, 720, 1440}) {
      for (const auto& message : {std::string("Short"), longError()}) {
        for (const auto& note : {std::string(), kNote}) {
          for (const bool ramp : {true, false}) {
            SCOPED_TRACE(testing::Message() << width << "x" << height << " " << message.size() << " " << note.size());
            ramp ? _hud.legend().showRamp(ColourMode::Elevation, "-1234.5", "1234.5")
                 : _hud.legend().showClasses(classes);
            show(message, note);
            _hud.resize(width, height);
            expectAllInside(width, height);
            const std::vector<ShownText> all = texts();
            expectApart(all, all);
          }
        }
      }
    }
  }
}

TEST_F(HudTest, whatMattersInALongMessageStaysReadable) {
  show(longError(), "");
  for (const auto& [width, height] : {std::pair{600, 300}, std::pair{1280, 720}, std::pair{4000, 1440}}) {
    _hud.resize(width, height);
    std::string all;
    for (const ShownText& text : texts()) {
      all += text.utf8;
    }
    EXPECT_THAT(all, HasSubstr("/folder_0/"));
    EXPECT_THAT(all, HasSubstr("/town.laz:"));
    EXPECT_THAT(all, HasSubstr("at byte 20,000,007"));
  }
}

TEST_F(HudTest, aMessageThatFitsIsShownAsItIs) {
  show(longError(), "");
  _hud.resize(4000, 1440);
  bool found = false;
  for (const ShownText& text : texts()) {
    found = found || text.utf8 == longError();
  }
  EXPECT_TRUE(found);
}

TEST_F(HudTest, everyClassIsListedOrCounted) {
  _hud.legend().showClasses({2, 3, 4, 5, 6, 7, 8, 9});
  show("Short", "");
  _hud.resize(600, 300);
  int named = 0, more = 0;
  for (const ShownText& text : textsIn(*_hud.legend().node())) {
    named += text.utf8.find("  ") != std::string::npos ? 1 : 0;
    std::istringstream(text.utf8.rfind("and ", 0) == 0 ? text.utf8.substr(4) : std::string("0")) >> more;
    if (more > 0) {
      EXPECT_THAT(text.utf8, HasSubstr(" more classes"));
      break;
    }
  }
  EXPECT_GT(named, 0);
  EXPECT_EQ(named + more, 8);
}

class HudHelpTest : public HudTest {
 protected:
  void showHelpAt(int width, int height) {
    show("Short", kNote);
    _hud.resize(width, height);
    _hud.showHelp(true);
  }

  std::vector<ShownText> helpTexts() { return textsIn(*_hud.help().node()); }

  std::set<std::string> visibleLines() {
    std::set<std::string> lines;
    for (const ShownText& text : helpTexts()) {
      lines.insert(text.utf8);
    }
    return lines;
  }

  std::vector<ShownText> textsOutsideTheHelp() {
    const std::size_t ofHelp = helpTexts().size();
    std::vector<ShownText> all = texts();
    all.resize(all.size() - ofHelp);  // the help is drawn last
    return all;
  }
};

TEST_F(HudHelpTest, at1280By720FortyRowsAreVisibleWithoutScrolling) {
  showHelpAt(1280, 720);
  EXPECT_FALSE(_hud.help().canScroll());
  const std::set<std::string> lines = visibleLines();
  for (const auto& [input, effect] : rowsOf(40)) {
    EXPECT_EQ(lines.count(input), 1U) << input;
    EXPECT_TRUE(effect.empty() || lines.count(effect) == 1) << effect;
  }
}

TEST_F(HudHelpTest, theHelpStaysInsideAnyWindowAndAboveTheBar) {
  for (const auto& [width, height] : {std::pair{600, 300}, std::pair{600, 720}, std::pair{800, 600},
                                      std::pair{1280, 720}, std::pair{2560, 1440}, std::pair{4000, 300}}) {
    SCOPED_TRACE(testing::Message() << width << "x" << height);
    showHelpAt(width, height);
    expectAllInside(width, height);
    const std::vector<ShownText> all = texts();
    expectApart(all, all);
    EXPECT_THAT(visibleLines(), testing::Contains("Mouse and keys"));
  }
}

TEST_F(HudHelpTest, whereItDoesNotFitScrollingBringsEveryRowIntoView) {
  showHelpAt(600, 300);
  ASSERT_TRUE(_hud.help().canScroll());
  std::set<std::string> seen;
  for (int step = 0; step < 300; ++step) {
    const std::set<std::string> lines = visibleLines();
    seen.insert(lines.begin(), lines.end());
    _hud.help().scroll(1);
  }
  for (const auto& [input, effect] : rowsOf(40)) {
    EXPECT_EQ(seen.count(input), 1U) << input;
    const std::string number = effect.substr(effect.find_last_of(' ') + 1);
    bool found = effect.empty();
    for (const std::string& line : seen) {
      found = found ||
              (line.size() >= number.size() && line.compare(line.size() - number.size(), number.size(), number) == 0);
    }
    EXPECT_TRUE(found) << effect;
  }
  const std::set<std::string> last = visibleLines();
  _hud.help().scroll(1);
  EXPECT_EQ(visibleLines(), last);
  _hud.help().scroll(-1000);
  EXPECT_EQ(visibleLines().count("Ctrl+F100"), 1U);
}

TEST_F(HudHelpTest, theLegendIsHiddenWhileTheHelpIsShown) {
  _hud.legend().showRamp(ColourMode::Elevation, "0", "1");
  showHelpAt(1280, 720);
  EXPECT_EQ(textsOutsideTheHelp().size(), 3U);  // message, summary and resources
  _hud.showHelp(false);
  EXPECT_EQ(texts().size(), 7U);  // these, the note, and the legend's title and limits
}

}  // namespace
