#include "make_scan/Options.h"

#include "common/CommandLine.h"
#include "common/Values.h"
#include "make_scan/Terrain.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <limits>

namespace QuorViewer {

namespace {

constexpr std::uint64_t kPointsMost = 100'000'000'000;
constexpr std::uint64_t kExtraBytesMost = 1000;
constexpr std::uint64_t kOffsetMost = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint64_t kAnyMost = std::numeric_limits<std::uint64_t>::max();

template <typename Number>
struct WholeNumberOption {
  std::string name, placeholder, help;
  Number least, most;
};

template <typename Number, typename Target>
void addWholeNumber(CLI::App& app, const WholeNumberOption<Number>& option, Target& into) {
  const std::string accepted =
      "a whole number from " + std::to_string(option.least) + " to " + std::to_string(option.most);
  addOption(app, {option.name, option.placeholder, accepted, option.help}, into,
            [least = option.least, most = option.most](const std::string& text) {
              return readNumber<Number>(text, least, most);
            });
}

std::optional<std::array<double, 3>> readPosition(std::string text) {
  std::replace(text.begin(), text.end(), ',', ' ');
  return readNumbers<3>(text);
}

std::optional<unsigned> readVersionMinor(const std::string& text) {
  return readWord<unsigned>(text, {{"1.0", 0}, {"1.1", 1}, {"1.2", 2}, {"1.3", 3}, {"1.4", 4}});
}

std::optional<double> readScale(const std::string& text) {
  // A coordinate is at most half the town's size from the origin, and is stored in 31 bits and a sign.
  const double least = Terrain::kHalfSizeMetres / std::numeric_limits<std::int32_t>::max();
  const auto scale = readNumber<double>(text);
  return scale && *scale > least && *scale <= 10.0 ? scale : std::nullopt;
}

std::optional<unsigned> readColourBits(const std::string& text) {
  return readWord<unsigned>(text, {{"8", 8}, {"16", 16}});
}

std::optional<HeaderBox> readHeaderBox(const std::string& text) {
  return readWord<HeaderBox>(text, {{"true", HeaderBox::True},
                                    {"wide", HeaderBox::Wide},
                                    {"empty", HeaderBox::Empty},
                                    {"nan", HeaderBox::NotANumber}});
}

void addSurveyOptions(CLI::App& app, Options& into) {
  app.option_defaults()->group("Survey");
  addWholeNumber<std::uint64_t>(app, {"--points", "N", "exact number of points to write; required", 0, kPointsMost},
                                into.points);
  addWholeNumber<unsigned>(
      app,
      {"--stations", "K", "number of tripods in the town, or of flight lines over it; default: 4", 1, kStationsMost},
      into.survey.stations);
  app.add_flag("--airborne", into.survey.airborne, "scan from the air, in strips");
  addWholeNumber<std::uint64_t>(
      app,
      {"--seed", "S", "seed of the random pulses; another seed gives another scan of the same town;\ndefault: 1", 0,
       kAnyMost},
      into.survey.seed);
  addOption(app,
            {"--origin", "\"X Y Z\"", "three numbers in one argument, \"x y z\"",
             "coordinates of the town's centre; default: \"0 0 0\""},
            into.origin, readPosition);
}

void addFormatOptions(CLI::App& app, Options& into) {
  app.option_defaults()->group("File format");
  addWholeNumber<unsigned>(app, {"--format", "F", "point data record format, 0 to 10; default: 7", 0, 10}, into.format);
  addOption(app,
            {"--las-version", "V", "1.0, 1.1, 1.2, 1.3 or 1.4",
             "1.0 to 1.4; default: 1.2 for formats 0 to 3, 1.3 for 4 and 5,\n1.4 for 6 to 10"},
            into.versionMinor, readVersionMinor);
  addOption(app,
            {"--scale", "S", "a number of metres above 1.2e-7, so that coordinates fit into 32 bits, and at most 10",
             "resolution of the coordinates in metres; default: 0.001"},
            into.scale, readScale);
  addOption(
      app,
      {"--colour-bits", "8|16", "8 or 16", "range of the colours: 8 (0 to 255) or 16 (0 to 65535) bits; default: 16"},
      into.colourBits, readColourBits);
  addWholeNumber<std::uint64_t>(
      app, {"--extra-bytes", "N", "bytes appended to each record; default: 0", 0, kExtraBytesMost}, into.extraBytes);
}

void addFaultOptions(CLI::App& app, Options& into) {
  app.option_defaults()->group("Unusual and damaged files");
  addOption(app,
            {"--header-box", "BOX", "true, wide, empty or nan",
             "bounds in the header: true, wide (1 km wider on each side), empty (zeros)\nor nan; default: true"},
            into.headerBox, readHeaderBox);
  addWholeNumber<std::uint64_t>(app, {"--cut-at", "BYTE", "truncate the finished file to this length", 0, kAnyMost},
                                into.cutAtByte);
  addWholeNumber<std::uint64_t>(
      app, {"--cut-records", "N", "omit the last N records, which the header still counts", 1, kPointsMost},
      into.cutRecords);
  addWholeNumber<std::uint64_t>(
      app,
      {"--sparse-offset", "BYTE", "offset of the first point; on most file systems the gap takes no disk space", 0,
       kOffsetMost},
      into.sparseOffset);
}

void addHelp(CLI::App& app) {
  app.option_defaults()->group("Help");
  app.set_help_flag("-h,--help", "print this help and quit");
  app.footer(
      "Examples:\n"
      "  quor_make_scan town.las --points 10000000\n"
      "  quor_make_scan strips.las --points 500000 --airborne --origin \"431000 5412000 300\"");
}

// Formats were introduced with version 1.0 (0, 1), 1.2 (2, 3), 1.3 (4, 5) and 1.4 (the others).
unsigned leastVersion(unsigned format) {
  return format >= 6 ? 4 : format >= 4 ? 3 : format >= 2 ? 2 : 0;
}

std::string pathAmong(const std::vector<std::string>& files) {
  if (files.empty() || files.front().empty()) {
    throw invalidArgument("the output file is missing");
  }
  if (files.size() > 1) {
    throw invalidArgument("only one output file can be given: '" + files[0] + "' or '" + files[1] + "'");
  }
  return files.front();
}

void checkTogether(const Options& options) {
  if (!options.points) {
    throw invalidArgument("--points is required");
  }
  if (options.version() < leastVersion(options.format)) {
    throw invalidValue("--las-version",
                       "at least 1." + std::to_string(leastVersion(options.format)) + " for point format " +
                           std::to_string(options.format),
                       "1." + std::to_string(options.version()));
  }
  if (options.version() < 4 && *options.points > std::numeric_limits<std::uint32_t>::max()) {
    throw invalidValue("--points", "at most 4294967295 before version 1.4", std::to_string(*options.points));
  }
  if (options.cutRecords > *options.points) {
    throw invalidValue("--cut-records", "no more than --points", std::to_string(options.cutRecords));
  }
  if (options.cutAtByte && options.cutRecords > 0) {
    throw invalidArgument("--cut-at and --cut-records cannot be combined");
  }
}

}  // namespace

unsigned Options::version() const {
  return versionMinor.value_or(std::max(2U, leastVersion(format)));
}

Options Options::parse(const std::vector<std::string>& arguments) {
  Options options;
  CLI::App app("Writes a simulated lidar scan of a small town as LAS, with any number of points.");
  prepare(app, "quor_make_scan OUT.las --points N [OPTION...]");
  addSurveyOptions(app, options);
  addFormatOptions(app, options);
  addFaultOptions(app, options);
  addHelp(app);
  const CommandLine line = parseCommandLine(app, arguments);
  options.answer = line.answer;
  if (!options.answer.empty()) {
    return options;
  }
  options.path = pathAmong(line.files);
  checkTogether(options);
  return options;
}

}  // namespace QuorViewer
