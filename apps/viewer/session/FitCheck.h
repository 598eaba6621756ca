#pragma once

#include "viewer/render/PointCloud.h"
#include "viewer/session/ScanFit.h"
#include "viewer/session/ScanSet.h"

#include <set>
#include <string>
#include <vector>

namespace QuorViewer {

/// A scan that may not belong with those opened before it.
struct FitReport {
  unsigned int scan = 0;
  bool isFar = false;
  std::string text;  ///< for the user
};

/// Finds scans that do not fit those opened before them: by coordinate system, and by the bounds that the file states
/// or, if it states none, the bounds of the loaded points. Reports each scan at most once for each reason.
class FitCheck {
 public:
  /// Both outlive the check.
  FitCheck(const ScanSet& scans, const PointCloud& cloud) : _scans(scans), _cloud(cloud) {}

  /// Checks what the files state of scans that were opened since the last call.
  std::vector<FitReport> checkOpened();
  /// Checks where the points are, once they have been loaded.
  std::vector<FitReport> checkLoaded();

  /// World coordinates; invalid while unknown.
  osg::BoundingBoxd boundsOf(unsigned int scan) const;
  /// "0.03 m": the steps in which the scan's positions are drawn, if they are larger than those of its coordinates;
  /// otherwise empty.
  std::string lostPrecisionOf(unsigned int scan) const;

 private:
  ScanPlace _placeOf(unsigned int scan) const;
  std::vector<ScanPlace> _placesBefore(unsigned int scan) const;
  void _report(unsigned int scan, const std::string& system, const std::string& distance,
               std::vector<FitReport>& reports);

  const ScanSet& _scans;
  const PointCloud& _cloud;
  unsigned int _latestOpened = 0;
  unsigned int _latestLoaded = 0;
  std::set<unsigned int> _far;  // already reported
};

}  // namespace QuorViewer
