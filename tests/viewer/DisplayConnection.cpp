#include "DisplayConnection.h"

#include <X11/Xlib.h>

#include <chrono>
#include <cstdlib>
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

Display* display() {
  static Display* const held = connect();
  return held;
}

}  // namespace

bool holdDisplay() {
  return display() != nullptr;
}

void askToClose(unsigned long window) {
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
