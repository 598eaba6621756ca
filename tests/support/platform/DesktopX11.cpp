#include "support/platform/Desktop.h"

#include <X11/Xlib.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <thread>

namespace QuorTests {

namespace {

Display* connect() {
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

Display* display() {
  static Display* const held = connect();
  return held;
}

}  // namespace

bool holdDisplay() {
  return display() != nullptr;
}

bool RemoteWindow::find(const std::string& title) {
  std::istringstream(outputOf("xdotool search --onlyvisible --name '^" + title + "' 2>/dev/null")) >> _window;
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

void RemoteWindow::type(const std::string& text) {
  control("type --delay 30 '" + text + "'");
}

void RemoteWindow::resize(int width, int height) {
  control("windowsize " + _window + " " + std::to_string(width) + " " + std::to_string(height));
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
