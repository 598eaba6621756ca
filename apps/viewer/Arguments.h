#pragma once

#include "viewer/render/ColourMode.h"

#include <osg/BoundingBox>
#include <osg/Vec3d>
#include <osgViewer/ViewerBase>

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace QuorViewer {

/// An invalid command line; the text says which part and why.
class ArgumentError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The parsed command line.
struct Arguments {
  std::vector<std::string> files;
  std::optional<ColourMode> colourMode;
  std::optional<float> pointSizePixels;
  int width = 1280;
  int height = 720;
  std::optional<osg::Vec3d> station;         ///< world coordinates
  std::optional<osg::BoundingBoxd> clip;     ///< world coordinates, each side at least `kLeastClipExtent`
  std::optional<std::uint64_t> memoryBytes;  ///< for the displayed points
  osgViewer::ViewerBase::ThreadingModel threading = osgViewer::ViewerBase::SingleThreaded;
  bool orthographic = false;
  bool verbose = false;
  bool gpu = false;
  bool help = false;
  bool version = false;
  std::string screenshotFile;  ///< empty: none
  std::string tourFolder;      ///< empty: no tour
};

/// Throws ArgumentError. `arguments` does not include the program's name.
Arguments parseArguments(const std::vector<std::string>& arguments);

/// The text that --help prints.
std::string usage();

}  // namespace QuorViewer
