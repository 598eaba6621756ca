#include "viewer/ui/Hud.h"

#include "viewer/render/ShaderProgram.h"
#include "viewer/ui/Overlay.h"
#include "viewer/ui/TextFit.h"

#include <osg/BlendFunc>
#include <osg/Depth>
#include <osg/MatrixTransform>

#include <algorithm>
#include <initializer_list>

namespace QuorViewer {
namespace {

constexpr float kLowerBaseLine = 12.0f;
constexpr float kSpaceAboveBaseLine = 22.0f;  // in the topmost line of a panel
constexpr float kSideMargin = 14.0f;
constexpr float kProgressThickness = 3.0f;
constexpr float kSmallHeight = 400.0f;  // a window this high has room for three lines of a message
constexpr std::size_t kMostSummaryLines = 2;

void setUpState(osg::StateSet& state) {
  state.setAttributeAndModes(new osg::Depth(osg::Depth::ALWAYS, 0.0, 1.0, false), osg::StateAttribute::OFF);
  state.setAttributeAndModes(new osg::BlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA));
  state.setMode(GL_LIGHTING, osg::StateAttribute::OFF);
  // Panels are drawn before their text: in graph order, not by state or depth.
  state.setRenderBinDetails(DrawOrder::kHud, "TraversalOrderBin", osg::StateSet::OVERRIDE_RENDERBIN_DETAILS);
}

}  // namespace

Hud::Hud(const HelpRows& help)
    : _projection(new osg::Projection),
      _root(new osg::Group),
      _message(Overlay::kTextSizePixels, Overlay::kTextColour),
      _summary(Overlay::kTextSizePixels, Overlay::kQuietTextColour),
      _note(Overlay::kTextSizePixels, Overlay::kTextColour),
      _help(help) {
  osg::ref_ptr<osg::MatrixTransform> window = new osg::MatrixTransform;
  window->setReferenceFrame(osg::Transform::ABSOLUTE_RF);
  window->setCullingActive(false);
  window->addChild(_root);
  _projection->setCullingActive(false);
  _projection->addChild(window);
  setUpState(*_projection->getOrCreateStateSet());
  _createBar();
  _root->addChild(_legend.node());
  _root->addChild(_help.node());
  showHelp(false);
}

void Hud::_createBar() {
  _bar = Overlay::createRectangle(Overlay::kPanelColour);
  _progressLine = Overlay::createRectangle(Overlay::kAccentColour);
  _resources = Overlay::createText(Overlay::kTextSizePixels, Overlay::kQuietTextColour, osgText::Text::RIGHT_BASE_LINE);
  _notePanel = Overlay::createRectangle(Overlay::kPanelColour);
  for (osg::Drawable* part : std::initializer_list<osg::Drawable*>{
           _bar, _progressLine, _message.node(), _summary.node(), _resources, _notePanel, _note.node()}) {
    _root->addChild(part);
  }
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

void Hud::setMessage(const std::string& utf8, bool urgent) {
  _messageText = utf8;
  _urgent = urgent;
  _showMessage();
}

void Hud::setPrompt(const std::string& utf8) {
  _prompt = utf8;
  _showMessage();
}

void Hud::_showMessage() {
  if (_message.set(_prompt.empty() || _urgent ? _messageText : _prompt)) {
    _layOut();
  }
}

void Hud::setSummary(const std::string& utf8) {
  if (_summary.set(utf8)) {
    _layOut();
  }
}

void Hud::setResources(const std::string& utf8) {
  if (utf8 != _allResources) {
    _allResources = utf8;
    _layOut();
  }
}

void Hud::setNote(const std::string& utf8) {
  if (_note.set(utf8)) {
    _layOut();
  }
}

void Hud::setProgress(double share) {
  _progress = share;
  _layOut();
}

void Hud::showHelp(bool show) {
  _help.show(show);
  for (osg::Node* hidden : {_legend.node(), _notePanel->asNode(), _note.node()->asNode()}) {
    hidden->setNodeMask(show ? 0U : ~0U);
  }
}

// From the bottom to the top.
void Hud::_layOut() {
  const float barHeight = _layOutBar();
  const auto width = static_cast<float>(_width);
  const float done = _progress < 1.0 ? width * static_cast<float>(_progress) : 0.0f;
  Overlay::setRectangle(*_progressLine, {{0.0f, barHeight}, {done, barHeight + kProgressThickness}});
  const float top = barHeight + kProgressThickness;
  const osg::Vec2f corner(width, static_cast<float>(_height));
  _legend.layOut({{0.0f, _layOutNote(top)}, corner});
  _help.layOut({{0.0f, top}, corner});
}

std::size_t Hud::_mostLines() const {
  return static_cast<float>(_height) >= kSmallHeight ? 3 : 2;
}

// The height of the bar.
float Hud::_layOutBar() {
  const auto width = static_cast<float>(_width);
  const float room = width - 2.0f * kSideMargin;
  _message.fit(room, _mostLines());
  _summary.fit(room, kMostSummaryLines);
  _summary.setPlace({kSideMargin, kLowerBaseLine});
  _layOutResources(_summary.lastLineWidth());
  const float baseLine = kLowerBaseLine + _summary.heightAboveLastLine() + Overlay::linePitch(Overlay::kTextSizePixels);
  _message.setPlace({kSideMargin, baseLine});
  const float height = baseLine + _message.heightAboveLastLine() + kSpaceAboveBaseLine;
  Overlay::setRectangle(*_bar, {{0.0f, 0.0f}, {width, height}});
  return height;
}

void Hud::_layOutResources(float summaryWidth) {
  constexpr float kMargins = 4.0f;  // two at the sides, two between the texts
  const auto width = static_cast<float>(_width);
  Overlay::setText(*_resources,
                   fitParts(_allResources, width - summaryWidth - kMargins * kSideMargin,
                            [](const std::string& text) { return Overlay::widthOf(text, Overlay::kTextSizePixels); }));
  Overlay::setPlace(*_resources, {width - kSideMargin, kLowerBaseLine});
}

// The note's panel stands on `bottom`; returns its top.
float Hud::_layOutNote(float bottom) {
  _note.fit(static_cast<float>(_width) - 2.0f * kSideMargin, _mostLines());
  _note.setPlace({kSideMargin, bottom + kLowerBaseLine});
  const float height =
      _note.lineCount() > 0 ? kLowerBaseLine + _note.heightAboveLastLine() + kSpaceAboveBaseLine : 0.0f;
  const float width = _note.lineCount() > 0 ? _note.width() + 2.0f * kSideMargin : 0.0f;
  Overlay::setRectangle(*_notePanel, {{0.0f, bottom}, {width, bottom + height}});
  return bottom + height;
}

}  // namespace QuorViewer
