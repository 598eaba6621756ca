#include "common/CommandLine.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <optional>
#include <utility>

namespace QuorViewer {
namespace {

constexpr std::size_t kHelpColumn = 24;

// Usage, description, groups of options, footer.
class HelpFormatter : public CLI::Formatter {
 public:
  explicit HelpFormatter(std::string usage) : _usage(std::move(usage)) { column_width(kHelpColumn); }

  std::string make_help(const CLI::App* app, std::string, CLI::AppFormatMode) const override {
    std::string text = _usage + "\n\n" + app->get_description() + '\n';
    for (const std::string& group : app->get_groups()) {
      text += make_group(
          group, false, app->get_options([&group](const CLI::Option* option) { return option->get_group() == group; }));
    }
    return text + '\n' + make_footer(app);
  }

 private:
  std::string _usage;
};

std::string expectation(const std::string& option, const std::string& accepted, const std::string& given) {
  return option + " expects " + accepted + ", not '" + given + "'";
}

bool isOption(const std::string& argument) {
  return argument.size() > 1 && argument.front() == '-';
}

/// An argument, and the option that it names.
struct Argument {
  Argument(const CLI::App& app, const std::string& text) : name(text.substr(0, text.find('='))) {
    if (isOption(text)) {
      option = app.get_option_no_throw(name);
    }
    if (name.size() < text.size()) {
      value = text.substr(name.size() + 1);
    }
  }

  bool takesValue() const { return option->get_items_expected_max() > 0; }

  std::string name;
  std::optional<std::string> value;     // after an equals sign
  const CLI::Option* option = nullptr;  // null: a file or an unknown option
};

/// The value of an option, after an equals sign or in the next argument, which may be missing.
std::string valueOf(const CLI::App& app, const Argument& argument, const std::string* next) {
  if (argument.value) {
    return *argument.value;
  }
  if (next == nullptr || *next == "--" || Argument(app, *next).option != nullptr) {
    throw invalidArgument(argument.name + " expects " + argument.option->get_type_name() + ", but none is given");
  }
  return *next;
}

/// The options, with their values as separate arguments, and the other arguments.
struct Separated {
  std::vector<std::string> options;
  std::vector<std::string> others;
};

// CLI11 would take the next argument if the value after an equals sign is empty, an option as the value of another, and
// the beginning of an unknown option as a short one. So it gets only the options and the values meant for them.
Separated separate(const CLI::App& app, const std::vector<std::string>& arguments) {
  Separated separated;
  for (std::size_t at = 0; at < arguments.size(); ++at) {
    if (arguments[at] == "--") {
      separated.others.insert(separated.others.end(), arguments.begin() + static_cast<std::ptrdiff_t>(at),
                              arguments.end());
      break;
    }
    const Argument argument(app, arguments[at]);
    if (argument.option == nullptr) {
      separated.others.push_back(arguments[at]);
      continue;
    }
    separated.options.push_back(argument.name);
    if (argument.takesValue()) {
      separated.options.push_back(valueOf(app, argument, at + 1 < arguments.size() ? &arguments[at + 1] : nullptr));
      at += argument.value ? 0 : 1;
    } else if (argument.value) {
      throw invalidArgument(argument.name + " takes no value, not '" + *argument.value + "'");
    }
  }
  return separated;
}

std::vector<std::string> filesAmong(const std::vector<std::string>& others) {
  std::vector<std::string> files;
  bool onlyFilesFollow = false;
  for (const std::string& argument : others) {
    if (!onlyFilesFollow && argument == "--") {
      onlyFilesFollow = true;
    } else if (!onlyFilesFollow && isOption(argument)) {
      throw invalidArgument("unknown option '" + argument + "'");
    } else {
      files.push_back(argument);
    }
  }
  return files;
}

}  // namespace

std::invalid_argument invalidArgument(const std::string& what) {
  return std::invalid_argument(what + "; see --help");
}

std::invalid_argument invalidValue(const std::string& option, const std::string& accepted, const std::string& given) {
  return invalidArgument(expectation(option, accepted, given));
}

void prepare(CLI::App& app, const std::string& usage) {
  app.formatter(std::make_shared<HelpFormatter>(usage));
  app.allow_windows_style_options(false);  // a path may begin with a slash
  app.set_help_flag();                     // each program adds its own
  app.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
}

void addOption(CLI::App& app, const ValueOption& option, std::function<bool(const std::string&)> read) {
  const auto take = [name = option.name, accepted = option.accepted, read = std::move(read)](const std::string& text) {
    if (!read(text)) {
      throw CLI::ValidationError(expectation(name, accepted, text));
    }
  };
  app.add_option_function<std::string>(option.name, take, option.help)
      ->type_name(option.accepted)  // not shown in the help, which has the placeholder
      ->option_text(option.placeholder);
}

CommandLine parseCommandLine(CLI::App& app, const std::vector<std::string>& arguments) {
  try {
    const Separated separated = separate(app, arguments);
    app.parse(std::vector<std::string>(separated.options.rbegin(), separated.options.rend()));
    return {{}, filesAmong(separated.others)};
  } catch (const CLI::CallForHelp&) {
    return {app.help(), {}};
  } catch (const CLI::CallForVersion& version) {
    return {std::string(version.what()) + '\n', {}};
  } catch (const CLI::ParseError& error) {
    throw invalidArgument(error.what());
  }
}

}  // namespace QuorViewer
