#pragma once

#include "scan/Scan.h"
#include "viewer/render/Sample.h"

#include <osg/Vec3f>

#include <bitset>
#include <map>
#include <utility>
#include <vector>

namespace QuorViewer {

/// A summary of all points. Elevations and positions are relative to the local origin.
struct CloudSummary {
  std::pair<float, float> elevations = {0.0f, 1.0f};  ///< range without the lowest and highest outliers
  std::pair<float, float> intensities = {0.0f, 1.0f};
  bool anyIntensity = false;                  ///< whether any is not 0
  std::vector<osg::Vec3f> places;             ///< an even sample of the positions
  std::vector<unsigned int> classifications;  ///< those present, ascending
};

/// Accumulates chunks one after another, and can remove whole scans. One thread at a time.
class CloudStatistics {
 public:
  void add(unsigned int scan, const PointChunk& chunk);
  /// Adds what is known of a scan without its points.
  void add(unsigned int scan, const std::bitset<256>& classes, bool anyIntensity);
  bool has(unsigned int scan) const { return _ofScans.count(scan) > 0; }
  void remove(unsigned int scan) { _ofScans.erase(scan); }
  /// For all scans together.
  CloudSummary summary() const;

 private:
  struct OfScan {
    OfScan();
    void add(const PointChunk& chunk);
    void join(const OfScan& other);

    Sample<float> elevations;
    Sample<float> intensities;
    Sample<osg::Vec3f> places;
    bool anyIntensity = false;
    std::bitset<256> classifications;
  };

  std::map<unsigned int, OfScan> _ofScans;
};

}  // namespace QuorViewer
