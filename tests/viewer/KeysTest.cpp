#include "viewer/ui/Keys.h"

#include <gmock/gmock.h>

namespace {

using namespace QuorViewer;
using Event = osgGA::GUIEventAdapter;
using Key = Event::KeySymbol;
using testing::ElementsAre;
using testing::IsEmpty;

struct Actions : osgGA::GUIActionAdapter {
  void requestRedraw() override { ++redraws; }
  void requestContinuousUpdate(bool /*needed*/) override {}
  void requestWarpPointer(float /*x*/, float /*y*/) override {}
  int redraws = 0;
};

class KeysTest : public testing::Test {
 protected:
  void bind(std::vector<int> keys, const std::string& name, unsigned int modifiers = Modifier::kNone) {
    _bindings.push_back({std::move(keys), name, name, [this, name] { _done.push_back(name); }, modifiers});
  }

  struct Stroke {
    int key = 0;
    unsigned int held = 0;  // OSG's bits
    int unmodified = 0;
    unsigned int buttons = 0;
  };
  /// Presses a key, as the window would report it. True if a binding handled it.
  bool press(const Stroke& stroke) { return createHandler()->handle(*eventOf(stroke), _actions); }

  osg::ref_ptr<KeyHandler> createHandler() {
    return new KeyHandler(_bindings, [this] { _done.emplace_back("held"); });
  }
  static osg::ref_ptr<Event> eventOf(const Stroke& stroke, Event::EventType type = Event::KEYDOWN) {
    const osg::ref_ptr<Event> event = new Event;
    event->setEventType(type);
    event->setKey(stroke.key);
    event->setUnmodifiedKey(stroke.unmodified != 0 ? stroke.unmodified : stroke.key);
    event->setModKeyMask(stroke.held);
    event->setButtonMask(stroke.buttons);
    return event;
  }

  std::vector<KeyBinding> _bindings;
  std::vector<std::string> _done;
  Actions _actions;
};

TEST_F(KeysTest, aLetterActsInEitherCase) {
  bind({'p'}, "save");
  EXPECT_TRUE(press({'p'}));
  EXPECT_TRUE(press({'P', Event::MODKEY_CAPS_LOCK}));
  EXPECT_TRUE(press({'P', Event::MODKEY_LEFT_SHIFT}));
  EXPECT_THAT(_done, ElementsAre("save", "save", "save"));
  EXPECT_EQ(_actions.redraws, 3);
}

TEST_F(KeysTest, aKeyWithShiftCanDifferFromTheKeyAlone) {
  bind({'p', 'P'}, "plain");
  bind({'p'}, "shift", Modifier::kShift);
  press({'p'});
  press({'P', Event::MODKEY_RIGHT_SHIFT});
  press({'P', Event::MODKEY_CAPS_LOCK});
  press({'p', Event::MODKEY_CAPS_LOCK | Event::MODKEY_LEFT_SHIFT});
  EXPECT_THAT(_done, ElementsAre("plain", "shift", "plain", "shift"));
}

TEST_F(KeysTest, aCharacterTypedWithShiftNeedsNoModifier) {
  bind({'+', '='}, "larger");
  bind({'?'}, "help");
  EXPECT_TRUE(press({'+', Event::MODKEY_LEFT_SHIFT, '='}));
  EXPECT_TRUE(press({'?', Event::MODKEY_LEFT_SHIFT, '/'}));
  EXPECT_THAT(_done, ElementsAre("larger", "help"));
}

TEST_F(KeysTest, controlAndAltAreRequiredExactly) {
  bind({'q'}, "quit", Modifier::kControl);
  bind({Key::KEY_Left}, "back", Modifier::kAlt);
  constexpr int kControlQ = 0x11;  // what the window system makes of Q while Ctrl is held
  EXPECT_FALSE(press({'q'}));
  EXPECT_FALSE(press({'q', Event::MODKEY_LEFT_ALT}));
  EXPECT_FALSE(press({kControlQ, Event::MODKEY_LEFT_CTRL | Event::MODKEY_LEFT_ALT, 'q'}));
  EXPECT_FALSE(press({Key::KEY_Left}));
  EXPECT_THAT(_done, IsEmpty());
  EXPECT_TRUE(press({kControlQ, Event::MODKEY_LEFT_CTRL, 'q'}));
  EXPECT_TRUE(press({kControlQ, Event::MODKEY_RIGHT_CTRL, 'Q'}));
  EXPECT_TRUE(press({Key::KEY_Left, Event::MODKEY_RIGHT_ALT}));
  EXPECT_THAT(_done, ElementsAre("quit", "quit", "back"));
}

TEST_F(KeysTest, aPlainBindingIgnoresControlAndAlt) {
  bind({'b'}, "box");
  EXPECT_FALSE(press({'b', Event::MODKEY_LEFT_ALT}));
  EXPECT_FALSE(press({0x02, Event::MODKEY_LEFT_CTRL, 'b'}));
  EXPECT_THAT(_done, IsEmpty());
  EXPECT_EQ(_actions.redraws, 0);
}

TEST_F(KeysTest, whileAMouseButtonIsHeldOnlyActionsForDragsRun) {
  bind({'b'}, "box");
  bind({Key::KEY_Escape}, "cancel");
  _bindings.back().actsDuringDrag = true;
  EXPECT_TRUE(press({'b', 0, 0, Event::LEFT_MOUSE_BUTTON}));
  EXPECT_TRUE(press({Key::KEY_Escape, 0, 0, Event::LEFT_MOUSE_BUTTON}));
  EXPECT_THAT(_done, ElementsAre("held", "cancel"));
}

TEST_F(KeysTest, aKeyThatIsHeldRepeatsUnlessItActsOnce) {
  bind({'+'}, "larger");
  bind({Key::KEY_Escape}, "cancel");
  _bindings.back().actsOnce = true;
  const osg::ref_ptr<KeyHandler> handler = createHandler();
  for (const int key : {static_cast<int>('+'), static_cast<int>(Key::KEY_Escape)}) {
    for (int round = 0; round < 2; ++round) {
      EXPECT_TRUE(handler->handle(*eventOf({key}), _actions));
      EXPECT_TRUE(handler->handle(*eventOf({key}), _actions)) << "the repeat is handled, too";
      handler->handle(*eventOf({'x'}, Event::KEYUP), _actions);  // another key
      EXPECT_TRUE(handler->handle(*eventOf({key}), _actions));
      handler->handle(*eventOf({key}, Event::KEYUP), _actions);
    }
  }
  EXPECT_THAT(_done, ElementsAre("larger", "larger", "larger", "larger", "larger", "larger", "cancel", "cancel"));
}

TEST_F(KeysTest, aKeyThatActsOnceDoesNotActIfAnotherHandlerHasHandledItsPress) {
  bind({Key::KEY_Escape}, "cancel");
  _bindings.back().actsOnce = true;
  const osg::ref_ptr<KeyHandler> handler = createHandler();
  const osg::ref_ptr<Event> taken = eventOf({Key::KEY_Escape});
  taken->setHandled(true);
  handler->handle(*taken, _actions);
  EXPECT_TRUE(handler->handle(*eventOf({Key::KEY_Escape}), _actions));
  EXPECT_THAT(_done, IsEmpty());
}

TEST_F(KeysTest, spaceWithOtherModifiersDoesNothingAndReachesNoManipulator) {
  bind({' '}, "home");
  EXPECT_TRUE(press({' ', Event::MODKEY_LEFT_ALT}));
  EXPECT_TRUE(press({' ', Event::MODKEY_LEFT_CTRL}));
  EXPECT_THAT(_done, IsEmpty());
  EXPECT_TRUE(press({' '}));
  EXPECT_THAT(_done, ElementsAre("home"));
}

}  // namespace
