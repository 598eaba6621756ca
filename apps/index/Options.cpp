#include "index/Options.h"

#include "common/CommandLine.h"
#include "common/Values.h"

#include <CLI/CLI.hpp>

#include <optional>

namespace QuorViewer {
namespace {

std::optional<std::string> readName(const std::string& text) {
  return text.empty() ? std::nullopt : std::optional(text);
}

std::optional<unsigned> readThreads(const std::string& text) {
  return readNumber<unsigned>(text, 1, 1024);
}

}  // namespace

IndexOptions IndexOptions::parse(const std::vector<std::string>& arguments) {
  IndexOptions options;
  CLI::App app("Builds the level-of-detail indexes of scans, which quor_viewer otherwise builds when it opens them.");
  prepare(app, "quor_index SCAN... [OPTION...]");
  app.option_defaults()->group("Options");
  addOption(app,
            {"--index-dir", "FOLDER", "the name of a folder",
             "folder for the indexes; default: quor_osg_utils/index in the user's\ncache folder"},
            options.folder, readName);
  addOption(app,
            {"--index-limit", "GIB", "a number of GiB from 0.0001 to 1000000",
             "total size of the indexes in that folder; default: a tenth of the disk\n"
             "space that is free or used by them"},
            options.limitBytes, readGibibytes);
  addOption(app,
            {"--memory", "GIB", "a number of GiB from 0.0001 to 1000000",
             "memory to use; default: half of the machine's memory"},
            options.memoryBytes, readGibibytes);
  addOption(app,
            {"--threads", "N", "a whole number from 1 to 1024", "number of threads; default: one for each processor"},
            options.threads, readThreads);
  app.add_flag("--rebuild", options.rebuild, "rebuild indexes that are up to date");
  app.option_defaults()->group("Help");
  app.set_help_flag("-h,--help", "print this help and quit");
  app.footer(
      "Examples:\n"
      "  quor_index city.las\n"
      "  quor_index --memory 4 --index-dir /data/index tiles/*.laz");
  const CommandLine line = parseCommandLine(app, arguments);
  options.answer = line.answer;
  options.scans = line.files;
  if (options.answer.empty() && options.scans.empty()) {
    throw invalidArgument("the scan is missing");
  }
  return options;
}

}  // namespace QuorViewer
