#pragma once

#include "Sample.h"
#include "scan/Scan.h"

#include <osg/Vec3f>

#include <bitset>
#include <utility>
#include <vector>

namespace QuorViewer {

/// What the points look like on the whole. Elevations and places are relative to the local origin.
struct CloudSummary {
  std::pair<float, float> elevations = {0.0F, 1.0F};  ///< the range of nearly all points, a few stray ones left out
  std::pair<float, float> intensities = {0.0F, 1.0F};
  std::vector<osg::Vec3f> places;             ///< an even sample
  std::vector<unsigned int> classifications;  ///< that occur, ascending
};

/// Learns from chunks, one after the other. One thread at a time.
class CloudStatistics {
 public:
  CloudStatistics();

  void add(const PointChunk& chunk);
  CloudSummary summary() const;

 private:
  Sample<float> _elevations;
  Sample<float> _intensities;
  Sample<osg::Vec3f> _places;
  std::bitset<256> _classifications;
};

}  // namespace QuorViewer
