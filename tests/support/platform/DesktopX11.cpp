#include "support/platform/Desktop.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <thread>

namespace QuorTests {

namespace {

/// Takes a display that no other test uses, and waits for one: the windows, the pointer and the keys of two tests would
/// disturb each other. QUOR_DISPLAYS lists the displays to choose from; without it there is only the user's. The lock
/// is held until the process ends.
void reserveDisplay() {
  const char* const listed = std::getenv("QUOR_DISPLAYS");
  const char* const own = std::getenv("DISPLAY");
  const std::string names = listed != nullptr ? listed : own != nullptr ? own : "";
  const auto reserve = [](const std::string& name) {
    const std::string lock =
        (std::filesystem::temp_directory_path() / ("quor_tests_display" + name + ".lock")).string();
    const int file = open(lock.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    return file < 0 || flock(file, LOCK_EX | LOCK_NB) == 0 || (close(file), false);
  };
  while (!names.empty()) {
    std::istringstream each(names);
    for (std::string name; each >> name;) {
      if (reserve(name)) {
        setenv("DISPLAY", name.c_str(), 1);
        return;
      }
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

Display* connect() {
  reserveDisplay();

  constexpr int kAttempts = 50;
  Display* display = nullptr;
  for (int attempt = 0; std::getenv("DISPLAY") != nullptr && display == nullptr && attempt < kAttempts; ++attempt) {
    display = XOpenDisplay(nullptr);
    if (display == nullptr) {
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
  }
  return display;
}

std::string outputOf(const std::string& command) {
  std::string output;
  FILE* pipe = popen(command.c_str(), "r");
  std::array<char, 256> part{};
  while (pipe != nullptr && fgets(part.data(), part.size(), pipe) != nullptr) {
    output += part.data();
  }
  if (pipe != nullptr) {
    pclose(pipe);
  }
  return output;
}

void control(const std::string& command) {
  if (std::system(("xdotool " + command).c_str()) != 0) {
    std::fprintf(stderr, "xdotool %s failed\n", command.c_str());
  }
}

bool setLayout(const std::string& name) {
  return std::system(("setxkbmap '" + name + "'").c_str()) == 0;
}

Display* display() {
  static Display* const held = connect();
  return held;
}

}  // namespace

bool holdDisplay() {
  return display() != nullptr;
}

KeyboardLayout::KeyboardLayout(const std::string& name)
    : _before(outputOf("setxkbmap -query | sed -n 's/^layout: *//p'")), _set(setLayout(name)) {}

KeyboardLayout::~KeyboardLayout() {
  setLayout(_before.substr(0, _before.find('\n')));
}

bool RemoteWindow::find(const std::string& title) {
  // The title "" is also found at the root window.
  const std::string root = std::to_string(DefaultRootWindow(display()));
  std::istringstream found(outputOf("xdotool search --onlyvisible --name '^" + title + "' 2>/dev/null"));
  _window.clear();
  for (std::string each; _window.empty() && found >> each;) {
    _window = each != root ? each : "";
  }
  return !_window.empty();
}

void RemoteWindow::movePointer(int x, int yFromTop) {
  control("mousemove --window " + _window + " " + std::to_string(x) + " " + std::to_string(yFromTop));
}

void RemoteWindow::press(int button) {
  control("mousedown " + std::to_string(button));
}

void RemoteWindow::release(int button) {
  control("mouseup " + std::to_string(button));
}

void RemoteWindow::click(int button) {
  control("click " + std::to_string(button));
}

void RemoteWindow::key(const std::string& names) {
  control("key " + names);
}

void RemoteWindow::keyAt(int position, const std::string& held) {
  constexpr int kOffset = 8;  // of X11's key codes
  control("key " + held + std::to_string(position + kOffset));
}

void RemoteWindow::type(const std::string& text) {
  control("type --delay 30 '" + text + "'");
}

void RemoteWindow::resize(int width, int height) {
  control("windowsize " + _window + " " + std::to_string(width) + " " + std::to_string(height));
}

void RemoteWindow::moveTo(int x, int y) {
  control("windowmove " + _window + " " + std::to_string(x) + " " + std::to_string(y));
}

ScreenRectangle RemoteWindow::rectangle() const {
  const unsigned long window = std::stoul(_window);
  XWindowAttributes attributes{};
  ScreenRectangle rectangle;
  Window child = 0;
  XGetWindowAttributes(display(), window, &attributes);
  XTranslateCoordinates(display(), window, attributes.root, 0, 0, &rectangle.x, &rectangle.y, &child);
  rectangle.width = attributes.width;
  rectangle.height = attributes.height;
  return rectangle;
}

std::vector<std::string> RemoteWindow::programNames() const {
  XClassHint hint{};
  if (XGetClassHint(display(), std::stoul(_window), &hint) == 0) {
    return {};
  }
  const std::vector<std::string> names = {hint.res_name, hint.res_class};
  XFree(hint.res_name);
  XFree(hint.res_class);
  return names;
}

std::vector<unsigned long> RemoteWindow::icons() const {
  constexpr long kLongest = 1L << 20;
  Atom type = 0;
  int bits = 0;
  unsigned long count = 0, left = 0;
  unsigned char* bytes = nullptr;
  XGetWindowProperty(display(), std::stoul(_window), XInternAtom(display(), "_NET_WM_ICON", False), 0, kLongest, False,
                     XA_CARDINAL, &type, &bits, &count, &left, &bytes);
  const auto* const values = reinterpret_cast<const unsigned long*>(bytes);
  const std::vector<unsigned long> icons(values, values + count);
  if (bytes != nullptr) {
    XFree(bytes);
  }
  return icons;
}

unsigned long RemoteWindow::colourAt(int x, int yFromTop) const {
  constexpr unsigned long kColour = 0xFFFFFFUL;
  const ScreenRectangle place = rectangle();
  XImage* const image =
      XGetImage(display(), DefaultRootWindow(display()), place.x + x, place.y + yFromTop, 1, 1, AllPlanes, ZPixmap);
  if (image == nullptr) {
    return 0;
  }
  const unsigned long colour = XGetPixel(image, 0, 0) & kColour;
  XDestroyImage(image);
  return colour;
}

bool RemoteWindow::isWaiting() const {
  return true;
}

void RemoteWindow::askToClose() {
  const unsigned long window = std::stoul(_window);
  XEvent wish{};
  wish.xclient.type = ClientMessage;
  wish.xclient.window = window;
  wish.xclient.message_type = XInternAtom(display(), "WM_PROTOCOLS", False);
  wish.xclient.format = 32;
  wish.xclient.data.l[0] = static_cast<long>(XInternAtom(display(), "WM_DELETE_WINDOW", False));
  XSendEvent(display(), window, False, NoEventMask, &wish);
  XFlush(display());
}

}  // namespace QuorTests
