#pragma once

#include <osg/Vec3d>

namespace QuorOsgUtils {

/// How fast a zoom approaches its target.
struct ZoomPace {
  double share;  ///< of the distance, for one notch; more than 0, less than 1
  double least;  ///< nearer than this, the steps stay as long as at this distance; more than 0, in world units
};

/// The signed distance to the target after `notches` (negative: away from it), from a signed distance before. It is the
/// flow of d' = −k max(|d|, least) with k = −ln(1 − share). So several steps are the same as one of their sum, a step
/// back undoes a step exactly, the zoom converges on its target, and it passes through it with a number of small steps.
double approached(double distance, double notches, const ZoomPace& pace);

/// The factor for the size of an orthographic view after `notches`.
double orthographicZoomScale(double notches, double share);

/// `to` if that is inside the sphere or nearer to its centre than `from`. Otherwise the last point of the way from
/// `from` that is inside, or `from` if none is.
osg::Vec3d keptWithin(const osg::Vec3d& from, const osg::Vec3d& to, const osg::Vec3d& centre, double radius);

}  // namespace QuorOsgUtils
