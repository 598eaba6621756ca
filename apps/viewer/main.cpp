#include "viewer/Application.h"
#include "viewer/Arguments.h"
#include "viewer/render/Gpu.h"
#include "viewer/ui/Messages.h"
#include "viewer/ui/Window.h"

#include <exception>
#include <iostream>
#include <string>
#include <vector>

namespace {

int printGpu() {
  const std::string table = QuorViewer::gpuTable();
  if (table.empty()) {
    throw QuorViewer::WindowError("the GPU cannot be queried; check that a display is available (DISPLAY)");
  }
  std::cout << table;
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  using namespace QuorViewer;
  logEngineNotices();
  try {
    const Arguments arguments = parseArguments(std::vector<std::string>(argv + 1, argv + argc));
    if (!arguments.answer.empty()) {
      std::cout << arguments.answer;
      return 0;
    }
    return arguments.gpu ? printGpu() : Application(arguments).run();
  } catch (const std::exception& error) {
    printError(error.what());
    return 1;
  }
}
