#pragma once

#include "scan/CoordinateSystem.h"

#include <string_view>
#include <vector>

namespace QuorViewer {

/// The horizontal system that GeoTIFF keys state. `directory` is the content of the key directory (record 34735),
/// `texts` that of the texts it refers to (record 34737). Keys that run beyond either are ignored.
CoordinateSystem coordinateSystemOfGeoKeys(const std::vector<unsigned char>& directory, std::string_view texts);

}  // namespace QuorViewer
