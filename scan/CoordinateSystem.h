#pragma once

#include <string>

namespace QuorViewer {

/// The horizontal coordinate system that a scan's file states; empty if it states none.
struct CoordinateSystem {
  std::string name;            ///< "CH1903+ / LV95"; may be empty although the code is known
  unsigned epsg = 0;           ///< the code in the EPSG register; 0 if unknown
  double metresPerUnit = 0.0;  ///< of the coordinates; 0 if unknown, or if they are angles

  bool isKnown() const { return epsg != 0 || !name.empty(); }
  /// "EPSG:2056 (CH1903+ / LV95)", "EPSG:2056", or the name alone; empty if unknown.
  std::string text() const;
  /// "EPSG:2056", or the name; empty if unknown.
  std::string shortText() const;
  /// Whether points in both can belong together, as far as is known: an unknown system fits any other. Names count only
  /// if neither system has a code, because programs write the same system with different names.
  bool mayEqual(const CoordinateSystem& other) const;
};

}  // namespace QuorViewer
