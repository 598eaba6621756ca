#pragma once

#include "scan/Scan.h"
#include "viewer/render/ColourMode.h"

#include <osg/BoundingBox>
#include <osg/Group>
#include <osg/Uniform>

#include <cstdint>
#include <map>
#include <utility>

namespace QuorViewer {

/// The points on the graphics card: one drawable with its own buffers per chunk, culled by the chunk's box, drawn as
/// round dots. After points have been added, no visitor iterates over them, not even intersectors. Writes all five
/// attachments of the captured frame. Clip planes clip it. Positions are relative to the local origin, and so are the
/// elevations of `setElevationRange`.
class PointCloud {
 public:
  PointCloud();

  osg::Group* node() { return _node; }
  /// Of all scans; invalid if there are no points.
  osg::BoundingBox bounds() const;
  osg::BoundingBox boundsOf(unsigned int scanNumber) const;

  /// Takes over the chunk's arrays. `scanNumber` counts from 1; 0 means background in the identifiers. Expects at most
  /// 2^31 points, each with an index less than 2^32 above the first one's, and no draw in progress.
  void add(unsigned int scanNumber, const PointChunk& chunk);
  /// Drops a scan from the bounds and returns the child of `node()` that holds its points; the caller removes that
  /// child when no draw is in progress. Null if there is no such scan.
  osg::ref_ptr<osg::Node> release(unsigned int scanNumber);

  ColourMode colourMode() const { return _mode; }
  void setColourMode(ColourMode mode);
  /// The values that get the first and the last colour of their map.
  void setElevationRange(std::pair<float, float> range);
  void setIntensityRange(std::pair<float, float> range);

  float pointSizePixels() const { return _sizePixels; }
  /// Diameter, clamped to 1 to 32 pixels.
  void setPointSizePixels(float pixels);

 private:
  struct Part {
    osg::ref_ptr<osg::Group> node;
    osg::BoundingBox bounds;
  };

  osg::ref_ptr<osg::Group> _node;
  std::map<unsigned int, Part> _parts;  // by scan
  ColourMode _mode = ColourMode::Elevation;
  float _sizePixels = 0.0f;
  osg::ref_ptr<osg::Uniform> _modeUniform;
  osg::ref_ptr<osg::Uniform> _sizeUniform;
  osg::ref_ptr<osg::Uniform> _elevationUniform;
  osg::ref_ptr<osg::Uniform> _intensityUniform;
};

}  // namespace QuorViewer
