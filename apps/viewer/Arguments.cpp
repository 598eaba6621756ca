#include "viewer/Arguments.h"

#include "common/CommandLine.h"
#include "common/Values.h"

#include <QuorOsgUtils/ClipBoxControl.h>
#include <QuorOsgUtils/Version.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>

namespace QuorViewer {
namespace {

using osgViewer::ViewerBase;

bool readSize(const std::string& text, Arguments& into) {
  constexpr int kLeast = 64;
  constexpr int kMost = 16384;
  const std::size_t cross = text.find('x');
  if (cross == std::string::npos) {
    return false;
  }
  const auto width = readNumber<int>(text.substr(0, cross), kLeast, kMost);
  const auto height = readNumber<int>(text.substr(cross + 1), kLeast, kMost);
  into.width = width.value_or(into.width);
  into.height = height.value_or(into.height);
  return width && height;
}

std::optional<int> readPointSize(const std::string& text) {
  return readNumber<int>(text, 1, 32);
}

std::optional<double> readRotationSpeed(const std::string& text) {
  return readNumber<double>(text, 1.0, 720.0);
}

// Limited to coordinates that single precision can still distinguish.
template <std::size_t count>
std::optional<std::array<double, count>> readCoordinates(const std::string& text) {
  constexpr double kFarthest = 1e9;
  const auto numbers = readNumbers<count>(text);
  const auto isFar = [](double number) { return std::abs(number) > kFarthest; };
  return numbers && std::none_of(numbers->begin(), numbers->end(), isFar) ? numbers : std::nullopt;
}

std::optional<osg::BoundingBoxd> readBox(const std::string& text) {
  const auto numbers = readCoordinates<6>(text);
  if (!numbers) {
    return std::nullopt;
  }
  const auto& [xMin, yMin, zMin, xMax, yMax, zMax] = *numbers;
  const auto [shortest, longest] = std::minmax({xMax - xMin, yMax - yMin, zMax - zMin});
  return shortest >= QuorOsgUtils::ClipBoxControl::leastExtent(longest)
             ? std::optional(osg::BoundingBoxd(xMin, yMin, zMin, xMax, yMax, zMax))
             : std::nullopt;
}

std::optional<osg::Vec3d> readPosition(const std::string& text) {
  const auto numbers = readCoordinates<3>(text);
  return numbers ? std::optional(osg::Vec3d((*numbers)[0], (*numbers)[1], (*numbers)[2])) : std::nullopt;
}

std::optional<ViewerBase::ThreadingModel> readThreadingModel(const std::string& text) {
  return readWord<ViewerBase::ThreadingModel>(text, {{"single", ViewerBase::SingleThreaded},
                                                     {"cull-draw", ViewerBase::CullDrawThreadPerContext},
                                                     {"draw", ViewerBase::DrawThreadPerContext},
                                                     {"camera", ViewerBase::CullThreadPerCameraDrawThreadPerContext}});
}

std::optional<std::string> readName(const std::string& text) {
  return text.empty() ? std::nullopt : std::optional(text);
}

std::optional<std::uint64_t> readPointBudget(const std::string& text) {
  return readNumber<std::uint64_t>(text, 1000, 10000000000);
}

void addDisplayOptions(CLI::App& app, Arguments& into) {
  app.option_defaults()->group("Display");
  addOption(app,
            {"--colour-by", "WHAT", "rgb, intensity, elevation or classification",
             "rgb, intensity, elevation or classification; default: depends on the scan"},
            into.colourMode, colourModeOf);
  addOption(app,
            {"--point-size", "PIXELS", "a number of pixels from 1 to 32",
             "point diameter, 1 to 32; default: depends on the number of points and,\n"
             "in large scans, on the spacing of those drawn"},
            into.pointSizePixels, readPointSize);
  app.add_flag_callback(
      "--no-animation", [&into] { into.animation = false; }, "switch between views at once, without a transition");
  addOption(app,
            {"--rotation-speed", "DEGREES", "a number of degrees from 1 to 720",
             "rotation by a right drag of half the window's width; default: 90"},
            into.rotationSpeedDegrees, readRotationSpeed);
  app.add_flag("--ortho", into.orthographic, "start with the orthographic projection");
  addOption(app,
            {"--size", "WxH", "WIDTHxHEIGHT in pixels, from 64x64 to 16384x16384",
             "window size in pixels; default: 1280x720"},
            [&into](const std::string& text) { return readSize(text, into); });
}

void addScanOptions(CLI::App& app, Arguments& into) {
  app.option_defaults()->group("Scans");
  addOption(app,
            {"--clip", "BOX",
             "\"xmin ymin zmin xmax ymax zmax\", each maximum above its minimum by at least 0.001 and a millionth of "
             "the longest side",
             "start with a clip box: \"xmin ymin zmin xmax ymax zmax\", in scan coordinates"},
            into.clip, readBox);
  addOption(
      app,
      {"--station", "POINT", "\"x y z\", three numbers", "scanner station for key L: \"x y z\", in scan coordinates"},
      into.station, readPosition);
  addOption(app,
            {"--memory", "GIB", "a number of GiB from 0.0001 to 1000000",
             "memory for points (arrays and graphics buffers);\n"
             "default: half of the machine's memory"},
            into.memoryBytes, readGibibytes);
  addOption(app,
            {"--points", "N", "a whole number from 1000 to 10000000000",
             "draw at most N points of large scans; default: as many as the graphics\n"
             "hardware can draw while the view moves, and all that are visible at rest"},
            into.budgetPoints, readPointBudget);
  addOption(app,
            {"--index-dir", "FOLDER", "a folder name",
             "folder for the indexes of large scans; default: quor_osg_utils/index\n"
             "in the user's cache folder"},
            into.indexFolder, readName);
  addOption(app,
            {"--index-limit", "GIB", "a number of GiB from 0.0001 to 1000000",
             "total size of the indexes in that folder; default: a tenth of the disk\n"
             "space that is free or used by them"},
            into.indexLimitBytes, readGibibytes);
  app.add_flag_callback(
      "--no-index", [&into] { into.index = false; },
      "draw all points of large scans without an index, or as many as fit into\n"
      "memory");
}

void addOutputOptions(CLI::App& app, Arguments& into) {
  app.option_defaults()->group("Output");
  addOption(app,
            {"--screenshot", "FILE", "a file name",
             "load all points, save a screenshot as PNG (with status bar and legend)\nand quit"},
            into.screenshotFile, readName);
  addOption(
      app,
      {"--tour", "FOLDER", "a folder name", "run a scripted tour, save numbered screenshots and tour.json, and quit"},
      into.tourFolder, readName);
  app.add_flag("--verbose", into.verbose,
               "also print each change of the camera, the clip box, the status message and\n"
               "the points drawn, and at the end the number of frames drawn");
}

void addSystemOptions(CLI::App& app, Arguments& into) {
  app.option_defaults()->group("System");
  addOption(app,
            {"--threading", "MODEL", "single, cull-draw, draw or camera",
             "OpenSceneGraph threading: single, cull-draw or draw (per context),\n"
             "camera (cull per camera); default: single"},
            into.threading, readThreadingModel);
  app.add_flag("--gpu", into.gpu, "print GPU information and quit");
}

void addHelp(CLI::App& app) {
  using namespace QuorOsgUtils;
  app.set_help_flag("-h,--help", "print this help and quit");
  app.set_version_flag("--version",
                       "quor_viewer " + std::to_string(kVersionMajor) + '.' + std::to_string(kVersionMinor) + '.' +
                           std::to_string(kVersionPatch),
                       "print the version and quit");
  app.footer(
      "Examples:\n"
      "  quor_viewer --colour-by elevation street.las park.laz\n"
      "  quor_viewer --memory 2 --screenshot city.png city.las\n"
      "  quor_viewer --clip \"690 5330 500 710 5350 520\" quarry.las\n\n"
      "In the window, H shows all mouse and key bindings.");
}

}  // namespace

Arguments parseArguments(const std::vector<std::string>& arguments) {
  Arguments parsed;
  CLI::App app(
      "Shows lidar scans (LAS, LAZ, PLY, .asc) in one coordinate system. Without a FILE it shows the\n"
      "bundled scan. Arguments after -- are files, even those that begin with a dash.");
  prepare(app, "quor_viewer [OPTION...] [FILE...]");
  addDisplayOptions(app, parsed);
  addScanOptions(app, parsed);
  addOutputOptions(app, parsed);
  addSystemOptions(app, parsed);
  addHelp(app);
  CommandLine line = parseCommandLine(app, arguments);
  parsed.files = std::move(line.files);
  parsed.answer = std::move(line.answer);
  return parsed;
}

}  // namespace QuorViewer
