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

}  // namespace

bool holdDisplay() {
  static Display* const display = connect();
  return display != nullptr;
}

}  // namespace QuorTests
