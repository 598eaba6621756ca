#include "viewer/navigate/StationView.h"

#include "viewer/navigate/Framing.h"

#include <osg/Math>

#include <algorithm>
#include <array>
#include <cmath>

namespace QuorViewer {
namespace {

constexpr int kSectors = 72;
constexpr double kSectorDegrees = 360.0 / kSectors;
constexpr double kHalfFieldDegrees = 0.5 * kStationFieldDegrees;

/// The direction from a station to a point, in degrees.
struct Sight {
  double azimuth;  ///< counter-clockwise from +Y, −180 to 180
  double elevation;
};

Sight sightOf(const osg::Vec3d& station, const osg::Vec3f& place) {
  const osg::Vec3d way = osg::Vec3d(place) - station;
  return {osg::RadiansToDegrees(std::atan2(-way.x(), way.y())),
          osg::RadiansToDegrees(std::atan2(way.z(), std::hypot(way.x(), way.y())))};
}

double differenceDegrees(double a, double b) {
  return std::abs(std::remainder(a - b, 360.0));
}

std::size_t countAround(const std::vector<Sight>& sights, double azimuth, double halfWidth) {
  return static_cast<std::size_t>(std::count_if(sights.begin(), sights.end(), [&](const Sight& sight) {
    return differenceDegrees(sight.azimuth, azimuth) <= halfWidth;
  }));
}

double headingWithPoints(const std::vector<Sight>& sights, double current, double halfWidth) {
  double best = current;
  std::size_t most = 2 * countAround(sights, current, halfWidth);  // half as many as elsewhere are enough
  for (int sector = 0; sector < kSectors; ++sector) {
    const double azimuth = sector * kSectorDegrees;
    const std::size_t count = countAround(sights, azimuth, halfWidth);
    if (count > most) {
      best = azimuth;
      most = count;
    }
  }
  return best;
}

double elevationWithPoints(const std::vector<Sight>& sights, double azimuth, double halfWidth) {
  constexpr double kEnough = 0.1;
  constexpr double kSteepestDegrees = 80.0;
  std::vector<double> elevations;
  for (const Sight& sight : sights) {
    if (differenceDegrees(sight.azimuth, azimuth) <= halfWidth) {
      elevations.push_back(sight.elevation);
    }
  }
  const auto inView = std::count_if(elevations.begin(), elevations.end(),
                                    [](double elevation) { return std::abs(elevation) < kHalfFieldDegrees; });
  if (elevations.empty() || static_cast<double>(inView) >= kEnough * static_cast<double>(elevations.size())) {
    return 0.0;
  }
  const auto middle = elevations.begin() + static_cast<std::ptrdiff_t>(elevations.size() / 2);
  std::nth_element(elevations.begin(), middle, elevations.end());
  return std::clamp(*middle, -kSteepestDegrees, kSteepestDegrees);
}

// Straight up or down has no heading; the top of the image has.
double headingOf(const osg::Quat& rotation) {
  constexpr double kSteep = 0.999;
  const osg::Vec3d ahead = rotation * osg::Vec3d(0.0, 0.0, -1.0);
  const osg::Vec3d up = rotation * osg::Vec3d(0.0, 1.0, 0.0);
  const osg::Vec3d way = std::abs(ahead.z()) < kSteep ? ahead : (ahead.z() < 0.0 ? up : -up);
  return osg::RadiansToDegrees(std::atan2(-way.x(), way.y()));
}

}  // namespace

osg::Quat stationRotation(const osg::Vec3d& station, const std::vector<osg::Vec3f>& places, const osg::Quat& current,
                          double aspectRatio) {
  const double halfWidth =
      osg::RadiansToDegrees(std::atan(std::tan(osg::DegreesToRadians(kHalfFieldDegrees)) * aspectRatio));
  std::vector<Sight> sights(places.size());
  std::transform(places.begin(), places.end(), sights.begin(),
                 [&](const osg::Vec3f& place) { return sightOf(station, place); });
  const double heading = headingWithPoints(sights, headingOf(current), halfWidth);
  const Direction direction{heading, -elevationWithPoints(sights, heading, halfWidth)};
  return direction.pitch() * direction.yaw();
}

}  // namespace QuorViewer
