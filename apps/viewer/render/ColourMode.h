#pragma once

#include <osg/Image>
#include <osg/Vec3f>

#include <optional>
#include <string>

namespace QuorViewer {

/// What a point's colour represents. The values match the shader's.
enum class ColourMode { Rgb, Intensity, Elevation, Classification };

constexpr int kColourModeCount = 4;

/// The command-line word: rgb, intensity, elevation, classification.
const char* optionOf(ColourMode mode);
/// The name shown to the user.
const char* titleOf(ColourMode mode);
/// The mode for a command-line word, if any.
std::optional<ColourMode> colourModeOf(const std::string& option);
/// The mode after `mode`, wrapping around.
ColourMode nextOf(ColourMode mode);

/// A perceptually uniform colour map: lightness increases evenly from 0 to 1, and steps look equally large everywhere,
/// also to colour-blind viewers and in greyscale print. Channels from 0 to 1; `fraction` is clamped to 0 to 1.
osg::Vec3f rampColour(float fraction);

/// An elevation at fraction s of its range gets the ramp's colour at s to this power: most points of most scans are
/// near the ground, and its shallow relief should be visible next to a tower.
constexpr float kElevationExponent = 0.55f;

/// `rampColour` as an image of 256 × 1 texels, lowest first.
osg::ref_ptr<osg::Image> createRampImage();
/// The colours of the classification codes as an image of 256 × 1 texels.
osg::ref_ptr<osg::Image> createClassImage();

}  // namespace QuorViewer
