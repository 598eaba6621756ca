#include "viewer/ui/HelpLayout.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>

namespace QuorViewer {
namespace {

constexpr float kTextSizesPixels[] = {15.0f, 14.0f, 13.0f};
constexpr std::size_t kMostColumns = 3;

using Lines = std::vector<HelpRow>;

bool isHeading(const HelpRow& row) {
  return row.second.empty() && !row.first.empty();
}

bool isEmpty(const HelpRow& row) {
  return row.first.empty() && row.second.empty();
}

/// The rows, with an empty line above each heading but the first.
Lines linesOf(const HelpRows& rows) {
  Lines lines;
  for (const HelpRow& row : rows) {
    if (isHeading(row) && !lines.empty()) {
      lines.emplace_back();
    }
    lines.push_back(row);
  }
  return lines;
}

/// The number of lines from `first` on that should not be separated: the whole group, or a heading and the row below.
std::size_t unitFrom(const Lines& lines, std::size_t first, bool wholeGroups) {
  if (!isHeading(lines[first])) {
    return 1;
  }
  const auto begin = lines.begin() + static_cast<std::ptrdiff_t>(first);
  const auto length = static_cast<std::size_t>(std::distance(begin, std::find_if(begin, lines.end(), isEmpty)));
  return wholeGroups ? length : std::min<std::size_t>(length, 2);
}

/// Fills columns of `height` lines. No column begins with an empty line or ends with a heading.
std::vector<Lines> flow(const Lines& lines, std::size_t height, bool wholeGroups) {
  std::vector<Lines> columns(1);
  for (std::size_t next = 0; next < lines.size(); ++next) {
    const bool full = columns.back().size() + unitFrom(lines, next, wholeGroups) > height;
    if (full && !columns.back().empty()) {
      columns.emplace_back();
    }
    if (!columns.back().empty() || !isEmpty(lines[next])) {
      columns.back().push_back(lines[next]);
    }
  }
  return columns;
}

/// In at most `count` columns, as short as possible.
std::vector<Lines> inColumns(const Lines& lines, std::size_t count, bool wholeGroups) {
  std::size_t height = (lines.size() + count - 1) / count;
  std::vector<Lines> columns = flow(lines, height, wholeGroups);
  while (columns.size() > count) {
    columns = flow(lines, ++height, wholeGroups);
  }
  return columns;
}

std::size_t longest(const std::vector<Lines>& columns) {
  std::size_t most = 0;
  for (const Lines& column : columns) {
    most = std::max(most, column.size());
  }
  return most;
}

std::size_t countFitting(float available, float each) {
  return static_cast<std::size_t>(std::max(std::floor(available / each), 0.0f));
}

/// The widths with all texts in one line.
HelpLayout measured(const Lines& lines, float size, const HelpFont& font) {
  HelpLayout layout;
  layout.textSize = size;
  for (const auto& [input, effect] : lines) {
    float& width = effect.empty() ? layout.effectWidth : layout.inputWidth;  // a heading may reach over both
    width = std::max(width, effect.empty() ? 0.0f : font.widthOf(input, size));
    layout.effectWidth = std::max(layout.effectWidth, font.widthOf(effect, size));
  }
  return layout;
}

HelpLayout scrolling(const Lines& lines, const HelpSpace& space, const HelpFont& font) {
  HelpLayout layout = measured(lines, kTextSizesPixels[std::size(kTextSizesPixels) - 1], font);
  layout.effectWidth = std::min(layout.effectWidth, std::max(space.width - layout.inputWidth - space.inputGap, 1.0f));
  layout.columns.emplace_back();
  const TextWidth widthOf = [&](const std::string& text) { return font.widthOf(text, layout.textSize); };
  for (const auto& [input, effect] : lines) {
    const std::vector<std::string> parts =
        fitLines(effect, layout.effectWidth, std::numeric_limits<std::size_t>::max(), widthOf);
    layout.columns.front().emplace_back(input, parts.empty() ? std::string() : parts.front());
    for (std::size_t part = 1; part < parts.size(); ++part) {
      layout.columns.front().emplace_back(std::string(), parts[part]);
    }
  }
  layout.linesShown = std::clamp<std::size_t>(countFitting(space.height, font.pitch(layout.textSize)), 1,
                                              std::max<std::size_t>(layout.columns.front().size(), 1));
  return layout;
}

}  // namespace

HelpLayout layOutHelp(const HelpRows& rows, const HelpSpace& space, const HelpFont& font) {
  const Lines lines = linesOf(rows);
  for (const bool wholeGroups : {true, false}) {
    for (const float size : kTextSizesPixels) {
      HelpLayout layout = measured(lines, size, font);
      const float columnWidth = layout.inputWidth + space.inputGap + layout.effectWidth;
      const std::size_t most =
          std::min(countFitting(space.width + space.columnGap, columnWidth + space.columnGap), kMostColumns);
      for (std::size_t count = 1; count <= most; ++count) {
        layout.columns = inColumns(lines, count, wholeGroups);
        layout.linesShown = longest(layout.columns);
        if (layout.linesShown <= countFitting(space.height, font.pitch(size))) {
          return layout;
        }
      }
    }
  }
  return scrolling(lines, space, font);
}

}  // namespace QuorViewer
