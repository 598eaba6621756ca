#pragma once

#include <string>

namespace QuorTests {

/// Keeps a connection to the display until the program ends. A virtual display resets whenever its last client leaves
/// and refuses connections meanwhile, which would affect windows opened one after the other. False if there is no
/// display; waits for one that is just starting.
bool holdDisplay();

/// A window of another program, controlled by the desktop's real pointer and keyboard. Positions are in pixels from the
/// top left of the window's content.
class RemoteWindow {
 public:
  /// Looks for a visible window whose title begins with this text. False if there is none.
  bool find(const std::string& title);

  void movePointer(int x, int yFromTop);
  /// Buttons 1 to 3 from the left; 4 and 5 are wheel notches, away and towards.
  void press(int button);
  void release(int button);
  void click(int button);
  /// One key or several, separated by blanks: a letter, or one of Home, Delete, Escape, Return, BackSpace, space, plus,
  /// minus.
  void key(const std::string& names);
  void type(const std::string& text);
  /// Sets the size of the window's content.
  void resize(int width, int height);
  /// Closes the window as its close button does.
  void askToClose();

 private:
  std::string _window;  // the system's ID
};

}  // namespace QuorTests
