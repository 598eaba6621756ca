#pragma once

#include "common/Grouped.h"

#include <osg/Vec3d>

#include <cstdint>
#include <string>

namespace QuorViewer {

/// "1,234 MiB", or "1.2 MiB" for small values.
std::string inMebibytes(std::uint64_t bytes);

/// "1.2 GiB"; below 1 GiB as `inMebibytes`.
std::string sizeText(std::uint64_t bytes);

/// "2nd", "3rd", "4th", "11th", "21st".
std::string ordinal(std::uint64_t number);

/// `value` with `decimals` decimals, independent of the locale.
std::string fixed(double value, int decimals);

/// The three components of `vector` with `decimals` decimals each: "1.50 2.00 -0.25".
std::string coordinates(const osg::Vec3d& vector, int decimals, const char* separator = " ");

/// Number of decimals that distinguishes adjacent coordinates on a grid of step `scale`. A scale of 0 means that the
/// file stores floating point: 3 decimals.
int decimalsOfScale(double scale);

}  // namespace QuorViewer
