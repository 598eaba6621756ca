#pragma once

#include <osg/Vec4ub>

#include <string>

namespace QuorViewer {

/// What the survey profession's exchange format calls a classification code: "ground", "high vegetation", …
/// Codes without a standard meaning are "reserved" or "user defined".
std::string classificationName(unsigned int code);

/// The colour that stands for a classification code (0 to 255). Codes without a standard meaning get colours that are
/// far apart in hue for neighbouring codes.
osg::Vec4ub classificationColour(unsigned int code);

}  // namespace QuorViewer
