#include "support/platform/Desktop.h"

#include <windows.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <map>
#include <sstream>
#include <thread>
#include <utility>

namespace QuorTests {

namespace {

using namespace std::chrono_literals;

constexpr auto kBetweenKeys = 30ms;

struct Search {
  std::wstring beginning;
  HWND found = nullptr;
};

BOOL CALLBACK lookAtWindow(HWND window, LPARAM parameter) {
  Search& search = *reinterpret_cast<Search*>(parameter);
  std::wstring title(1024, L'\0');
  title.resize(static_cast<std::size_t>(::GetWindowTextW(window, title.data(), static_cast<int>(title.size()))));
  if (::IsWindowVisible(window) != 0 && title.compare(0, search.beginning.size(), search.beginning) == 0) {
    search.found = window;
  }
  return search.found == nullptr ? TRUE : FALSE;
}

HWND windowOf(const std::string& name) {
  return reinterpret_cast<HWND>(static_cast<std::intptr_t>(std::stoll(name)));
}

void sendMouse(DWORD flags, DWORD data) {
  INPUT input{};
  input.type = INPUT_MOUSE;
  input.mi.dwFlags = flags;
  input.mi.mouseData = data;
  ::SendInput(1, &input, sizeof input);
}

void sendKey(WORD key, DWORD flags) {
  INPUT input{};
  input.type = INPUT_KEYBOARD;
  input.ki.wVk = key;
  input.ki.wScan = static_cast<WORD>(::MapVirtualKeyW(key, MAPVK_VK_TO_VSC));
  input.ki.dwFlags = flags;
  ::SendInput(1, &input, sizeof input);
  std::this_thread::sleep_for(kBetweenKeys);
}

// The lower byte is the key, the upper one the state of the shift key.
void stroke(SHORT letter) {
  constexpr int kShift = 0x100;
  const auto key = static_cast<WORD>(letter & 0xFF);
  const bool shifted = (letter & kShift) != 0;
  const DWORD extended = key == VK_HOME || key == VK_DELETE ? KEYEVENTF_EXTENDEDKEY : 0;
  if (shifted) {
    sendKey(VK_SHIFT, 0);
  }
  sendKey(key, extended);
  sendKey(key, extended | KEYEVENTF_KEYUP);
  if (shifted) {
    sendKey(VK_SHIFT, KEYEVENTF_KEYUP);
  }
}

SHORT letterOf(const std::string& name) {
  static const std::map<std::string, SHORT> named = {
      {"Home", VK_HOME},   {"Escape", VK_ESCAPE}, {"Return", VK_RETURN},        {"BackSpace", VK_BACK},
      {"space", VK_SPACE}, {"Delete", VK_DELETE}, {"plus", ::VkKeyScanW(L'+')}, {"minus", ::VkKeyScanW(L'-')}};
  const auto found = named.find(name);
  return found != named.end() ? found->second : ::VkKeyScanW(static_cast<wchar_t>(name.at(0)));
}

}  // namespace

// There is always a desktop, and it needs no connection.
bool holdDisplay() {
  return true;
}

bool RemoteWindow::find(const std::string& title) {
  Search search{std::wstring(title.begin(), title.end()), nullptr};
  ::EnumWindows(lookAtWindow, reinterpret_cast<LPARAM>(&search));
  if (search.found == nullptr) {
    return false;
  }
  ::SetForegroundWindow(search.found);
  _window = std::to_string(reinterpret_cast<std::intptr_t>(search.found));
  return true;
}

void RemoteWindow::movePointer(int x, int yFromTop) {
  POINT place{x, yFromTop};
  ::ClientToScreen(windowOf(_window), &place);
  ::SetCursorPos(place.x, place.y);
}

void RemoteWindow::press(int button) {
  constexpr std::array<DWORD, 4> kFlags = {0, MOUSEEVENTF_LEFTDOWN, MOUSEEVENTF_MIDDLEDOWN, MOUSEEVENTF_RIGHTDOWN};
  sendMouse(kFlags.at(static_cast<std::size_t>(button)), 0);
}

void RemoteWindow::release(int button) {
  constexpr std::array<DWORD, 4> kFlags = {0, MOUSEEVENTF_LEFTUP, MOUSEEVENTF_MIDDLEUP, MOUSEEVENTF_RIGHTUP};
  sendMouse(kFlags.at(static_cast<std::size_t>(button)), 0);
}

void RemoteWindow::click(int button) {
  constexpr int kWheelAway = 4;
  if (button >= kWheelAway) {
    sendMouse(MOUSEEVENTF_WHEEL, static_cast<DWORD>(button == kWheelAway ? WHEEL_DELTA : -WHEEL_DELTA));
    return;
  }
  press(button);
  release(button);
}

void RemoteWindow::key(const std::string& names) {
  std::istringstream words(names);
  for (std::string name; words >> name;) {
    stroke(letterOf(name));
  }
}

void RemoteWindow::type(const std::string& text) {
  for (const char letter : text) {
    stroke(::VkKeyScanW(static_cast<wchar_t>(letter)));
  }
}

void RemoteWindow::resize(int width, int height) {
  const HWND window = windowOf(_window);
  RECT frame{}, content{};
  ::GetWindowRect(window, &frame);
  ::GetClientRect(window, &content);
  const int besideX = static_cast<int>(frame.right - frame.left - content.right);
  const int besideY = static_cast<int>(frame.bottom - frame.top - content.bottom);
  ::SetWindowPos(window, nullptr, 0, 0, width + besideX, height + besideY, SWP_NOMOVE | SWP_NOZORDER);
}

void RemoteWindow::askToClose() {
  ::PostMessageW(windowOf(_window), WM_CLOSE, 0, 0);
}

}  // namespace QuorTests
