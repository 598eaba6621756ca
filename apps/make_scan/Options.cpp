#include "make_scan/Options.h"

#include "make_scan/Terrain.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <locale>
#include <sstream>
#include <utility>

namespace QuorViewer {

namespace {

constexpr std::uint64_t kPointsMost = 100'000'000'000;
constexpr std::uint64_t kExtraBytesMost = 1000;
constexpr std::uint64_t kOffsetMost = std::numeric_limits<std::uint32_t>::max();

[[noreturn]] void refuse(const std::string& name, const std::string& value, const std::string& why) {
  throw ArgumentError(name + " \"" + value + "\": " + why);
}

// The whole text as a number, independent of the locale; nothing if it is not a number.
template <typename T>
std::optional<T> number(const std::string& text) {
  std::istringstream stream(text);
  stream.imbue(std::locale::classic());
  T value{};
  if (text.empty() || !(stream >> value) || stream.peek() != std::istringstream::traits_type::eof()) {
    return std::nullopt;
  }
  return value;
}

std::uint64_t wholeNumber(const std::string& name, const std::string& text, std::uint64_t least, std::uint64_t most) {
  const bool digits = std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
  const std::optional<std::uint64_t> value = digits ? number<std::uint64_t>(text) : std::nullopt;
  if (!value || *value < least || *value > most) {
    refuse(name, text, "must be a whole number from " + std::to_string(least) + " to " + std::to_string(most));
  }
  return *value;
}

std::array<double, 3> threeNumbers(const std::string& name, std::string text) {
  std::replace(text.begin(), text.end(), ',', ' ');
  std::istringstream stream(text);
  std::array<double, 3> values{};
  std::size_t count = 0;
  for (std::string word; stream >> word; ++count) {
    const std::optional<double> value = number<double>(word);
    if (!value || !std::isfinite(*value) || count == values.size()) count = values.size();
    if (count == values.size()) break;
    values[count] = *value;
    if (count == 2 && (stream >> std::ws).eof()) return values;
  }
  refuse(name, text, "must be three numbers, x y z, in one argument");
}

unsigned versionMinor(const std::string& name, const std::string& text) {
  if (text.size() != 3 || text.compare(0, 2, "1.") != 0 || text[2] < '0' || text[2] > '4') {
    refuse(name, text, "must be one of 1.0, 1.1, 1.2, 1.3, 1.4");
  }
  return static_cast<unsigned>(text[2] - '0');
}

double scaleOf(const std::string& name, const std::string& text) {
  // A coordinate is at most half the town's size from the origin, and is stored in 31 bits and a sign.
  const double least = Terrain::kHalfSizeMetres / std::numeric_limits<std::int32_t>::max();
  const std::optional<double> value = number<double>(text);
  if (!value || !(*value > least) || *value > 10.0) {
    refuse(name, text, "must be a number of metres above 1.2e-7, so that the town fits 32 bits, up to 10");
  }
  return *value;
}

unsigned colourBits(const std::string& name, const std::string& text) {
  if (text != "8" && text != "16") refuse(name, text, "must be 8 or 16");
  return text == "8" ? 8 : 16;
}

HeaderBox headerBox(const std::string& name, const std::string& text) {
  static const std::vector<std::pair<std::string, HeaderBox>> boxes = {{"true", HeaderBox::True},
                                                                       {"wide", HeaderBox::Wide},
                                                                       {"empty", HeaderBox::Empty},
                                                                       {"nan", HeaderBox::NotANumber}};
  for (const auto& [word, box] : boxes) {
    if (text == word) return box;
  }
  refuse(name, text, "must be true, wide, empty or nan");
}

struct Flag {
  std::string name;
  std::string value;  // name of the value in the help; empty for a flag without a value
  std::string help;
  void (*set)(Options& options, const std::string& name, const std::string& text);
};

const std::vector<Flag>& flags() {
  using Text = const std::string&;
  static const std::vector<Flag> all = {
      {"--points", "N", "number of points, exactly",
       [](Options& o, Text n, Text t) { o.points = wholeNumber(n, t, 0, kPointsMost); }},
      {"--stations", "K", "tripods in the town, or flight lines over it (default 4)",
       [](Options& o, Text n, Text t) {
         o.survey.stations = static_cast<unsigned>(wholeNumber(n, t, 1, kStationsMost));
       }},
      {"--airborne", "", "scan from the air, in strips", [](Options& o, Text, Text) { o.survey.airborne = true; }},
      {"--origin", "\"X Y Z\"", "where the town's middle lies (default \"0 0 0\")",
       [](Options& o, Text n, Text t) { o.origin = threeNumbers(n, t); }},
      {"--seed", "S", "another scan of the same town (default 1)",
       [](Options& o, Text n, Text t) {
         o.survey.seed = wholeNumber(n, t, 0, std::numeric_limits<std::uint64_t>::max());
       }},
      {"--format", "F", "point data record format, 0 to 10 (default 7)",
       [](Options& o, Text n, Text t) { o.format = static_cast<unsigned>(wholeNumber(n, t, 0, 10)); }},
      {"--las-version", "V", "1.0 to 1.4 (default: 1.4, or for formats 0 to 5 the first that suits, from 1.2 on)",
       [](Options& o, Text n, Text t) { o.versionMinor = versionMinor(n, t); }},
      {"--scale", "S", "step of the coordinates in metres (default 0.001)",
       [](Options& o, Text n, Text t) { o.scale = scaleOf(n, t); }},
      {"--colour-bits", "8|16", "range of the colours in their 16-bit fields (default 16)",
       [](Options& o, Text n, Text t) { o.colourBits = colourBits(n, t); }},
      {"--extra-bytes", "N", "bytes to append to each record (default 0)",
       [](Options& o, Text n, Text t) { o.extraBytes = wholeNumber(n, t, 0, kExtraBytesMost); }},
      {"--header-box", "BOX", "bounds in the header: true, wide (a kilometre too much), empty (zeros) or nan",
       [](Options& o, Text n, Text t) { o.headerBox = headerBox(n, t); }},
      {"--cut-at", "BYTE", "cut the finished file off at this length",
       [](Options& o, Text n, Text t) {
         o.cutAtByte = wholeNumber(n, t, 0, std::numeric_limits<std::uint64_t>::max());
       }},
      {"--cut-records", "N", "leave out the last records, which the header still counts",
       [](Options& o, Text n, Text t) { o.cutRecords = wholeNumber(n, t, 1, kPointsMost); }},
      {"--sparse-offset", "BYTE", "where the points begin; the hole before them takes no space on most disks",
       [](Options& o, Text n, Text t) { o.sparseOffset = wholeNumber(n, t, 0, kOffsetMost); }},
      {"--help", "", "this text", [](Options& o, Text, Text) { o.help = true; }},
  };
  return all;
}

// Formats were introduced with version 1.0 (0, 1), 1.2 (2, 3), 1.3 (4, 5) and 1.4 (the others).
unsigned leastVersion(unsigned format) {
  return format >= 6 ? 4 : format >= 4 ? 3 : format >= 2 ? 2 : 0;
}

void checkTogether(const Options& options) {
  if (options.path.empty()) throw ArgumentError("the name of the file to write is missing");
  if (!options.points) throw ArgumentError("--points is missing: it says how many points to write");
  if (options.version() < leastVersion(options.format)) {
    refuse(
        "--las-version", "1." + std::to_string(options.version()),
        "point format " + std::to_string(options.format) + " needs 1." + std::to_string(leastVersion(options.format)));
  }
  if (options.version() < 4 && *options.points > std::numeric_limits<std::uint32_t>::max()) {
    refuse("--points", std::to_string(*options.points), "before version 1.4 a file holds at most 4294967295");
  }
  if (options.cutRecords > *options.points) {
    refuse("--cut-records", std::to_string(options.cutRecords), "is more than there are points");
  }
  if (options.cutAtByte && options.cutRecords > 0) throw ArgumentError("--cut-at and --cut-records exclude each other");
}

void takeFlag(Options& options, const std::vector<std::string>& arguments, std::size_t& place) {
  const std::string& name = arguments[place];
  const auto flag = std::find_if(flags().begin(), flags().end(), [&](const Flag& one) { return one.name == name; });
  if (flag == flags().end()) throw ArgumentError(name + ": no such option; --help lists them");
  if (!flag->value.empty() && ++place == arguments.size()) throw ArgumentError(name + ": its value is missing");
  flag->set(options, name, arguments[place]);
}

}  // namespace

unsigned Options::version() const {
  return versionMinor.value_or(std::max(2U, leastVersion(format)));
}

Options Options::parse(const std::vector<std::string>& arguments) {
  Options options;
  for (std::size_t place = 0; place < arguments.size(); ++place) {
    const std::string& argument = arguments[place];
    if (argument.compare(0, 2, "--") == 0) {
      takeFlag(options, arguments, place);
    } else if (options.path.empty()) {
      options.path = argument;
    } else {
      throw ArgumentError("\"" + argument + "\": a file to write has been named already, \"" + options.path + "\"");
    }
  }
  if (!options.help) checkTogether(options);
  return options;
}

std::string Options::helpText() {
  std::ostringstream text;
  text << "quor_make_scan OUT.las --points N [options]\n\n"
          "Writes a simulated lidar scan of a small town, of any size, as LAS 1.4.\n\n";
  for (const Flag& flag : flags()) {
    std::string left = "  " + flag.name + (flag.value.empty() ? "" : " " + flag.value);
    left.resize(std::max<std::size_t>(left.size() + 2, 26), ' ');
    text << left << flag.help << "\n";
  }
  return text.str();
}

}  // namespace QuorViewer
