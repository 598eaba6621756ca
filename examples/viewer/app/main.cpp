#include "Application.h"
#include "Arguments.h"
#include "Window.h"

#include <QuorOsgUtils/Version.h>

#include <exception>
#include <iostream>
#include <string>
#include <vector>

int main(int argc, char** argv) {
  using namespace QuorViewer;
  try {
    const Arguments arguments = parseArguments(std::vector<std::string>(argv + 1, argv + argc));
    if (arguments.help) {
      std::cout << usage();
      return 0;
    }
    if (arguments.version) {
      using namespace QuorOsgUtils;
      std::cout << "quor_viewer " << kVersionMajor << '.' << kVersionMinor << '.' << kVersionPatch << '\n';
      return 0;
    }
    return Application(arguments).run();
  } catch (const std::exception& error) {
    std::cerr << "quor_viewer: " << error.what() << '\n';
    return 1;
  }
}
