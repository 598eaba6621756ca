#pragma once

#include <osg/Geometry>
#include <osg/Vec2f>
#include <osg/Vec4f>
#include <osgText/Text>

#include <string>

namespace QuorViewer {

/// Flat shapes and text drawn over the image, in pixels from the window's bottom left.
namespace Overlay {

struct Rectangle {
  osg::Vec2f low;
  osg::Vec2f high;
};

constexpr float kTextSizePixels = 15.0F;
constexpr float kSmallTextSizePixels = 13.0F;

const osg::Vec4f kPanelColour(0.055F, 0.065F, 0.085F, 0.82F);
const osg::Vec4f kTextColour(0.93F, 0.945F, 0.965F, 1.0F);
const osg::Vec4f kQuietTextColour(0.66F, 0.70F, 0.76F, 1.0F);
const osg::Vec4f kAccentColour(1.0F, 0.72F, 0.16F, 1.0F);

/// A rectangle in one colour, or with one colour at its lower and one at its upper edge.
osg::ref_ptr<osg::Geometry> createRectangle(const osg::Vec4f& low, const osg::Vec4f& high);
osg::ref_ptr<osg::Geometry> createRectangle(const osg::Vec4f& colour);
void setRectangle(osg::Geometry& geometry, const Rectangle& rectangle);

osg::ref_ptr<osgText::Text> createText(float sizePixels, const osg::Vec4f& colour,
                                       osgText::Text::AlignmentType alignment);
/// Takes UTF-8. Rounds the position to whole pixels, which keeps the letters sharp.
void setText(osgText::Text& text, const std::string& utf8);
void setPlace(osgText::Text& text, const osg::Vec2f& place);
osg::Vec2f sizeOf(const osgText::Text& text);

}  // namespace Overlay
}  // namespace QuorViewer
