#include "viewer/render/Gpu.h"

#include <QuorOsgUtils/GCTool.h>

#include <algorithm>
#include <array>
#include <sstream>
#include <utility>

namespace QuorViewer {
namespace {

using QuorOsgUtils::GCTool;

constexpr std::size_t kNameWidth = 28;
constexpr std::size_t kTableWidth = 100;

// Wraps between words; further lines align with the first.
void appendRow(std::string& table, std::string name, const std::string& value) {
  std::istringstream words(value);
  std::string line;
  const auto finishLine = [&] {
    name.resize(kNameWidth, ' ');
    table += std::exchange(name, std::string()) + std::exchange(line, std::string()) + '\n';
  };
  for (std::string word; words >> word; line += (line.empty() ? "" : " ") + word) {
    if (!line.empty() && kNameWidth + line.size() + 1 + word.size() > kTableWidth) {
      finishLine();
    }
  }
  finishLine();
}

}  // namespace

std::vector<std::pair<std::string, std::string>> gpuProperties() {
  if (*GCTool::getGPURender() == '\0') {
    return {};
  }
  return {{"Vendor", GCTool::getGPUVendor()},
          {"Renderer", GCTool::getGPURender()},
          {"GLSL version", GCTool::getGLSLVersion()},
          {"Vertex uniform components", GCTool::getVertexMaxUniform()},
          {"Fragment uniform components", GCTool::getFragmentMaxUniform()},
          {"Extensions", GCTool::getGPUExt()}};
}

std::string gpuTable() {
  std::string table;
  for (const auto& [name, value] : gpuProperties()) {
    appendRow(table, name, value);
  }
  return table;
}

std::string softwareRendererOf(const std::string& renderer) {
  constexpr std::array<const char*, 6> kSoftware = {"llvmpipe",    "softpipe",    "swrast",
                                                    "SwiftShader", "GDI Generic", "Microsoft Basic Render"};
  const auto* const found = std::find_if(kSoftware.begin(), kSoftware.end(),
                                         [&](const char* name) { return renderer.find(name) != std::string::npos; });
  return found != kSoftware.end() ? *found : std::string();
}

}  // namespace QuorViewer
