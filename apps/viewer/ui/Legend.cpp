#include "viewer/ui/Legend.h"

#include "viewer/render/PointClasses.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace QuorViewer {
namespace {

constexpr float kPadding = 12.0f;
constexpr float kTitleHeight = 26.0f;
constexpr float kGreatestRampHeight = 168.0f;
constexpr float kLeastRampHeight = 36.0f;
constexpr float kRampWidth = 14.0f;
constexpr float kRowHeight = 21.0f;
constexpr float kSwatchSize = 11.0f;
constexpr float kGap = 10.0f;
constexpr float kWindowMargin = 16.0f;
constexpr int kRampPieces = 24;
constexpr std::size_t kMostRows = 16;

osg::Vec4f colourOnRamp(ColourMode mode, float fraction) {
  constexpr float kDarkestGrey = 0.12f;
  if (mode == ColourMode::Intensity) {
    const float grey = kDarkestGrey + (1.0f - kDarkestGrey) * fraction;
    return {grey, grey, grey, 1.0f};
  }
  return {rampColour(std::pow(fraction, kElevationExponent)), 1.0f};
}

osg::Vec4f classColour(unsigned int code) {
  const osg::Vec4ub bytes = classificationColour(code);
  return osg::Vec4f(bytes.r(), bytes.g(), bytes.b(), bytes.a()) / 255.0f;
}

osg::ref_ptr<osg::Geometry> createPatch(const osg::Vec4f& low, const osg::Vec4f& high,
                                        const Overlay::Rectangle& place) {
  osg::ref_ptr<osg::Geometry> patch = Overlay::createRectangle(low, high);
  Overlay::setRectangle(*patch, place);
  return patch;
}

}  // namespace

Legend::Legend() : _node(new osg::Group), _panel(new osg::MatrixTransform) {
  _node->addChild(_panel);
}

void Legend::hide() {
  _show(nullptr);
}

void Legend::showRamp(ColourMode mode, const std::string& low, const std::string& high) {
  _show([this, mode, low, high] { _buildRamp(mode, low, high); });
}

void Legend::showClasses(const std::vector<unsigned int>& codes) {
  _show([this, codes] { _buildClasses(codes); });
}

void Legend::layOut(const Overlay::Rectangle& area) {
  const bool sameHeight = area.high.y() - area.low.y() == _area.high.y() - _area.low.y();
  _area = area;
  if (sameHeight) {
    _setPlace();
  } else {
    _rebuild();
  }
}

void Legend::_show(std::function<void()> build) {
  _build = std::move(build);
  _rebuild();
}

void Legend::_rebuild() {
  _panel->removeChildren(0, _panel->getNumChildren());
  if (_build) {
    _build();
  }
}

// For the content below the title.
float Legend::_heightLeft() const {
  return _area.high.y() - _area.low.y() - 2.0f * (kWindowMargin + kPadding) - kTitleHeight;
}

// The origin is the panel's top left corner; the content extends downwards from there.
void Legend::_buildRamp(ColourMode mode, const std::string& low, const std::string& high) {
  const float height = std::min(std::floor(_heightLeft()), kGreatestRampHeight);
  if (height < kLeastRampHeight) {
    return;
  }
  const float bottom = -kPadding - kTitleHeight - height;
  for (int piece = 0; piece < kRampPieces; ++piece) {
    const float from = static_cast<float>(piece) / kRampPieces;
    const float to = static_cast<float>(piece + 1) / kRampPieces;
    const Overlay::Rectangle place = {{kPadding, bottom + from * height},
                                      {kPadding + kRampWidth, bottom + to * height}};
    _panel->addChild(createPatch(colourOnRamp(mode, from), colourOnRamp(mode, to), place));
  }
  const float labelX = kPadding + kRampWidth + kGap;
  _addLabel(titleOf(mode), {kPadding, -kPadding - kSwatchSize}, true);
  _addLabel(high, {labelX, bottom + height - kSwatchSize}, false);
  _addLabel(low, {labelX, bottom + 1.0f}, false);
  _finish(-bottom);
}

void Legend::_buildClasses(const std::vector<unsigned int>& codes) {
  const auto fitting = static_cast<std::size_t>(std::max(_heightLeft() / kRowHeight, 0.0f));
  const std::size_t rows = std::min({codes.size(), fitting, kMostRows});
  if (rows == 0) {
    return;
  }
  const std::size_t named = rows < codes.size() ? rows - 1 : rows;
  _addLabel(titleOf(ColourMode::Classification), {kPadding, -kPadding - kSwatchSize}, true);
  float y = -kPadding - kTitleHeight - kSwatchSize;
  for (std::size_t row = 0; row < named; ++row, y -= kRowHeight) {
    const osg::Vec4f colour = classColour(codes[row]);
    _panel->addChild(createPatch(colour, colour, {{kPadding, y}, {kPadding + kSwatchSize, y + kSwatchSize}}));
    const std::string words = std::to_string(codes[row]) + "  " + classificationName(codes[row]);
    _addLabel(words, {kPadding + kSwatchSize + kGap, y}, false);
  }
  if (named < codes.size()) {
    const std::string others = (named > 0 ? "and " + std::to_string(codes.size() - named) + " more classes"
                                          : std::to_string(codes.size()) + " classes");
    _addLabel(others, {kPadding, y}, false);
    y -= kRowHeight;
  }
  _finish(-y - kRowHeight + kSwatchSize);
}

void Legend::_setPlace() {
  const osg::Vec2f corner = _area.high - osg::Vec2f(_width + kWindowMargin, kWindowMargin);
  _panel->setMatrix(osg::Matrixd::translate(corner.x(), corner.y(), 0.0));
}

void Legend::_addLabel(const std::string& words, const osg::Vec2f& place, bool title) {
  osg::ref_ptr<osgText::Text> label =
      Overlay::createText(Overlay::kSmallTextSizePixels, title ? Overlay::kTextColour : Overlay::kQuietTextColour,
                          osgText::Text::LEFT_BASE_LINE);
  Overlay::setText(*label, words);
  Overlay::setPlace(*label, place);
  _panel->addChild(label);
}

// Adds the panel behind the content.
void Legend::_finish(float contentHeight) {
  osg::BoundingBox content;
  for (unsigned int child = 0; child < _panel->getNumChildren(); ++child) {
    content.expandBy(_panel->getChild(child)->asDrawable()->getBoundingBox());
  }
  _width = std::ceil(content.xMax() + kPadding);
  _panel->insertChild(0, createPatch(Overlay::kPanelColour, Overlay::kPanelColour,
                                     {{0.0f, -contentHeight - kPadding}, {_width, 0.0f}}));
  _setPlace();
}

}  // namespace QuorViewer
