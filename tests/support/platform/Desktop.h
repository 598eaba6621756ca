#pragma once

#include <string>

namespace QuorTests {

/// Keeps a connection to the display for as long as the program runs. A virtual display starts afresh whenever its last
/// client leaves, and for that moment refuses everybody: without this, windows opened one after the other would meet
/// it. False where there is no display; waits for one that is just starting.
bool holdDisplay();

/// A window of another program, steered by the desktop's real pointer and keyboard. Places are in pixels from the top
/// left of what the window shows.
class RemoteWindow {
 public:
  /// Looks for a visible window whose title begins so. False when there is none.
  bool find(const std::string& title);

  void movePointer(int x, int yFromTop);
  /// Buttons 1 to 3 from the left; 4 and 5 are notches of the wheel, away and towards.
  void press(int button);
  void release(int button);
  void click(int button);
  /// One key or several, separated by blanks: a letter, or one of Home, Delete, Escape, Return, BackSpace, space, plus,
  /// minus.
  void key(const std::string& names);
  void type(const std::string& text);
  /// What the window shows gets this size.
  void resize(int width, int height);
  /// As the button does that closes a window.
  void askToClose();

 private:
  std::string _window;  // the system's name for it
};

}  // namespace QuorTests
