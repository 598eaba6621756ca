#include "viewer/ui/Overlay.h"

#include <osgText/Font>

#include <array>
#include <cmath>
#include <filesystem>
#include <map>

namespace QuorViewer::Overlay {
namespace {

// Where distributions install the DejaVu font, and its substitutes on Windows. Without any of them OSG's built-in font
// is used.
constexpr std::array<const char*, 5> kFontFiles = {
    "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf",
    "/usr/share/fonts/dejavu-sans-fonts/DejaVuSans.ttf",
    "/usr/share/fonts/TTF/DejaVuSans.ttf",
    "/usr/local/share/fonts/DejaVuSans.ttf",
    "C:/Windows/Fonts/segoeui.ttf",
};

osgText::Font* findFont() {
  static const osg::ref_ptr<osgText::Font> font = []() -> osg::ref_ptr<osgText::Font> {
    for (const char* file : kFontFiles) {
      std::error_code ignored;
      if (std::filesystem::exists(file, ignored)) {
        return osgText::readRefFontFile(file);
      }
    }
    return nullptr;
  }();
  return font.get();
}

}  // namespace

osg::ref_ptr<osg::Geometry> createRectangle(const osg::Vec4f& low, const osg::Vec4f& high) {
  osg::ref_ptr<osg::Geometry> geometry = new osg::Geometry;
  geometry->setUseDisplayList(false);
  geometry->setUseVertexBufferObjects(true);
  geometry->setDataVariance(osg::Object::DYNAMIC);
  geometry->setVertexArray(new osg::Vec3Array(4));
  const std::array<osg::Vec4, 4> colours = {low, low, high, high};
  geometry->setColorArray(new osg::Vec4Array(colours.begin(), colours.end()), osg::Array::BIND_PER_VERTEX);
  geometry->addPrimitiveSet(new osg::DrawArrays(GL_TRIANGLE_FAN, 0, 4));
  return geometry;
}

osg::ref_ptr<osg::Geometry> createRectangle(const osg::Vec4f& colour) {
  return createRectangle(colour, colour);
}

void setRectangle(osg::Geometry& geometry, const Rectangle& rectangle) {
  auto& corners = static_cast<osg::Vec3Array&>(*geometry.getVertexArray());
  const auto [low, high] = rectangle;
  corners[0].set(low.x(), low.y(), 0.0f);
  corners[1].set(high.x(), low.y(), 0.0f);
  corners[2].set(high.x(), high.y(), 0.0f);
  corners[3].set(low.x(), high.y(), 0.0f);
  corners.dirty();
  geometry.dirtyBound();
}

osg::ref_ptr<osgText::Text> createText(float sizePixels, const osg::Vec4f& colour,
                                       osgText::Text::AlignmentType alignment) {
  osg::ref_ptr<osgText::Text> text = new osgText::Text;
  text->setFont(findFont());
  text->setDataVariance(osg::Object::DYNAMIC);
  text->setCharacterSize(sizePixels);
  const auto resolution = static_cast<unsigned int>(std::lround(sizePixels));
  text->setFontResolution(resolution, resolution);
  text->setColor(colour);
  text->setAlignment(alignment);
  text->setLineSpacing(linePitch(sizePixels) / sizePixels - 1.0f);
  return text;
}

void setText(osgText::Text& text, const std::string& utf8) {
  text.setText(utf8, osgText::String::ENCODING_UTF8);
}

void setPlace(osgText::Text& text, const osg::Vec2f& place) {
  text.setPosition(osg::Vec3(std::round(place.x()), std::round(place.y()), 0.0f));
}

osg::Vec2f sizeOf(const osgText::Text& text) {
  const osg::BoundingBox& box = text.getBoundingBox();
  return box.valid() ? osg::Vec2f(box.xMax() - box.xMin(), box.yMax() - box.yMin()) : osg::Vec2f();
}

std::string joined(const std::vector<std::string>& lines) {
  std::string all;
  for (std::size_t line = 0; line < lines.size(); ++line) {
    all += (line > 0 ? "\n" : "") + lines[line];
  }
  return all;
}

float widthOf(const std::string& utf8, float sizePixels) {
  static std::map<float, osg::ref_ptr<osgText::Text>> texts;  // by size
  osg::ref_ptr<osgText::Text>& text = texts[sizePixels];
  if (!text) {
    text = createText(sizePixels, kTextColour, osgText::Text::LEFT_BASE_LINE);
  }
  setText(*text, utf8);
  return sizeOf(*text).x();
}

float linePitch(float sizePixels) {
  constexpr float kPitchShare = 1.45f;
  return std::round(kPitchShare * sizePixels);
}

}  // namespace QuorViewer::Overlay
