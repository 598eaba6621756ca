#pragma once

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace QuorViewer {

/// An option with a value. Its error messages are "NAME expects ACCEPTED, not 'VALUE'" and "NAME expects ACCEPTED, but
/// none is given".
struct ValueOption {
  std::string name;         ///< with its dashes
  std::string placeholder;  ///< for the value, in the help
  std::string accepted;
  std::string help;  ///< may have several lines
};

/// The contents of a command line besides the options.
struct CommandLine {
  std::string answer;  ///< to --help or --version: the program prints it and ends. Empty: neither was given
  std::vector<std::string> files;
};

/// Error of an invalid command line, with a hint at --help.
std::invalid_argument invalidArgument(const std::string& what);

/// Error of a value that an option does not accept.
std::invalid_argument invalidValue(const std::string& option, const std::string& accepted, const std::string& given);

/// Before the options are added: sets how `app` parses and what its help looks like. `usage` is the help's first line.
void prepare(CLI::App& app, const std::string& usage);

/// Adds an option; the last of several values counts. `read` takes over a value, or returns false if it is not
/// accepted.
void addOption(CLI::App& app, const ValueOption& option, std::function<bool(const std::string&)> read);

/// Adds an option whose value `read` converts into a std::optional, empty if the value is not accepted. `into` must
/// outlive the parsing.
template <typename Target, typename Read>
void addOption(CLI::App& app, const ValueOption& option, Target& into, Read read) {
  addOption(app, option, [&into, read](const std::string& text) {
    const auto value = read(text);
    if (value) {
      into = *value;
    }
    return value.has_value();
  });
}

/// Parses `arguments`, which do not include the program's name. A value is the rest of its option's argument after an
/// equals sign, or the next argument unless that is another option or `--`. Other arguments without a dash, and all
/// after `--`, are files. Throws std::invalid_argument.
CommandLine parseCommandLine(CLI::App& app, const std::vector<std::string>& arguments);

}  // namespace QuorViewer
