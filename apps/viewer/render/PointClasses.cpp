#include "viewer/render/PointClasses.h"

#include <array>
#include <cmath>

namespace QuorViewer {
namespace {

struct PointClass {
  const char* name;
  osg::Vec4ub colour;
};

// The standard classes of LAS 1.4, in the order of their codes.
const std::array<PointClass, 23> kStandardClasses = {{
    {"never classified", {150, 150, 150, 255}},
    {"unclassified", {190, 190, 190, 255}},
    {"ground", {172, 126, 80, 255}},
    {"low vegetation", {172, 212, 110, 255}},
    {"medium vegetation", {102, 178, 76, 255}},
    {"high vegetation", {40, 134, 62, 255}},
    {"building", {226, 96, 70, 255}},
    {"low noise", {226, 72, 196, 255}},
    {"model key point", {244, 208, 92, 255}},
    {"water", {66, 136, 222, 255}},
    {"rail", {126, 104, 176, 255}},
    {"road surface", {118, 126, 138, 255}},
    {"overlap", {206, 206, 130, 255}},
    {"wire guard", {252, 226, 110, 255}},
    {"wire conductor", {255, 190, 64, 255}},
    {"transmission tower", {150, 92, 200, 255}},
    {"wire connector", {255, 146, 92, 255}},
    {"bridge deck", {190, 160, 140, 255}},
    {"high noise", {255, 88, 140, 255}},
    {"overhead structure", {120, 190, 200, 255}},
    {"ignored ground", {140, 110, 86, 255}},
    {"snow", {236, 244, 255, 255}},
    {"temporal exclusion", {104, 104, 124, 255}},
}};
constexpr unsigned int kFirstUserClass = 64;

unsigned char channelOfHue(float hue, float shift) {
  const float wave = 0.5f + 0.5f * std::cos(6.2831853f * (hue + shift));
  return static_cast<unsigned char>(80.0f + 160.0f * wave);
}

}  // namespace

std::string classificationName(unsigned int code) {
  if (code < kStandardClasses.size()) {
    return kStandardClasses.at(code).name;
  }
  return code < kFirstUserClass ? "reserved" : "user defined";
}

osg::Vec4ub classificationColour(unsigned int code) {
  if (code < kStandardClasses.size()) {
    return kStandardClasses.at(code).colour;
  }
  // Steps of the golden ratio around the colour circle stay far from recent hues.
  const float hue = std::fmod(static_cast<float>(code) * 0.61803399f, 1.0f);
  return {channelOfHue(hue, 0.0f), channelOfHue(hue, 0.33333333f), channelOfHue(hue, 0.66666667f), 255};
}

}  // namespace QuorViewer
