#pragma once

#include "support/platform/ChildProgram.h"
#include "support/platform/Desktop.h"

#include <osg/Matrixd>
#include <osg/Vec3d>

#include <chrono>
#include <string>
#include <vector>

namespace QuorTests {

/// The camera as the viewer reports it, in world coordinates.
struct ReportedView {
  osg::Vec3d eye, centre, up;
  osg::Matrixd projection;

  osg::Vec3d direction() const { return centre - eye; }
};

/// The viewer as a separate program, observed through its standard output and controlled by the desktop's real pointer
/// and keyboard.
class ViewerProcess {
 public:
  explicit ViewerProcess(const std::vector<std::string>& arguments);

  /// Waits for the next line with this beginning. Empty if none comes in time or the program ends.
  std::string waitForLine(const std::string& beginning, std::chrono::seconds limit = std::chrono::seconds(60));
  /// Waits until no line has come for a while and the viewer is idle: the picture has settled. Marks the lines so far
  /// as seen.
  void settle();
  /// The latest view reported so far.
  ReportedView view() const;
  /// Waits for the program's exit status; -1 if it did not end in time or was ended by a signal.
  int exitStatus(std::chrono::milliseconds limit = std::chrono::seconds(60));
  /// Everything written to either stream so far; complete after the end.
  const std::string& output() const { return _output; }

  /// Waits for the window. False when it does not appear.
  bool findWindow(const std::string& title);
  void movePointer(int x, int yFromTop) { _window.movePointer(x, yFromTop); }
  void press(int button) { _window.press(button); }
  void release(int button) { _window.release(button); }
  void click(int button) { _window.click(button); }
  void key(const std::string& names) { _window.key(names); }
  void keyAt(int position, const std::string& held = "") { _window.keyAt(position, held); }
  void type(const std::string& text) { _window.type(text); }
  void resizeWindow(int width, int height) { _window.resize(width, height); }
  void moveWindow(int x, int y) { _window.moveTo(x, y); }
  ScreenRectangle windowRectangle() const { return _window.rectangle(); }
  const RemoteWindow& window() const { return _window; }
  void requestClose() { _window.askToClose(); }

 private:
  bool _isQuietAndIdle();

  ChildProgram _program;
  RemoteWindow _window;
  std::string _output;
  std::size_t _seen = 0;  // how much of the output has been examined
};

}  // namespace QuorTests
