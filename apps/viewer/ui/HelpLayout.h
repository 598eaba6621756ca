#pragma once

#include "viewer/ui/TextFit.h"

#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace QuorViewer {

/// A row of the help: an input and its effect. A row without effect is a heading.
using HelpRow = std::pair<std::string, std::string>;
using HelpRows = std::vector<HelpRow>;

/// How the help is arranged in an area. Sizes in pixels.
struct HelpLayout {
  float textSize = 0.0f;
  float inputWidth = 0.0f;                    ///< of the widest input
  float effectWidth = 0.0f;                   ///< of the widest effect
  std::size_t linesShown = 0;                 ///< in each column; if there are more lines, the help scrolls
  std::vector<std::vector<HelpRow>> columns;  ///< lines, including empty ones above headings

  bool scrolls() const { return !columns.empty() && columns.front().size() > linesShown; }
};

/// What a layout must keep to.
struct HelpSpace {
  float width = 0.0f;   ///< for all columns, without padding
  float height = 0.0f;  ///< for the lines
  float columnGap = 0.0f;
  float inputGap = 0.0f;  ///< between an input and its effect
};

/// The measures of the font at a size.
struct HelpFont {
  std::function<float(const std::string& utf8, float size)> widthOf;
  std::function<float(float size)> pitch;  ///< from one line to the next
};

/// Arranges the rows: with the largest text, and in the fewest columns, with which all rows are visible, if possible
/// without splitting a group. If there is no such arrangement, in one column with the smallest text, in which long
/// effects are broken into lines and which scrolls.
HelpLayout layOutHelp(const HelpRows& rows, const HelpSpace& space, const HelpFont& font);

}  // namespace QuorViewer
