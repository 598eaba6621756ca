#include "viewer/platform/WindowIdentity.h"

#include <osgViewer/api/Win32/GraphicsWindowWin32>

#include <windows.h>

namespace QuorViewer {
namespace {

// The icon stays loaded until the program ends, like its window.
HICON createNative(const Icon& icon) {
  constexpr UINT kPlanes = 1;
  constexpr UINT kBits = 32;
  const std::vector<std::uint32_t> noMask(icon.pixels.size(), 0);  // alpha decides
  ICONINFO info{};
  info.fIcon = TRUE;
  info.hbmColor = ::CreateBitmap(icon.size, icon.size, kPlanes, kBits, icon.pixels.data());
  info.hbmMask = ::CreateBitmap(icon.size, icon.size, kPlanes, 1, noMask.data());
  const HICON native = ::CreateIconIndirect(&info);
  ::DeleteObject(info.hbmColor);
  ::DeleteObject(info.hbmMask);
  return native;
}

void setIcon(HWND window, WPARAM kind, const Icon& icon) {
  ::SendMessageW(window, WM_SETICON, kind, reinterpret_cast<LPARAM>(createNative(icon)));
}

}  // namespace

void identifyWindow(osgViewer::GraphicsWindow& window, const std::string& /*program*/, const std::vector<Icon>& icons) {
  auto* const win32 = dynamic_cast<osgViewer::GraphicsWindowWin32*>(&window);
  if (win32 != nullptr && !icons.empty()) {
    setIcon(win32->getHWND(), ICON_SMALL, icons.front());
    setIcon(win32->getHWND(), ICON_BIG, icons.back());
  }
}

}  // namespace QuorViewer
