#pragma once

#include "make_scan/Scanner.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace QuorViewer {

/// Bounds in the header: correct, 1 km too large, zero, or not a number.
enum class HeaderBox { True, Wide, Empty, NotANumber };

/// The options of `quor_make_scan`.
struct Options {
  std::string path;
  std::optional<std::uint64_t> points;
  Survey survey;
  std::array<double, 3> origin{};
  unsigned format = 7;
  std::optional<unsigned> versionMinor;  ///< of LAS 1.x; if absent, see version()
  std::uint64_t extraBytes = 0;
  unsigned colourBits = 16;
  double scale = 0.001;
  HeaderBox headerBox = HeaderBox::True;
  std::optional<std::uint64_t> cutAtByte;
  std::uint64_t cutRecords = 0;
  std::uint64_t sparseOffset = 0;
  std::string answer;  ///< to --help, to be printed instead of writing a scan; empty: it was not given

  /// `versionMinor`, or the first version from 1.2 that has the point format.
  unsigned version() const;

  /// From the arguments after the program's name. Throws std::invalid_argument with a message for the user.
  static Options parse(const std::vector<std::string>& arguments);
};

}  // namespace QuorViewer
