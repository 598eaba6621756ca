#pragma once

#include <osg/Vec2f>
#include <osg/Vec4f>
#include <osgText/Text>

#include <cstddef>
#include <string>

namespace QuorViewer {

/// A text of the overlay that is broken into lines, or shortened, to fit a width. In pixels.
class FittedText {
 public:
  FittedText(float sizePixels, const osg::Vec4f& colour);

  osg::Drawable* node() { return _text; }
  /// Takes UTF-8. False if it is the same as before. Takes effect with `fit`.
  bool set(const std::string& utf8);
  /// Cheap if nothing has changed.
  void fit(float width, std::size_t mostLines);
  /// Of the lines as fitted.
  std::size_t lineCount() const { return _lineCount; }
  float width() const;
  float lastLineWidth() const { return _lastLineWidth; }
  /// Height of all lines but the last.
  float heightAboveLastLine() const;
  /// Puts the base line of the last line at `place`.
  void setPlace(const osg::Vec2f& place);

 private:
  float _sizePixels;
  osg::ref_ptr<osgText::Text> _text;
  std::string _utf8;
  bool _changed = false;
  float _fittedWidth = 0.0f;
  std::size_t _fittedLines = 0;
  std::size_t _lineCount = 0;
  float _lastLineWidth = 0.0f;
};

}  // namespace QuorViewer
