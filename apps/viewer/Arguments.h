#pragma once

#include "viewer/render/ColourMode.h"

#include <osg/BoundingBox>
#include <osg/Vec3d>
#include <osgViewer/ViewerBase>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace QuorViewer {

/// The parsed command line.
struct Arguments {
  std::vector<std::string> files;
  std::optional<ColourMode> colourMode;
  std::optional<float> pointSizePixels;
  std::optional<std::uint64_t> budgetPoints;     ///< to draw of large scans
  std::string indexFolder;                       ///< empty: the default
  std::optional<std::uint64_t> indexLimitBytes;  ///< of all indexes together; default: depends on the disk
  bool index = true;                             ///< whether large scans are indexed
  int width = 1280;
  int height = 720;
  std::optional<osg::Vec3d> station;         ///< world coordinates
  std::optional<osg::BoundingBoxd> clip;     ///< world coordinates, each side at least `ClipBoxControl::leastExtent`
  std::optional<std::uint64_t> memoryBytes;  ///< for the displayed points
  osgViewer::ViewerBase::ThreadingModel threading = osgViewer::ViewerBase::SingleThreaded;
  bool orthographic = false;
  bool animation = true;
  double rotationSpeedDegrees = 90.0;  ///< for a drag of half the window's width
  bool verbose = false;
  bool gpu = false;
  std::string screenshotFile;  ///< empty: none
  std::string tourFolder;      ///< empty: no tour
  std::string answer;          ///< to --help or --version, to be printed instead of opening the viewer; empty: neither
};

/// Throws std::invalid_argument with a message for the user. `arguments` does not include the program's name.
Arguments parseArguments(const std::vector<std::string>& arguments);

}  // namespace QuorViewer
