#pragma once

#include <osg/Geometry>
#include <osg/Vec2f>
#include <osg/Vec4f>
#include <osgText/Text>

#include <string>
#include <vector>

namespace QuorViewer {

/// Flat shapes and text drawn over the image, in pixels from the window's bottom left.
namespace Overlay {

struct Rectangle {
  osg::Vec2f low;
  osg::Vec2f high;
};

constexpr float kTextSizePixels = 15.0f;
constexpr float kSmallTextSizePixels = 13.0f;

const osg::Vec4f kPanelColour(0.055f, 0.065f, 0.085f, 0.82f);
const osg::Vec4f kTextColour(0.93f, 0.945f, 0.965f, 1.0f);
const osg::Vec4f kQuietTextColour(0.66f, 0.70f, 0.76f, 1.0f);
const osg::Vec4f kAccentColour(1.0f, 0.72f, 0.16f, 1.0f);

/// A rectangle in one colour, or with one colour at its lower and one at its upper edge.
osg::ref_ptr<osg::Geometry> createRectangle(const osg::Vec4f& low, const osg::Vec4f& high);
osg::ref_ptr<osg::Geometry> createRectangle(const osg::Vec4f& colour);
void setRectangle(osg::Geometry& geometry, const Rectangle& rectangle);

osg::ref_ptr<osgText::Text> createText(float sizePixels, const osg::Vec4f& colour,
                                       osgText::Text::AlignmentType alignment);
/// Takes UTF-8.
void setText(osgText::Text& text, const std::string& utf8);
/// Rounds the position to whole pixels, which keeps the letters sharp.
void setPlace(osgText::Text& text, const osg::Vec2f& place);
osg::Vec2f sizeOf(const osgText::Text& text);
/// The lines as one text.
std::string joined(const std::vector<std::string>& lines);
/// The width of one line of text.
float widthOf(const std::string& utf8, float sizePixels);
/// The distance from one line to the next: a whole number.
float linePitch(float sizePixels);

}  // namespace Overlay
}  // namespace QuorViewer
