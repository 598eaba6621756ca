#pragma once

#include <osgViewer/GraphicsWindow>

#include <cstdint>
#include <string>
#include <vector>

namespace QuorViewer {

/// A square picture. Pixels are 0xAARRGGBB with straight alpha; the first row is the top one.
struct Icon {
  int size = 0;
  std::vector<std::uint32_t> pixels;
};

/// Sets by what the desktop recognises and shows the window: the name of its program, and its icon in several sizes,
/// the smallest first. Windows knows the program anyway and gets only the icons.
void identifyWindow(osgViewer::GraphicsWindow& window, const std::string& program, const std::vector<Icon>& icons);

}  // namespace QuorViewer
