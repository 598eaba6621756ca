#include "viewer/Arguments.h"

#include "viewer/clip/ClipPose.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <utility>

namespace QuorViewer {
namespace {

using Setter = void (*)(Arguments& into, const std::string& value);

struct Option {
  const char* name;
  const char* value;  // name of the value in the help; null: the option takes none
  const char* meaning;
  Setter set;
};

template <typename Number>
bool readNumber(const char*& text, const char* end, Number& number) {
  const auto [next, error] = std::from_chars(text, end, number);
  text = next;
  return error == std::errc();
}

void setSize(Arguments& into, const std::string& value) {
  constexpr int kSmallest = 64;
  constexpr int kLargest = 16384;
  const char* text = value.data();
  const char* end = text + value.size();
  const bool read = readNumber(text, end, into.width) && text != end && *text++ == 'x' &&
                    readNumber(text, end, into.height) && text == end;
  const auto fits = [](int pixels) { return pixels >= kSmallest && pixels <= kLargest; };
  if (!read || !fits(into.width) || !fits(into.height)) {
    throw ArgumentError("--size expects WIDTHxHEIGHT in pixels, from 64x64 to 16384x16384, not '" + value + "'");
  }
}

void setColourMode(Arguments& into, const std::string& value) {
  into.colourMode = colourModeOf(value);
  if (!into.colourMode) {
    throw ArgumentError("--colour-by expects rgb, intensity, elevation or classification, not '" + value + "'");
  }
}

void setPointSize(Arguments& into, const std::string& value) {
  int pixels = 0;
  const char* text = value.data();
  const char* end = text + value.size();
  if (!readNumber(text, end, pixels) || text != end || pixels < 1 || pixels > 32) {
    throw ArgumentError("--point-size expects a number of pixels from 1 to 32, not '" + value + "'");
  }
  into.pointSizePixels = static_cast<float>(pixels);
}

// `Count` finite numbers separated by blanks, limited to coordinates that single precision can still distinguish.
template <std::size_t Count>
std::optional<std::array<double, Count>> readCoordinates(const std::string& value) {
  constexpr double kFarthest = 1e9;
  const char* text = value.data();
  const char* end = text + value.size();
  const auto skipBlanks = [&] { text = std::find_if(text, end, [](char c) { return c != ' '; }); };
  std::array<double, Count> numbers{};
  for (double& number : numbers) {
    skipBlanks();
    if (!readNumber(text, end, number) || !(std::abs(number) <= kFarthest) || (text != end && *text != ' ')) {
      return std::nullopt;
    }
  }
  skipBlanks();
  return text == end ? std::optional(numbers) : std::nullopt;
}

std::optional<osg::BoundingBoxd> readBox(const std::string& value) {
  const auto numbers = readCoordinates<6>(value);
  if (!numbers) {
    return std::nullopt;
  }
  const auto& [xMin, yMin, zMin, xMax, yMax, zMax] = *numbers;
  const bool large = std::min({xMax - xMin, yMax - yMin, zMax - zMin}) >= kLeastClipExtent;
  return large ? std::optional(osg::BoundingBoxd(xMin, yMin, zMin, xMax, yMax, zMax)) : std::nullopt;
}

void setClip(Arguments& into, const std::string& value) {
  into.clip = readBox(value);
  if (!into.clip) {
    throw ArgumentError(
        "--clip expects \"xmin ymin zmin xmax ymax zmax\", each maximum at least 0.5 above its minimum, not '" + value +
        "'");
  }
}

void setStation(Arguments& into, const std::string& value) {
  const auto numbers = readCoordinates<3>(value);
  if (!numbers) {
    throw ArgumentError("--station expects \"x y z\", three numbers, not '" + value + "'");
  }
  const auto& [x, y, z] = *numbers;
  into.station = osg::Vec3d(x, y, z);
}

void setMemory(Arguments& into, const std::string& value) {
  constexpr double kGibibyte = 1024.0 * 1024.0 * 1024.0;
  constexpr double kLeast = 0.0001;
  constexpr double kMost = 1e6;
  double size = 0.0;
  const char* text = value.data();
  const char* end = text + value.size();
  if (!readNumber(text, end, size) || text != end || !(size >= kLeast && size <= kMost)) {
    throw ArgumentError("--memory expects a number of GiB from 0.0001 to 1000000, not '" + value + "'");
  }
  into.memoryBytes = static_cast<std::uint64_t>(size * kGibibyte);
}

void setThreading(Arguments& into, const std::string& value) {
  using osgViewer::ViewerBase;
  constexpr std::array<std::pair<const char*, ViewerBase::ThreadingModel>, 4> kModels = {
      {{"single", ViewerBase::SingleThreaded},
       {"cull-draw", ViewerBase::CullDrawThreadPerContext},
       {"draw", ViewerBase::DrawThreadPerContext},
       {"camera", ViewerBase::CullThreadPerCameraDrawThreadPerContext}}};
  const auto* const found =
      std::find_if(kModels.begin(), kModels.end(), [&](const auto& model) { return value == model.first; });
  if (found == kModels.end()) {
    throw ArgumentError("--threading expects single, cull-draw, draw or camera, not '" + value + "'");
  }
  into.threading = found->second;
}

const std::array<Option, 14> kOptions = {{
    {"--colour-by", "WHAT", "rgb, intensity, elevation or classification; default: depends on the scan", setColourMode},
    {"--point-size", "PIXELS", "point diameter, 1 to 32; default: depends on the number of points", setPointSize},
    {"--clip", "BOX", "start with a clip box: \"xmin ymin zmin xmax ymax zmax\", in scan coordinates", setClip},
    {"--station", "PLACE", "scanner station for key L: \"x y z\", in scan coordinates", setStation},
    {"--memory", "GIB",
     "for points, in arrays and graphics buffers; larger scans are decimated; default: half of the machine's",
     setMemory},
    {"--ortho", nullptr, "start with the orthographic projection",
     [](Arguments& a, const std::string&) { a.orthographic = true; }},
    {"--size", "WxH", "window size in pixels; default: 1280x720", setSize},
    {"--screenshot", "FILE", "load everything, save a screenshot as PNG and quit",
     [](Arguments& a, const std::string& value) { a.screenshotFile = value; }},
    {"--tour", "FOLDER", "run a scripted tour, save numbered screenshots and tour.json, and quit",
     [](Arguments& a, const std::string& value) { a.tourFolder = value; }},
    {"--threading", "MODEL",
     "threading model: single, cull-draw (per context), draw (per context) or camera (cull per camera)", setThreading},
    {"--gpu", nullptr, "print GPU information and quit", [](Arguments& a, const std::string&) { a.gpu = true; }},
    {"--verbose", nullptr, "also print each new view to the standard output",
     [](Arguments& a, const std::string&) { a.verbose = true; }},
    {"--help", nullptr, "print this help and quit", [](Arguments& a, const std::string&) { a.help = true; }},
    {"--version", nullptr, "print the version and quit", [](Arguments& a, const std::string&) { a.version = true; }},
}};

const Option& findOption(const std::string& name) {
  const auto found =
      std::find_if(kOptions.begin(), kOptions.end(), [&](const Option& option) { return name == option.name; });
  if (found == kOptions.end()) {
    throw ArgumentError("unknown option '" + name + "'; --help lists all options");
  }
  return *found;
}

bool isOption(const std::string& argument) {
  return argument.size() > 1 && argument.front() == '-';
}

}  // namespace

Arguments parseArguments(const std::vector<std::string>& arguments) {
  Arguments parsed;
  for (auto argument = arguments.begin(); argument != arguments.end(); ++argument) {
    if (!isOption(*argument)) {
      parsed.files.push_back(*argument);
      continue;
    }
    const Option& option = findOption(*argument);
    const bool takesValue = option.value != nullptr;
    if (takesValue && (argument + 1 == arguments.end() || (argument + 1)->empty())) {
      throw ArgumentError(std::string(option.name) + " expects " + option.value);
    }
    option.set(parsed, takesValue ? *++argument : std::string());
  }
  return parsed;
}

std::string usage() {
  constexpr std::size_t kColumn = 24;
  std::string text =
      "quor_viewer [OPTION...] [FILE...]\n\n"
      "Shows lidar scans (LAS, LAZ, PLY, .asc) in their common coordinate system; without a file, the bundled "
      "sample.\n\n";
  for (const Option& option : kOptions) {
    std::string left =
        std::string("  ") + option.name + (option.value != nullptr ? std::string(" ") + option.value : "");
    left.resize(std::max(left.size() + 1, kColumn), ' ');
    text += left + option.meaning + '\n';
  }
  return text + "\nIn the window, H shows all mouse and key bindings.\n";
}

}  // namespace QuorViewer
