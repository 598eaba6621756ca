#pragma once

#include <osg/Image>
#include <osg/Vec3f>

#include <optional>
#include <string>

namespace QuorViewer {

/// What a point's colour stands for. The values are the shader's.
enum class ColourMode { Rgb, Intensity, Elevation, Classification };

constexpr int kColourModeCount = 4;

/// The word for the command line: rgb, intensity, elevation, classification.
const char* optionOf(ColourMode mode);
/// The word for people.
const char* titleOf(ColourMode mode);
/// The mode that a word of the command line names, if any.
std::optional<ColourMode> colourModeOf(const std::string& option);
/// The one after `mode`, round and round.
ColourMode nextOf(ColourMode mode);

/// A colour map whose brightness grows evenly from 0 to 1, and whose steps look equally large everywhere, also to
/// colour-blind eyes and in grey print. Channels from 0 to 1; `fraction` outside 0 to 1 is clamped.
osg::Vec3f rampColour(float fraction);

/// An elevation at share s of its range gets the ramp's colour at s to this power: most points of most scans are near
/// the ground, and its gentle relief shall show beside a tower.
constexpr float kElevationExponent = 0.55F;

/// `rampColour` as a texture of 256 × 1 texels, lowest first.
osg::ref_ptr<osg::Image> createRampImage();
/// The colours of the classification codes as a texture of 256 × 1 texels.
osg::ref_ptr<osg::Image> createClassImage();

}  // namespace QuorViewer
