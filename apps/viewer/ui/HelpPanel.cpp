#include "viewer/ui/HelpPanel.h"

#include <algorithm>
#include <utility>

namespace QuorViewer {
namespace {

constexpr float kMargin = 8.0f;
constexpr float kPadding = 18.0f;
constexpr float kColumnGap = 36.0f;
constexpr float kInputGap = 20.0f;
constexpr float kTitleHeight = 34.0f;
constexpr float kAscentShare = 0.95f;  // of the text size, from the base line to the top of a line
const osg::Vec4f kHelpColour(0.055f, 0.065f, 0.085f, 0.93f);

osg::Vec2f sizeOf(const Overlay::Rectangle& rectangle) {
  return rectangle.high - rectangle.low;
}

/// One text for each column of rows, so that lines with and without text stay aligned.
struct ColumnTexts {
  std::vector<std::string> headings, inputs, effects;
};

ColumnTexts textsOf(const std::vector<HelpRow>& lines, std::size_t first, std::size_t count) {
  ColumnTexts texts;
  for (std::size_t line = first; line < std::min(first + count, lines.size()); ++line) {
    const auto& [input, effect] = lines[line];
    texts.headings.push_back(effect.empty() ? input : std::string());
    texts.inputs.push_back(effect.empty() ? std::string() : input);
    texts.effects.push_back(effect);
  }
  return texts;
}

}  // namespace

HelpPanel::HelpPanel(const HelpRows& rows) : _node(new osg::Group), _rows(rows) {}

void HelpPanel::show(bool show) {
  _firstLine = 0;
  _node->setNodeMask(show ? ~0U : 0U);
  _arrange();
}

void HelpPanel::layOut(const Overlay::Rectangle& area) {
  if (area.low == _area.low && area.high == _area.high) {
    return;
  }
  _area = area;
  _arrange();
}

// A hidden panel is not arranged, because measuring all its texts takes some milliseconds.
void HelpPanel::_arrange() {
  if (!isShown()) {
    return;
  }
  const osg::Vec2f around(2.0f * (kMargin + kPadding), 2.0f * (kMargin + kPadding) + kTitleHeight);
  const osg::Vec2f left = sizeOf(_area) - around;
  _layout = layOutHelp(_rows, {left.x(), left.y(), kColumnGap, kInputGap}, {Overlay::widthOf, Overlay::linePitch});
  scroll(0);
  _build();
}

void HelpPanel::scroll(int lines) {
  const std::size_t all = _layout.columns.empty() ? 0 : _layout.columns.front().size();
  const std::size_t most = _layout.scrolls() ? all - _layout.linesShown : 0;
  const int wanted = static_cast<int>(_firstLine) + lines;
  const std::size_t first = std::min(static_cast<std::size_t>(std::max(wanted, 0)), most);
  if (first != _firstLine) {
    _firstLine = first;
    _build();
  }
}

osg::Vec2f HelpPanel::_contentSize() const {
  const auto count = static_cast<float>(_layout.columns.size());
  const float column = _layout.inputWidth + kInputGap + _layout.effectWidth;
  return {count * column + (count - 1.0f) * kColumnGap,
          kTitleHeight + static_cast<float>(_layout.linesShown) * Overlay::linePitch(_layout.textSize)};
}

void HelpPanel::_build() {
  _node->removeChildren(0, _node->getNumChildren());
  const osg::Vec2f size = _contentSize() + osg::Vec2f(kPadding, kPadding) * 2.0f;
  const osg::Vec2f low = (_area.low + _area.high - size) * 0.5f;
  const osg::ref_ptr<osg::Geometry> panel = Overlay::createRectangle(kHelpColour);
  Overlay::setRectangle(*panel, {low, low + size});
  _node->addChild(panel);
  osg::Vec2f topLeft(low.x() + kPadding, low.y() + size.y() - kPadding);
  _addTitle(topLeft, size.x() - 2.0f * kPadding);
  topLeft.y() -= kTitleHeight;
  for (const std::vector<HelpRow>& lines : _layout.columns) {
    _addColumn(lines, topLeft);
    topLeft.x() += _layout.inputWidth + kInputGap + _layout.effectWidth + kColumnGap;
  }
}

void HelpPanel::_addTitle(const osg::Vec2f& topLeft, float width) {
  const osg::Vec2f baseLine = topLeft - osg::Vec2f(0.0f, kAscentShare * _layout.textSize);
  _addText("Mouse and keys", Overlay::kTextColour, baseLine);
  _addText(_hint(), Overlay::kQuietTextColour, baseLine + osg::Vec2f(width, 0.0f), osgText::Text::RIGHT_BASE_LINE);
}

std::string HelpPanel::_hint() const {
  if (!_layout.scrolls()) {
    return "H closes the help";
  }
  const std::size_t last = _firstLine + _layout.linesShown;
  return "Wheel or arrow keys scroll: lines " + std::to_string(_firstLine + 1) + " to " + std::to_string(last) +
         " of " + std::to_string(_layout.columns.front().size());
}

void HelpPanel::_addColumn(const std::vector<HelpRow>& lines, const osg::Vec2f& topLeft) {
  const ColumnTexts texts = textsOf(lines, _firstLine, _layout.linesShown);
  const osg::Vec2f baseLine = topLeft - osg::Vec2f(0.0f, kAscentShare * _layout.textSize);
  const osg::Vec2f effectPlace = baseLine + osg::Vec2f(_layout.inputWidth + kInputGap, 0.0f);
  _addText(Overlay::joined(texts.headings), Overlay::kQuietTextColour, baseLine);
  _addText(Overlay::joined(texts.inputs), Overlay::kAccentColour, baseLine);
  _addText(Overlay::joined(texts.effects), Overlay::kTextColour, effectPlace);
}

void HelpPanel::_addText(const std::string& utf8, const osg::Vec4f& colour, const osg::Vec2f& baseLine,
                         osgText::Text::AlignmentType alignment) {
  const osg::ref_ptr<osgText::Text> text = Overlay::createText(_layout.textSize, colour, alignment);
  Overlay::setText(*text, utf8);
  Overlay::setPlace(*text, baseLine);
  _node->addChild(text);
}

}  // namespace QuorViewer
