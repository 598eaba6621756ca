#include "viewer/ui/FittedText.h"

#include "viewer/ui/Overlay.h"
#include "viewer/ui/TextFit.h"

#include <vector>

namespace QuorViewer {

FittedText::FittedText(float sizePixels, const osg::Vec4f& colour)
    : _sizePixels(sizePixels), _text(Overlay::createText(sizePixels, colour, osgText::Text::LEFT_BASE_LINE)) {}

bool FittedText::set(const std::string& utf8) {
  const bool differs = utf8 != _utf8;
  _utf8 = utf8;
  _changed = _changed || differs;
  return differs;
}

void FittedText::fit(float width, std::size_t mostLines) {
  if (!_changed && width == _fittedWidth && mostLines == _fittedLines) {
    return;
  }
  const TextWidth widthOf = [this](const std::string& line) { return Overlay::widthOf(line, _sizePixels); };
  const std::vector<std::string> lines = fitLines(_utf8, width, mostLines, widthOf);
  Overlay::setText(*_text, Overlay::joined(lines));
  _lineCount = lines.size();
  _lastLineWidth = lines.empty() ? 0.0f : widthOf(lines.back());
  _fittedWidth = width;
  _fittedLines = mostLines;
  _changed = false;
}

float FittedText::width() const {
  return Overlay::sizeOf(*_text).x();
}

float FittedText::heightAboveLastLine() const {
  return _lineCount > 1 ? static_cast<float>(_lineCount - 1) * Overlay::linePitch(_sizePixels) : 0.0f;
}

void FittedText::setPlace(const osg::Vec2f& place) {
  Overlay::setPlace(*_text, place + osg::Vec2f(0.0f, heightAboveLastLine()));
}

}  // namespace QuorViewer
