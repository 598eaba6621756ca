#pragma once

#include <osg/Vec4ub>

#include <string>

namespace QuorViewer {

/// The name of a LAS classification code: "ground", "high vegetation", … Codes without a standard meaning are
/// "reserved" or "user defined".
std::string classificationName(unsigned int code);

/// The colour of a classification code (0 to 255). Neighbouring codes without a standard meaning get hues that are far
/// apart.
osg::Vec4ub classificationColour(unsigned int code);

}  // namespace QuorViewer
