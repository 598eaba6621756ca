#include "viewer/ui/Format.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <locale>
#include <sstream>

namespace QuorViewer {

std::string inMebibytes(std::uint64_t bytes) {
  constexpr double kMebibyte = 1024.0 * 1024.0;
  constexpr double kLittle = 9.95;
  const double mebibytes = static_cast<double>(bytes) / kMebibyte;
  return (mebibytes < kLittle ? fixed(mebibytes, 1) : grouped(static_cast<std::uint64_t>(std::llround(mebibytes)))) +
         " MiB";
}

std::string sizeText(std::uint64_t bytes) {
  constexpr std::uint64_t kGibibyte = std::uint64_t{1} << 30U;
  return bytes < kGibibyte ? inMebibytes(bytes)
                           : fixed(static_cast<double>(bytes) / static_cast<double>(kGibibyte), 1) + " GiB";
}

std::string ordinal(std::uint64_t number) {
  const std::uint64_t last = number / 10 % 10 == 1 ? 0 : number % 10;
  const char* const ending = last == 1 ? "st" : last == 2 ? "nd" : last == 3 ? "rd" : "th";
  return grouped(number) + ending;
}

std::string fixed(double value, int decimals) {
  std::ostringstream stream;
  stream.imbue(std::locale::classic());
  stream << std::fixed << std::setprecision(decimals) << value;
  return stream.str();
}

std::string coordinates(const osg::Vec3d& vector, int decimals, const char* separator) {
  return fixed(vector.x(), decimals) + separator + fixed(vector.y(), decimals) + separator +
         fixed(vector.z(), decimals);
}

int decimalsOfScale(double scale) {
  constexpr int kFloatingPointDecimals = 3;
  constexpr int kMostDecimals = 9;
  if (!(scale > 0.0)) {
    return kFloatingPointDecimals;
  }
  // A step of 0.01 is not exact in binary; without the allowance its logarithm might require a third digit.
  constexpr double kRoundingAllowance = 1e-6;
  return std::clamp(static_cast<int>(std::ceil(-std::log10(scale) - kRoundingAllowance)), 0, kMostDecimals);
}

}  // namespace QuorViewer
