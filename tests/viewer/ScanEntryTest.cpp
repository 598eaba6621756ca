#include "viewer/session/ScanEntry.h"

#include <gmock/gmock.h>

namespace {

using namespace QuorViewer;
using Key = osgGA::GUIEventAdapter::KeySymbol;
using testing::ElementsAre;

class ScanEntryTest : public testing::Test {
 protected:
  bool send(osgGA::GUIEventAdapter::EventType type, int key) {
    const osg::ref_ptr<osgGA::GUIEventAdapter> event = new osgGA::GUIEventAdapter;
    event->setEventType(type);
    event->setKey(key);
    return _entry->handle(*event, _actions);
  }
  bool press(int key) { return send(osgGA::GUIEventAdapter::KEYDOWN, key); }
  void type(const std::string& text) {
    for (const char c : text) {
      EXPECT_TRUE(press(c));
    }
  }

  struct Actions : osgGA::GUIActionAdapter {
    void requestRedraw() override { ++redraws; }
    void requestContinuousUpdate(bool /*needed*/) override {}
    void requestWarpPointer(float /*x*/, float /*y*/) override {}
    int redraws = 0;
  };

  Actions _actions;
  Hud _hud{{}};
  std::vector<std::string> _entered;
  osg::ref_ptr<ScanEntry> _entry = new ScanEntry(_hud, [this](const std::string& path) { _entered.push_back(path); });
};

TEST_F(ScanEntryTest, keysAreNotHandledUntilItIsOpened) {
  EXPECT_FALSE(press('x'));
  EXPECT_FALSE(press(Key::KEY_Return));
  EXPECT_THAT(_entered, ElementsAre());
}

TEST_F(ScanEntryTest, returnEntersTheTextAndKeysAreNoLongerHandled) {
  _entry->open();
  EXPECT_TRUE(_entry->isOpen());
  type("/Scans/my town_2.las");
  EXPECT_TRUE(press(Key::KEY_Return));
  EXPECT_THAT(_entered, ElementsAre("/Scans/my town_2.las"));
  EXPECT_FALSE(_entry->isOpen());
  EXPECT_FALSE(press('x'));
  EXPECT_EQ(_actions.redraws, 21);
}

TEST_F(ScanEntryTest, backspaceErasesACharacterOfAnyLength) {
  _entry->open();
  type("a");
  press(0xE9);  // é
  press('b');
  press(Key::KEY_BackSpace);
  press(Key::KEY_BackSpace);
  press(0xFC);  // ü
  press(Key::KEY_KP_Enter);
  EXPECT_THAT(_entered, ElementsAre("a\xC3\xBC"));
}

TEST_F(ScanEntryTest, charactersBeyondLatinAreTakenByTheirX11KeyCodes) {
  struct Character {
    int key;
    std::string utf8;
  };
  constexpr int kUnicode = 0x1000000;
  // The Cyrillic range has the order of KOI8-R; its first columns hold the letters of other languages.
  const std::vector<Character> characters = {{0x6C1, "а"},
                                             {0x6DF, "ъ"},
                                             {0x6E1, "А"},
                                             {0x6FF, "Ъ"},
                                             {0x6C0, "ю"},
                                             {0x6D1, "я"},
                                             {0x6A3, "ё"},
                                             {0x6B3, "Ё"},
                                             {0x6A6, "і"},
                                             {0x6AD, "ґ"},
                                             {0x6B0, "№"},
                                             {0x6BF, "Џ"},
                                             {kUnicode + 0x11F, "ğ"},
                                             {kUnicode + 0x70B9, "点"},
                                             {kUnicode + 0x1F600, "😀"}};
  for (const auto& [key, utf8] : characters) {
    _entered.clear();
    _entry->open();
    press(key);
    press(Key::KEY_Return);
    EXPECT_THAT(_entered, ElementsAre(utf8)) << key;
  }
}

TEST_F(ScanEntryTest, returnWithAnEmptyPathClosesTheEntry) {
  _entry->open();
  press('a');
  press(Key::KEY_BackSpace);
  press(Key::KEY_BackSpace);
  press(Key::KEY_Return);
  EXPECT_THAT(_entered, ElementsAre());
  EXPECT_FALSE(_entry->isOpen());
}

TEST_F(ScanEntryTest, escapeClosesTheEntryWithoutEnteringThePath) {
  _entry->open();
  type("town.las");
  EXPECT_TRUE(press(Key::KEY_Escape));
  EXPECT_FALSE(_entry->isOpen());
  EXPECT_FALSE(press(Key::KEY_Return));
  EXPECT_THAT(_entered, ElementsAre());
}

TEST_F(ScanEntryTest, nonCharacterKeysAddNothingButAreHandled) {
  _entry->open();
  for (const int key : {static_cast<int>(Key::KEY_Left), static_cast<int>(Key::KEY_F1),
                        static_cast<int>(Key::KEY_Shift_L), static_cast<int>(Key::KEY_Home)}) {
    EXPECT_TRUE(press(key));
  }
  type("a");
  press(Key::KEY_Return);
  EXPECT_THAT(_entered, ElementsAre("a"));
}

TEST_F(ScanEntryTest, otherEventsAreNotHandled) {
  _entry->open();
  EXPECT_FALSE(send(osgGA::GUIEventAdapter::KEYUP, 'x'));
  EXPECT_FALSE(send(osgGA::GUIEventAdapter::PUSH, 0));
}

TEST_F(ScanEntryTest, eachOpeningStartsWithAnEmptyPath) {
  _entry->open();
  type("old");
  _entry->open();
  type("new");
  press(Key::KEY_Return);
  EXPECT_THAT(_entered, ElementsAre("new"));
}

}  // namespace
