#include "support/platform/Desktop.h"

#include <windows.h>

#include <algorithm>
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

// The lower byte is the key, the upper one the keys held with it: Shift, Control and Alt, from the lowest bit.
void stroke(int letter) {
  constexpr std::array<std::pair<int, WORD>, 3> kHeld = {{{0x100, VK_SHIFT}, {0x200, VK_CONTROL}, {0x400, VK_MENU}}};
  const auto key = static_cast<WORD>(letter & 0xFF);
  const bool isExtended = key == VK_HOME || key == VK_DELETE || key == VK_LEFT || key == VK_RIGHT;
  const DWORD extended = isExtended ? KEYEVENTF_EXTENDEDKEY : 0;
  const auto sendHeld = [letter](const auto& held, DWORD flags) {
    if ((letter & held.first) != 0) {
      sendKey(held.second, flags);
    }
  };
  std::for_each(kHeld.begin(), kHeld.end(), [&](const auto& held) { sendHeld(held, 0); });
  sendKey(key, extended);
  sendKey(key, extended | KEYEVENTF_KEYUP);
  std::for_each(kHeld.rbegin(), kHeld.rend(), [&](const auto& held) { sendHeld(held, KEYEVENTF_KEYUP); });
}

int letterOf(const std::string& name) {
  static const std::map<std::string, int> named = {{"Home", VK_HOME},
                                                   {"Escape", VK_ESCAPE},
                                                   {"Return", VK_RETURN},
                                                   {"BackSpace", VK_BACK},
                                                   {"space", VK_SPACE},
                                                   {"Delete", VK_DELETE},
                                                   {"Left", VK_LEFT},
                                                   {"Right", VK_RIGHT},
                                                   {"F2", VK_F2},
                                                   {"F3", VK_F3},
                                                   {"F4", VK_F4},
                                                   {"F5", VK_F5},
                                                   {"F6", VK_F6},
                                                   {"F7", VK_F7},
                                                   {"F8", VK_F8},
                                                   {"F11", VK_F11},
                                                   {"plus", ::VkKeyScanW(L'+')},
                                                   {"minus", ::VkKeyScanW(L'-')}};
  const auto found = named.find(name);
  return found != named.end() ? found->second : ::VkKeyScanW(static_cast<wchar_t>(name.at(0)));
}

// A key's name after the names of the keys held with it: "ctrl+q".
int strokeOf(const std::string& names) {
  static const std::map<std::string, int> held = {{"shift", 0x100}, {"ctrl", 0x200}, {"alt", 0x400}};
  const std::size_t plus = names.find('+');
  return plus == std::string::npos ? letterOf(names)
                                   : held.at(names.substr(0, plus)) | strokeOf(names.substr(plus + 1));
}

}  // namespace

// There is always a desktop, and it needs no connection.
bool holdDisplay() {
  return true;
}

KeyboardLayout::KeyboardLayout(const std::string& /*name*/) : _set(false) {}

KeyboardLayout::~KeyboardLayout() = default;

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
  constexpr int kWheelAway = 4, kWheelTowards = 5, kWheelRight = 7;
  if (button >= kWheelAway) {
    const bool positive = button == kWheelAway || button == kWheelRight;
    sendMouse(button <= kWheelTowards ? MOUSEEVENTF_WHEEL : MOUSEEVENTF_HWHEEL,
              static_cast<DWORD>(positive ? WHEEL_DELTA : -WHEEL_DELTA));
    return;
  }
  press(button);
  release(button);
}

void RemoteWindow::key(const std::string& names) {
  std::istringstream words(names);
  for (std::string name; words >> name;) {
    stroke(strokeOf(name));
  }
}

void RemoteWindow::keyAt(int position, const std::string& held) {
  const UINT key = ::MapVirtualKeyW(static_cast<UINT>(position), MAPVK_VSC_TO_VK);
  stroke(strokeOf(held + "space") - VK_SPACE + static_cast<int>(key));
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

void RemoteWindow::moveTo(int x, int y) {
  ::SetWindowPos(windowOf(_window), nullptr, x, y, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
}

ScreenRectangle RemoteWindow::rectangle() const {
  RECT content{};
  POINT corner{};
  ::GetClientRect(windowOf(_window), &content);
  ::ClientToScreen(windowOf(_window), &corner);
  return {corner.x, corner.y, content.right, content.bottom};
}

std::vector<std::string> RemoteWindow::programNames() const {
  return {};
}

std::vector<unsigned long> RemoteWindow::icons() const {
  return {};
}

unsigned long RemoteWindow::colourAt(int x, int yFromTop) const {
  const ScreenRectangle place = rectangle();
  const HDC screen = ::GetDC(nullptr);
  const COLORREF colour = ::GetPixel(screen, place.x + x, place.y + yFromTop);
  ::ReleaseDC(nullptr, screen);
  return static_cast<unsigned long>(GetRValue(colour)) << 16U | static_cast<unsigned long>(GetGValue(colour)) << 8U |
         GetBValue(colour);
}

bool RemoteWindow::isWaiting() const {
  constexpr int kQuestions = 5;
  constexpr auto kAtOnce = 30ms;
  constexpr auto kPause = 20ms;
  constexpr UINT kLimitMilliseconds = 5000;
  for (int question = 0; !_window.empty() && question < kQuestions; ++question) {
    const auto start = std::chrono::steady_clock::now();
    DWORD_PTR ignored = 0;
    ::SendMessageTimeoutW(windowOf(_window), WM_NULL, 0, 0, SMTO_NORMAL, kLimitMilliseconds, &ignored);
    if (std::chrono::steady_clock::now() - start > kAtOnce) {
      return false;
    }
    std::this_thread::sleep_for(kPause);
  }
  return true;
}

void RemoteWindow::askToClose() {
  ::PostMessageW(windowOf(_window), WM_CLOSE, 0, 0);
}

}  // namespace QuorTests
