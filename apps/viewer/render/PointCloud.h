#pragma once

#include "scan/Scan.h"
#include "scan/index/PointTree.h"
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
  /// Adds a node of a scan's tree, drawn like a chunk. `localOrigin` is the world point that drawn positions are
  /// relative to. Its points do not count for the bounds. The caller may hide it with its node mask, and removes it
  /// from `groupOf(scanNumber)` when no draw is in progress.
  osg::ref_ptr<osg::Node> addNode(unsigned int scanNumber, const NodePoints& points, const osg::Vec3d& localOrigin);
  /// Widens the points of such a node to the spacing between them, in world units, up to four times the point size. 0
  /// (default): the point size.
  static void setSpacing(osg::Node& node, float spacing);
  /// Draws only the first points of such a node. More than it has: all.
  static void setDrawnPoints(osg::Node& node, std::uint32_t count);
  /// The size in pixels of a world unit at distance 1, or in an orthographic projection everywhere, for `setSpacing`.
  void setPixelsPerUnit(float pixels);
  /// Parent of the chunks and nodes of a scan.
  osg::Group* groupOf(unsigned int scanNumber);
  /// The bounds of a scan whose chunks and nodes are not all there.
  void setBounds(unsigned int scanNumber, const osg::BoundingBox& bounds);
  /// Drops a scan from the bounds and returns the child of `node()` that holds its points; the caller removes that
  /// child when no draw is in progress. Null if there is no such scan.
  osg::ref_ptr<osg::Node> release(unsigned int scanNumber);

  ColourMode colourMode() const { return _mode; }
  void setColourMode(ColourMode mode);
  /// The values that get the first and the last colour of their map.
  void setElevationRange(std::pair<float, float> range);
  void setIntensityRange(std::pair<float, float> range);

  static constexpr float kSmallestPixels = 1.0f;
  static constexpr float kLargestPixels = 32.0f;
  float pointSizePixels() const { return _sizePixels; }
  /// Diameter, clamped to the limits above.
  void setPointSizePixels(float pixels);

 private:
  struct Part {
    osg::ref_ptr<osg::Group> node;
    osg::BoundingBox bounds;
  };

  Part& _partOf(unsigned int scanNumber);

  osg::ref_ptr<osg::Group> _node;
  std::map<unsigned int, Part> _parts;  // by scan
  ColourMode _mode = ColourMode::Elevation;
  float _sizePixels = 0.0f;
  osg::ref_ptr<osg::Uniform> _modeUniform;
  osg::ref_ptr<osg::Uniform> _sizeUniform;
  osg::ref_ptr<osg::Uniform> _scaleUniform;
  osg::ref_ptr<osg::Uniform> _elevationUniform;
  osg::ref_ptr<osg::Uniform> _intensityUniform;
};

}  // namespace QuorViewer
