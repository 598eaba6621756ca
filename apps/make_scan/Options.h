#pragma once

#include "make_scan/Scanner.h"

#include <array>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace QuorViewer {

/// An invalid argument. The text names it, what was given, and what is allowed.
class ArgumentError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The bounds that the header states.
enum class HeaderBox { True, Wide, Empty, NotANumber };

/// The options of `quor_make_scan`.
struct Options {
  std::string path;
  std::optional<std::uint64_t> points;
  Survey survey;
  std::array<double, 3> origin{};
  unsigned format = 7;
  std::optional<unsigned> versionMinor;  ///< of LAS 1.x; if absent, the one that suits the format
  std::uint64_t extraBytes = 0;
  unsigned colourBits = 16;
  double scale = 0.001;
  HeaderBox headerBox = HeaderBox::True;
  std::optional<std::uint64_t> cutAtByte;
  std::uint64_t cutRecords = 0;
  std::uint64_t sparseOffset = 0;
  bool help = false;

  unsigned version() const;

  /// From the arguments after the program's name. Throws ArgumentError.
  static Options parse(const std::vector<std::string>& arguments);

  static std::string helpText();
};

}  // namespace QuorViewer
