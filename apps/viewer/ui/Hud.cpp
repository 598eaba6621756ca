#include "viewer/ui/Hud.h"

#include "viewer/render/ShaderProgram.h"
#include "viewer/ui/Overlay.h"

#include <osg/BlendFunc>
#include <osg/Depth>
#include <osg/MatrixTransform>

#include <algorithm>

namespace QuorViewer {
namespace {

constexpr float kBarHeight = 56.0f;
constexpr float kUpperBaseLine = 34.0f;
constexpr float kLowerBaseLine = 12.0f;
constexpr float kNoteHeight = 34.0f;
constexpr float kNoteBaseLine = 12.0f;
constexpr float kSideMargin = 14.0f;
constexpr float kProgressThickness = 3.0f;
constexpr float kHelpPadding = 24.0f;
constexpr float kHelpColumnGap = 28.0f;
constexpr float kHelpTitleHeight = 40.0f;

enum HelpText : std::size_t { kTitle, kInputs, kEffects };

osg::ref_ptr<osgText::Text> createBarText(const osg::Vec4f& colour, osgText::Text::AlignmentType alignment) {
  return Overlay::createText(Overlay::kTextSizePixels, colour, alignment);
}

void setUpState(osg::StateSet& state) {
  state.setAttributeAndModes(new osg::Depth(osg::Depth::ALWAYS, 0.0, 1.0, false), osg::StateAttribute::OFF);
  state.setAttributeAndModes(new osg::BlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA));
  state.setMode(GL_LIGHTING, osg::StateAttribute::OFF);
  // Panels are drawn before their text: in graph order, not by state or depth.
  state.setRenderBinDetails(DrawOrder::kHud, "TraversalOrderBin", osg::StateSet::OVERRIDE_RENDERBIN_DETAILS);
}

}  // namespace

Hud::Hud(const HelpRows& help) : _projection(new osg::Projection), _root(new osg::Group), _help(new osg::Group) {
  osg::ref_ptr<osg::MatrixTransform> window = new osg::MatrixTransform;
  window->setReferenceFrame(osg::Transform::ABSOLUTE_RF);
  window->setCullingActive(false);
  window->addChild(_root);
  _projection->setCullingActive(false);
  _projection->addChild(window);
  setUpState(*_projection->getOrCreateStateSet());
  _createBar();
  _root->addChild(_legend.node());
  _createHelp(help);
  showHelp(false);
}

void Hud::_createBar() {
  _bar = Overlay::createRectangle(Overlay::kPanelColour);
  _progressLine = Overlay::createRectangle(Overlay::kAccentColour);
  _message = createBarText(Overlay::kTextColour, osgText::Text::LEFT_BASE_LINE);
  _summary = createBarText(Overlay::kQuietTextColour, osgText::Text::LEFT_BASE_LINE);
  _resources = createBarText(Overlay::kQuietTextColour, osgText::Text::RIGHT_BASE_LINE);
  _notePanel = Overlay::createRectangle(Overlay::kPanelColour);
  _note = createBarText(Overlay::kTextColour, osgText::Text::LEFT_BASE_LINE);
  for (osg::Drawable* part :
       std::initializer_list<osg::Drawable*>{_bar, _progressLine, _message, _summary, _resources, _notePanel, _note}) {
    _root->addChild(part);
  }
}

void Hud::_createHelp(const HelpRows& rows) {
  std::string inputs, effects;
  for (const auto& [input, effect] : rows) {
    inputs += input + '\n';
    effects += effect + '\n';
  }
  _helpPanel = Overlay::createRectangle(Overlay::kPanelColour);
  _help->addChild(_helpPanel);
  const std::pair<std::string, osg::Vec4f> columns[] = {
      {"Mouse and keys", Overlay::kTextColour}, {inputs, Overlay::kAccentColour}, {effects, Overlay::kTextColour}};
  for (const auto& [words, colour] : columns) {
    osg::ref_ptr<osgText::Text> text = createBarText(colour, osgText::Text::LEFT_TOP);
    Overlay::setText(*text, words);
    _help->addChild(text);
    _helpTexts.push_back(text);
  }
  _root->addChild(_help);
}

void Hud::resize(int width, int height) {
  if (width == _width && height == _height) {
    return;
  }
  _width = width;
  _height = height;
  _projection->setMatrix(osg::Matrixd::ortho2D(0.0, std::max(width, 1), 0.0, std::max(height, 1)));
  _layOut();
}

void Hud::setMessage(const std::string& utf8) {
  Overlay::setText(*_message, utf8);
}

void Hud::setSummary(const std::string& utf8) {
  Overlay::setText(*_summary, utf8);
  _layOutResources();
}

void Hud::setResources(const std::string& utf8) {
  Overlay::setText(*_resources, utf8);
  _layOutResources();
}

void Hud::setNote(const std::string& utf8) {
  Overlay::setText(*_note, utf8);
  _layOutNote();
}

void Hud::setProgress(double share) {
  _progress = share;
  _layOut();
}

bool Hud::isHelpShown() const {
  return _help->getNodeMask() != 0U;
}

void Hud::showHelp(bool show) {
  _help->setNodeMask(show ? ~0U : 0U);
}

void Hud::_layOut() {
  const auto width = static_cast<float>(_width);
  const float done = _progress < 1.0 ? width * static_cast<float>(_progress) : 0.0f;
  Overlay::setRectangle(*_bar, {{0.0f, 0.0f}, {width, kBarHeight}});
  Overlay::setRectangle(*_progressLine, {{0.0f, kBarHeight}, {done, kBarHeight + kProgressThickness}});
  Overlay::setPlace(*_message, {kSideMargin, kUpperBaseLine});
  Overlay::setPlace(*_summary, {kSideMargin, kLowerBaseLine});
  Overlay::setPlace(*_resources, {width - kSideMargin, kLowerBaseLine});
  _layOutResources();
  _legend.resize({width, static_cast<float>(_height)});
  _layOutNote();
  _layOutHelp();
}

void Hud::_layOutResources() {
  const float taken = Overlay::sizeOf(*_summary).x() + Overlay::sizeOf(*_resources).x();
  constexpr float kMargins = 4.0f;  // two at the sides, two between the texts
  _resources->setNodeMask(taken + kMargins * kSideMargin <= static_cast<float>(_width) ? ~0U : 0U);
}

void Hud::_layOutNote() {
  const osg::Vec2f low(0.0f, kBarHeight + kProgressThickness);
  const float textWidth = Overlay::sizeOf(*_note).x();
  const osg::Vec2f size = textWidth > 0.0f ? osg::Vec2f(textWidth + 2.0f * kSideMargin, kNoteHeight) : osg::Vec2f();
  Overlay::setRectangle(*_notePanel, {low, low + size});
  Overlay::setPlace(*_note, low + osg::Vec2f(kSideMargin, kNoteBaseLine));
}

void Hud::_layOutHelp() {
  const osg::Vec2f inputs = Overlay::sizeOf(*_helpTexts[kInputs]);
  const osg::Vec2f effects = Overlay::sizeOf(*_helpTexts[kEffects]);
  const osg::Vec2f size(inputs.x() + kHelpColumnGap + effects.x() + 2.0f * kHelpPadding,
                        std::max(inputs.y(), effects.y()) + kHelpTitleHeight + 2.0f * kHelpPadding);
  const osg::Vec2f low =
      (osg::Vec2f(static_cast<float>(_width), static_cast<float>(_height) + kBarHeight) - size) * 0.5f;
  const osg::Vec2f start(low.x() + kHelpPadding, low.y() + size.y() - kHelpPadding);
  Overlay::setRectangle(*_helpPanel, {low, low + size});
  Overlay::setPlace(*_helpTexts[kTitle], start);
  Overlay::setPlace(*_helpTexts[kInputs], start - osg::Vec2f(0.0f, kHelpTitleHeight));
  Overlay::setPlace(*_helpTexts[kEffects], start + osg::Vec2f(inputs.x() + kHelpColumnGap, -kHelpTitleHeight));
}

}  // namespace QuorViewer
