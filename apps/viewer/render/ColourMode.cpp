#include "viewer/render/ColourMode.h"

#include "viewer/render/PointClasses.h"

#include <osg/Vec4ub>

#include <algorithm>
#include <array>
#include <cmath>

namespace QuorViewer {
namespace {

struct ModeWords {
  const char* option;
  const char* title;
};

constexpr std::array<ModeWords, kColourModeCount> kWords = {{
    {"rgb", "RGB"},
    {"intensity", "Intensity"},
    {"elevation", "Elevation"},
    {"classification", "Classification"},
}};

// Seven even steps through the upper three quarters of the viridis map (S. van der Walt, N. Smith; public domain), 8
// bits per channel. The map's darkest quarter would be invisible against the dark background.
constexpr std::array<std::array<float, 3>, 7> kRampSteps = {{
    {59, 81, 139},
    {44, 113, 142},
    {33, 144, 141},
    {39, 173, 129},
    {92, 200, 99},
    {170, 220, 50},
    {253, 231, 37},
}};

constexpr int kTexels = 256;

osg::Vec3f rampStep(std::size_t index) {
  const auto& step = kRampSteps.at(index);
  return osg::Vec3f(step[0], step[1], step[2]) / 255.0f;
}

osg::Vec4ub toBytes(const osg::Vec3f& colour) {
  const auto byte = [](float channel) { return static_cast<unsigned char>(std::lround(channel * 255.0f)); };
  return {byte(colour.x()), byte(colour.y()), byte(colour.z()), 255};
}

template <typename ColourOfTexel>
osg::ref_ptr<osg::Image> createRow(ColourOfTexel colourOfTexel) {
  osg::ref_ptr<osg::Image> image = new osg::Image;
  image->allocateImage(kTexels, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE);
  auto* texels = reinterpret_cast<osg::Vec4ub*>(image->data());
  for (int texel = 0; texel < kTexels; ++texel) {
    texels[texel] = colourOfTexel(texel);
  }
  return image;
}

}  // namespace

const char* optionOf(ColourMode mode) {
  return kWords.at(static_cast<std::size_t>(mode)).option;
}

const char* titleOf(ColourMode mode) {
  return kWords.at(static_cast<std::size_t>(mode)).title;
}

std::optional<ColourMode> colourModeOf(const std::string& option) {
  const auto found =
      std::find_if(kWords.begin(), kWords.end(), [&](const ModeWords& words) { return option == words.option; });
  if (found == kWords.end()) {
    return std::nullopt;
  }
  return static_cast<ColourMode>(found - kWords.begin());
}

ColourMode nextOf(ColourMode mode) {
  return static_cast<ColourMode>((static_cast<int>(mode) + 1) % kColourModeCount);
}

osg::Vec3f rampColour(float fraction) {
  constexpr std::size_t kLastInterval = kRampSteps.size() - 2;
  const float place = std::clamp(fraction, 0.0f, 1.0f) * static_cast<float>(kRampSteps.size() - 1);
  const std::size_t lower = std::min(static_cast<std::size_t>(place), kLastInterval);
  const float share = place - static_cast<float>(lower);
  return rampStep(lower) * (1.0f - share) + rampStep(lower + 1) * share;
}

osg::ref_ptr<osg::Image> createRampImage() {
  return createRow([](int texel) { return toBytes(rampColour(static_cast<float>(texel) / (kTexels - 1))); });
}

osg::ref_ptr<osg::Image> createClassImage() {
  return createRow([](int texel) { return classificationColour(static_cast<unsigned int>(texel)); });
}

}  // namespace QuorViewer
