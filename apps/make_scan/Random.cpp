#include "make_scan/Random.h"

namespace QuorViewer {

namespace {

double latticeValue(double column, double row) {
  const auto key = static_cast<std::uint64_t>(static_cast<std::int64_t>(column)) * 0x100000001B3ULL;
  return toUnit(scrambled(key + static_cast<std::uint64_t>(static_cast<std::int64_t>(row))));
}

}  // namespace

double plainNoise(double x, double y, double size) {
  const double column = std::floor(x / size);
  const double row = std::floor(y / size);
  const double right = smoothStep(0.0, 1.0, x / size - column);
  const double upper = smoothStep(0.0, 1.0, y / size - row);
  const double below = latticeValue(column, row) * (1.0 - right) + latticeValue(column + 1.0, row) * right;
  const double above = latticeValue(column, row + 1.0) * (1.0 - right) + latticeValue(column + 1.0, row + 1.0) * right;
  return below * (1.0 - upper) + above * upper;
}

}  // namespace QuorViewer
