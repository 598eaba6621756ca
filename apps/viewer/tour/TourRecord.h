#pragma once

#include <osg/Matrixd>
#include <osg/Vec2i>
#include <osg/Vec3d>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace QuorViewer {

/// A point picked by a step of the tour.
struct TourPick {
  std::string scan;  ///< the file's name in UTF-8, without its folder
  std::uint64_t point = 0;
  osg::Vec3d coordinates;
  unsigned int classification = 0;
  unsigned int intensity = 0;
};

/// One step of the tour. Coordinates are those of the scans.
struct TourStepRecord {
  std::string name;
  std::string picture;  ///< the file's name, without its folder
  osg::Vec2i pointer;   ///< pixel, from the bottom left
  double depth = 1.0;   ///< of that pixel, 0 to 1
  osg::Vec3d eye, centre, up;
  osg::Matrixd projection;
  std::optional<TourPick> pick;  ///< empty: the step picked nothing
};

/// What `tour.json` describes.
struct TourRecord {
  osg::Vec2i windowPixels;
  std::uint64_t points = 0;  ///< in all open scans
  std::vector<TourStepRecord> steps;
};

/// The record as JSON text in UTF-8; bytes of names that are not UTF-8 are replaced.
std::string toJson(const TourRecord& record);

}  // namespace QuorViewer
