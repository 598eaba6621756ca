#pragma once

#include "scan/CoordinateSystem.h"

#include <string_view>

namespace QuorViewer {

/// The horizontal system of a coordinate system in well-known text, version 1 or 2: its name, its own EPSG code and its
/// unit of length. Empty if the text cannot be parsed.
CoordinateSystem coordinateSystemOfWkt(std::string_view text);

}  // namespace QuorViewer
