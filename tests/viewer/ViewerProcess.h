#pragma once

#include <osg/Matrixd>
#include <osg/Vec3d>

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

namespace QuorTests {

/// What the viewer tells about its camera, in world coordinates.
struct ReportedView {
  osg::Vec3d eye, centre, up;
  osg::Matrixd projection;

  osg::Vec3d direction() const { return centre - eye; }
};

/// The viewer as a program of its own, watched through its standard output and steered by the display's real pointer
/// and keyboard (xdotool).
class ViewerProcess {
 public:
  explicit ViewerProcess(const std::vector<std::string>& arguments);
  ViewerProcess(const ViewerProcess&) = delete;
  ViewerProcess& operator=(const ViewerProcess&) = delete;
  /// Ends the program if it still runs.
  ~ViewerProcess();

  /// Waits for the next line that begins so. Empty when none comes in time, or the program ends.
  std::string waitForLine(const std::string& beginning, std::chrono::seconds limit = std::chrono::seconds(60));
  /// Waits until no line has come for a while: the picture has settled. Lines so far count as seen.
  void settle();
  /// The latest view reported so far.
  ReportedView view() const;
  /// Waits for the program's end. -1: it did not end in time, or by a signal.
  int exitStatus(std::chrono::seconds limit = std::chrono::seconds(60));
  /// Everything written to either stream so far; complete after the end.
  const std::string& output() const { return _output; }

  /// Waits for the window. False when it does not appear.
  bool findWindow(const std::string& title);
  void movePointer(int x, int yFromTop);
  void press(int button);
  void release(int button);
  void click(int button);
  void key(const std::string& name);
  void type(const std::string& text);
  void resizeWindow(int width, int height);
  /// The number by which the display knows the window.
  unsigned long window() const { return std::stoul(_window); }

 private:
  bool _readSome(std::chrono::milliseconds limit);
  void _control(const std::string& command) const;

  pid_t _process = -1;
  int _stream = -1;
  std::string _window;
  std::string _output;
  std::size_t _seen = 0;  // how much of the output has been looked at
  int _status = -1;
};

}  // namespace QuorTests
