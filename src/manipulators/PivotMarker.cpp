#include "manipulators/PivotMarker.h"

#include "geometry/Drawables.h"

#include <osg/Array>
#include <osg/Geode>
#include <osg/MatrixTransform>
#include <osg/PrimitiveSet>
#include <osg/Shape>
#include <osg/ShapeDrawable>

namespace QuorOsgUtils {

namespace {

constexpr float kRingRadius = 100.0f;
constexpr float kRingWidth = 3.0f;

const osg::Vec4f kRed(1.0f, 0.0f, 0.0f, 1.0f);
const osg::Vec4f kGreen(0.0f, 1.0f, 0.0f, 1.0f);
const osg::Vec4f kBlue(0.0f, 0.0f, 1.0f, 1.0f);

struct RingColours {
  osg::Vec4f band;
  osg::Vec4f line;
};

osg::ref_ptr<osg::ShapeDrawable> createBand(const osg::Vec4f& colour, osg::TessellationHints* hints) {
  osg::ref_ptr<osg::Cylinder> cylinder = new osg::Cylinder(osg::Vec3f(), kRingRadius, kRingWidth);
  osg::ref_ptr<osg::ShapeDrawable> band = new osg::ShapeDrawable(cylinder, hints);
  band->setColor(colour);
  return band;
}

osg::ref_ptr<osg::Geometry> createDiameter(const osg::Vec4f& colour) {
  osg::ref_ptr<osg::Vec3Array> vertices = new osg::Vec3Array;
  vertices->push_back(osg::Vec3f(-kRingRadius, 0.0f, 0.0f));
  vertices->push_back(osg::Vec3f(kRingRadius, 0.0f, 0.0f));
  osg::ref_ptr<osg::Vec4Array> colours = new osg::Vec4Array(1, &colour);
  osg::ref_ptr<osg::Geometry> line = new osg::Geometry;
  line->setVertexArray(vertices);
  line->setColorArray(colours, osg::Array::BIND_OVERALL);
  line->addPrimitiveSet(new osg::DrawArrays(GL_LINES, 0, 2));
  return line;
}

osg::ref_ptr<osg::Geode> createRing(const RingColours& colours, osg::TessellationHints* hints) {
  osg::ref_ptr<osg::Geode> ring = new osg::Geode;
  ring->addDrawable(createBand(colours.band, hints));
  ring->addDrawable(createRingCapGeometry(kRingRadius, kRingWidth, 0.5 * kRingWidth));
  ring->addDrawable(createRingCapGeometry(kRingRadius, kRingWidth, -0.5 * kRingWidth));
  ring->addDrawable(createDiameter(colours.line));
  return ring;
}

osg::ref_ptr<osg::MatrixTransform> rotated(osg::Node* ring, const osg::Vec3d& firstAxis, const osg::Vec3d& secondAxis) {
  constexpr double kQuarterTurnRadians = 1.5707963;  // truncated, fixed by the interface
  osg::ref_ptr<osg::MatrixTransform> transform = new osg::MatrixTransform(osg::Matrixd::rotate(
      kQuarterTurnRadians, firstAxis, kQuarterTurnRadians, secondAxis, 0.0, osg::Vec3d(1.0, 0.0, 0.0)));
  transform->addChild(ring);
  return transform;
}

}  // namespace

osg::ref_ptr<osg::AutoTransform> createPivotMarker() {
  const osg::Vec3d xAxis(1.0, 0.0, 0.0);
  const osg::Vec3d yAxis(0.0, 1.0, 0.0);
  const osg::ref_ptr<osg::TessellationHints> hints = createTubeHints();
  osg::ref_ptr<osg::AutoTransform> marker = new osg::AutoTransform;
  marker->setAutoScaleToScreen(true);
  marker->getOrCreateStateSet()->setMode(GL_DEPTH_TEST, osg::StateAttribute::OFF);
  marker->addChild(createRing({kBlue, kGreen}, hints));
  marker->addChild(rotated(createRing({kGreen, kRed}, hints), yAxis, xAxis));
  marker->addChild(rotated(createRing({kRed, kBlue}, hints), xAxis, yAxis));
  return marker;
}

void hidePivotMarker(osg::Node& marker) {
  // Backwards, since each removal shortens the list of parents; an overridden `removeChild` may remove more than one.
  for (unsigned int i = marker.getNumParents(); i-- > 0;) {
    if (i < marker.getNumParents()) {
      marker.getParent(i)->removeChild(&marker);
    }
  }
}

osg::ref_ptr<osg::Geometry> createRingCapGeometry(double radius, double width, double z) {
  return createAnnulus(radius, width, z);
}

}  // namespace QuorOsgUtils
