#pragma once

namespace QuorOsgUtils {

/// The distance in world units from which a sphere fills a field of view in degrees.
double framingDistance(double radius, double fieldOfViewDegrees);

/// The same without a camera, and so without a field of view.
double framingDistance(double radius);

}  // namespace QuorOsgUtils
