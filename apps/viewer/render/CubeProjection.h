#pragma once

#include <osg/BoundingBox>
#include <osg/Matrixd>
#include <osg/Plane>
#include <osg/Vec3d>
#include <osg/Vec4d>

#include <vector>

namespace QuorViewer {

/// The camera that cubes are projected by. OpenSceneGraph derives near and far in each frame from what is drawn, so
/// they must not decide what is drawn: no result depends on the projection's near and far planes.
struct CubeCamera {
  osg::Matrixd view;                  ///< to eye coordinates: a rotation and a translation
  osg::Matrixd projection;            ///< perspective or orthographic
  double viewportHeightPixels = 0.0;  ///< of the image
  osg::Vec3d origin;                  ///< world point that `view` and the clip planes are relative to
};

/// A camera whose view is this many times as wide and as high about its middle, and in which everything has the same
/// size in pixels.
CubeCamera enlarged(const CubeCamera& camera, double factor);

/// Cubes as a camera sees them: their visibility, and the size in pixels of what they contain. Cubes are in world
/// coordinates, with edges parallel to the axes. One thread.
class CubeProjection {
 public:
  /// `clipPlanes` are relative to the camera's origin and need not be normalized. They clip what is on their negative
  /// side, like the clip planes of OpenGL.
  void set(const CubeCamera& camera, const std::vector<osg::Plane>& clipPlanes);

  /// False if the cube is wholly outside one of the four side planes of the view, behind the eye, or wholly clipped by
  /// one of the clip planes. So a few cubes near the corners of the view count as visible although they are not.
  bool isVisible(const osg::BoundingBoxd& cube) const;

  /// The length in pixels of `spacing` world units at the point of the cube that is nearest to the eye:
  /// spacing × viewport height / (2 tan(half the vertical angle of view) × distance), or in an orthographic view
  /// spacing × viewport height / height of the view. The distance counts as at least `spacing`, so that the result is
  /// finite for a cube that contains the eye.
  double pixelsOf(double spacing, const osg::BoundingBoxd& cube) const;

  /// 1 for a cube whose bounding sphere meets the axis of the view, falling to 0 for those half the height of the view
  /// or more away from it.
  double centrality(const osg::BoundingBoxd& cube) const;

 private:
  /// The points p with normal · p + offset >= 0.
  struct HalfSpace {
    osg::Vec3d normal;
    double offset;

    explicit HalfSpace(const osg::Vec4d& plane) : normal(plane.x(), plane.y(), plane.z()), offset(plane.w()) {}
    bool contains(const osg::Vec3d& point) const { return normal * point + offset >= 0.0; }
    bool meets(const osg::BoundingBoxd& box, const osg::Vec3d& origin) const;
  };

  std::vector<HalfSpace> _visible;  // the intersection of all is seen
  osg::Matrixd _view;
  osg::Vec3d _origin;
  osg::Vec3d _eye;  // world
  bool _perspective = false;
  double _cotangent = 1.0;      // of half the angle of view; orthographic: 2 / height of the view
  double _pixelsPerUnit = 0.0;  // in perspective: at distance 1
};

}  // namespace QuorViewer
