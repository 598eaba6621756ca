#pragma once

#include <string>
#include <vector>

namespace QuorTests {

/// Waits for a display that no other test uses and keeps a connection to the display until the program ends. A virtual
/// display resets whenever its last client leaves and refuses connections meanwhile, which would affect windows opened
/// one after the other. False if there is no display; waits for one that is just starting.
bool holdDisplay();

/// The keyboard has another layout ("ru", "fr") while this exists.
class KeyboardLayout {
 public:
  explicit KeyboardLayout(const std::string& name);
  KeyboardLayout(const KeyboardLayout&) = delete;
  KeyboardLayout& operator=(const KeyboardLayout&) = delete;
  ~KeyboardLayout();

  /// False if this system does not let a program change it.
  bool isSet() const { return _set; }

 private:
  std::string _before;
  bool _set;
};

/// Where the content of a window is on the screen, in pixels from the top left.
struct ScreenRectangle {
  int x = 0, y = 0, width = 0, height = 0;

  bool operator==(const ScreenRectangle& other) const {
    return x == other.x && y == other.y && width == other.width && height == other.height;
  }
};

/// A window of another program, controlled by the desktop's real pointer and keyboard. Positions are in pixels from the
/// top left of the window's content.
class RemoteWindow {
 public:
  /// Looks for a visible window whose title begins with this text. False if there is none.
  bool find(const std::string& title);

  void movePointer(int x, int yFromTop);
  /// Buttons 1 to 3 from the left; 4 and 5 are wheel notches, away and towards, 6 and 7 to the left and right.
  void press(int button);
  void release(int button);
  void click(int button);
  /// One key or several, separated by blanks: a letter, or one of Home, Delete, Escape, Return, BackSpace, space, plus,
  /// minus, Left, Right, F2 to F8, F11; each may follow keys that are held with it, as in ctrl+q, shift+p, alt+Left.
  void key(const std::string& names);
  /// The key at a position, whatever the layout: 16 is the key right of Tab, as on any PC keyboard. `held` are keys
  /// held with it, each followed by a plus sign.
  void keyAt(int position, const std::string& held = "");
  void type(const std::string& text);
  /// Sets the size of the window's content.
  void resize(int width, int height);
  void moveTo(int x, int y);
  ScreenRectangle rectangle() const;
  /// What the screen shows at a pixel of the window, as 0xRRGGBB.
  unsigned long colourAt(int x, int yFromTop) const;
  /// The names by which the desktop recognises the program, and the icons: each is its width, its height, and its
  /// pixels as 0xAARRGGBB. Empty where other programs cannot ask for them.
  std::vector<std::string> programNames() const;
  std::vector<unsigned long> icons() const;
  /// False if the program does not answer at once, several times in a row: it draws or handles events. Always true
  /// where a program cannot be asked.
  bool isWaiting() const;
  /// Closes the window as its close button does.
  void askToClose();

 private:
  std::string _window;  // the system's ID
};

}  // namespace QuorTests
