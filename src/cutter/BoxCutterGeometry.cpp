#include "cutter/DepthMask.h"
#include "cutter/ForceCullCallback2.h"
#include "cutter/HandleLines.h"
#include "geometry/CircleVertices.h"
#include "geometry/Drawables.h"

#include <QuorOsgUtils/BoxCutterDragger.h>

#include <osg/AutoTransform>
#include <osg/Geode>
#include <osg/LineWidth>
#include <osg/Shape>

#include <initializer_list>

namespace QuorOsgUtils {

namespace {

using osg::StateAttribute;

constexpr float kConeRadiusPixels = 10.0f;
constexpr float kConeHeightPixels = 18.0f;
constexpr float kShaftLengthPixels = 150.0f;
// In units of the box's half diagonal, like all sizes of rings and disc.
constexpr float kTubeRadius = 1.1f;
constexpr float kTubeHeight = 0.1f;
constexpr float kBandWidth = 0.05f;
constexpr float kBandHeight = 0.03f;
constexpr float kRingRadius = 1.075f;
constexpr float kDiscRadius = 1.0f;
constexpr unsigned int kCircleSegments = 100;

const osg::Vec4f kDiscColor(0.1f, 0.1f, 0.1f, 0.9f);
const osg::Vec3d kXAxis(1.0, 0.0, 0.0);
const osg::Vec3d kYAxis(0.0, 1.0, 0.0);
const osg::Vec3d kZAxis(0.0, 0.0, 1.0);

// A cone points along z; each rotation makes it point out of its face. In the order of the faces. The truncated angles
// are fixed by the interface.
struct ConeRotation {
  double radians;
  osg::Vec3d axis;
};
const ConeRotation kConeRotations[] = {{-1.5707963, kYAxis}, {1.5707963, kYAxis}, {1.5707963, kXAxis},
                                       {-1.5707963, kXAxis}, {3.1415926, kXAxis}, {0.0, kXAxis}};
const osg::Vec3d kAxes[] = {kXAxis, kYAxis, kZAxis};

// Adds a child and returns it.
template <typename Node>
osg::ref_ptr<Node> appended(osg::Group& parent, osg::ref_ptr<Node> child) {
  parent.addChild(child);
  return child;
}

osg::ref_ptr<osg::MatrixTransform> createTransform(const osg::Matrixd& matrix = osg::Matrixd()) {
  return new osg::MatrixTransform(matrix);
}

osg::ref_ptr<osg::AutoTransform> createPixelSized() {
  osg::ref_ptr<osg::AutoTransform> transform = new osg::AutoTransform;
  transform->setAutoScaleToScreen(true);
  return transform;
}

osg::ref_ptr<osg::ShapeDrawable> createCone(const osg::Vec3f& center, const osg::Vec4f& color) {
  osg::ref_ptr<osg::ShapeDrawable> cone =
      new osg::ShapeDrawable(new osg::Cone(center, kConeRadiusPixels, kConeHeightPixels));
  cone->setColor(color);
  return cone;
}

osg::ref_ptr<osg::Geometry> createLines(std::initializer_list<osg::Vec3f> vertices, GLenum mode,
                                        const osg::Vec4f& color) {
  osg::ref_ptr<osg::Geometry> lines = new osg::Geometry;
  lines->setVertexArray(new osg::Vec3Array(vertices.begin(), vertices.end()));
  lines->setColorArray(new osg::Vec4Array(1, &color), osg::Array::BIND_OVERALL);
  lines->addPrimitiveSet(new osg::DrawArrays(mode, 0, static_cast<int>(vertices.size())));
  return lines;
}

// _updateBoxGeometry sets the vertices, initially and after each change of the box.
osg::ref_ptr<osg::Geometry> createOutline(GLenum mode, std::initializer_list<osg::Vec3f> vertices,
                                          const osg::Vec4f& color) {
  osg::ref_ptr<osg::Geometry> outline = createLines(vertices, mode, color);
  outline->setDataVariance(osg::Object::DYNAMIC);
  outline->setUseDisplayList(false);
  outline->setUseVertexBufferObjects(true);
  return outline;
}

template <typename DrawableType>
osg::ref_ptr<DrawableType> asPickVolume(osg::ref_ptr<DrawableType> drawable) {
  drawable->setCullCallback(new ForceCullCallback2);
  return drawable;
}

osg::ref_ptr<osg::ShapeDrawable> createPickTube(const osg::Vec4f& color) {
  osg::ref_ptr<osg::ShapeDrawable> tube =
      new osg::ShapeDrawable(new osg::Cylinder(osg::Vec3f(), kTubeRadius, kTubeHeight), createTubeHints());
  tube->setColor(color);
  return asPickVolume(tube);
}

osg::ref_ptr<osg::Geometry> createRingBandGeometry(float radius, float width, float height) {
  return asPickVolume(createAnnulus(radius, width, height));
}

osg::ref_ptr<osg::Geometry> createCircle(float radius, unsigned int segments, GLenum mode) {
  const std::vector<osg::Vec3f> directions = circleDirections(segments);
  osg::ref_ptr<osg::Vec3Array> vertices = new osg::Vec3Array;
  for (const osg::Vec3f& direction : directions) {
    vertices->push_back(direction * radius);
  }
  osg::ref_ptr<osg::Geometry> circle = new osg::Geometry;
  circle->setVertexArray(vertices);
  circle->setNormalArray(new osg::Vec3Array(directions.begin(), directions.end()), osg::Array::BIND_PER_VERTEX);
  circle->addPrimitiveSet(new osg::DrawArrays(mode, 0, static_cast<int>(segments)));
  return circle;
}

}  // namespace

void BoxCutterDragger::setupDefaultGeometry() {
  setupScaleGeometry();
  setupAxisGeometry();
  setupRotationGeometry();

  _topOutline = createOutline(GL_LINE_LOOP, std::initializer_list<osg::Vec3f>{{}, {}, {}, {}}, _boxColor);
  _bottomOutline = createOutline(GL_LINE_LOOP, {{}, {}, {}, {}}, _boxColor);
  _verticalEdges = createOutline(GL_LINES, {{}, {}, {}, {}, {}, {}, {}, {}}, _boxColor);
  _updateBoxGeometry();
  osg::ref_ptr<osg::Geode> outline = new osg::Geode;
  outline->getOrCreateStateSet()->setMode(GL_LIGHTING, StateAttribute::ON);
  for (osg::Geometry* part : {_topOutline.get(), _bottomOutline.get(), _verticalEdges.get()}) {
    outline->addChild(part);
  }
  addChild(outline);
}

void BoxCutterDragger::setupScaleGeometry() {
  _scaleSwitch = new osg::Switch;
  osg::StateSet& state = *_scaleSwitch->getOrCreateStateSet();
  state.setMode(GL_LIGHTING, StateAttribute::ON);
  state.setMode(GL_DEPTH_TEST, StateAttribute::ON);
  _boxCenter = appended(*_scaleSwitch, createTransform());
  const osg::Vec4f colors[] = {_xColor, _yColor, _zColor};
  for (std::size_t number = 0; number < _faces.size(); ++number) {
    const ConeRotation& rotation = kConeRotations[number];
    FaceHandle& face = _faces[number];
    face.transform = appended(*_boxCenter, createTransform());
    const osg::ref_ptr<osg::AutoTransform> pixels = appended(*face.transform, createPixelSized());
    face.orientation = appended(*pixels, createTransform(osg::Matrixd::rotate(rotation.radians, rotation.axis)));
    face.cone = createCone(osg::Vec3f(), colors[number / 2]);
    appended(*face.orientation, osg::ref_ptr<osg::Geode>(new osg::Geode))->addDrawable(face.cone);
  }
  _updateScale();
  addChild(_scaleSwitch);
}

void BoxCutterDragger::setupAxisGeometry() {
  _translateSwitch = new osg::Switch;
  osg::StateSet& state = *_translateSwitch->getOrCreateStateSet();
  state.setMode(GL_LIGHTING, StateAttribute::ON);
  state.setMode(GL_DEPTH_TEST, StateAttribute::OFF);
  _axesTransform = appended(*_translateSwitch, createTransform());
  const osg::ref_ptr<osg::AutoTransform> pixels = appended(*_axesTransform, createPixelSized());
  pixels->setCullingActive(false);
  const osg::Vec4f colors[] = {_xColor, _yColor, _zColor};
  const osg::Vec3f tip(0.0f, 0.0f, kShaftLengthPixels);
  for (std::size_t number = 0; number < _axes.size(); ++number) {
    AxisHandle& axis = _axes[number];
    axis.transform = appended(*pixels, createTransform(osg::Matrixd::rotate(kZAxis, kAxes[number])));
    axis.transform->getOrCreateStateSet()->setAttribute(new osg::LineWidth(kShaftLineWidth));
    axis.head = createCone(tip, colors[number]);
    axis.shaft = createLines({osg::Vec3f(), tip}, GL_LINES, colors[number]);
    const osg::ref_ptr<osg::Geode> geode = appended(*axis.transform, osg::ref_ptr<osg::Geode>(new osg::Geode));
    geode->addDrawable(axis.head);
    geode->addDrawable(asPickVolume(osg::ref_ptr<osg::ShapeDrawable>(
        new osg::ShapeDrawable(new osg::Cylinder(tip * 0.5f, kConeRadiusPixels, kShaftLengthPixels)))));
    geode->addDrawable(axis.shaft);
  }
  _updateTranslation();
  addChild(_translateSwitch);
}

void BoxCutterDragger::setupRotationGeometry() {
  _rotateSwitch = new osg::Switch;
  _rotateSwitch->getOrCreateStateSet()->setMode(GL_LIGHTING, StateAttribute::OFF | StateAttribute::PROTECTED);
  _ringsTransform = appended(*_rotateSwitch, createTransform());
  const osg::ref_ptr<osg::AutoTransform> rings = appended(*_ringsTransform, osg::ref_ptr(new osg::AutoTransform));
  const osg::Vec4f colors[] = {_xColor, _yColor, _zColor};
  for (std::size_t number = 0; number < _rings.size(); ++number) {
    RingHandle& handle = _rings[number];
    handle.transform = appended(*rings, createTransform(osg::Matrixd::rotate(kZAxis, kAxes[number])));
    handle.ring = _createCircleGeometry(kRingRadius, kCircleSegments);
    handle.ring->setColorArray(new osg::Vec4Array(1, &colors[number]), osg::Array::BIND_OVERALL);
    handle.ring->getOrCreateStateSet()->setAttribute(new osg::LineWidth(kRingLineWidth));
    const osg::ref_ptr<osg::Geode> geode = appended(*handle.transform, osg::ref_ptr<osg::Geode>(new osg::Geode));
    geode->addDrawable(createPickTube(colors[number]));
    geode->addDrawable(createRingBandGeometry(kTubeRadius, kBandWidth, kBandHeight));
    geode->addDrawable(createRingBandGeometry(kTubeRadius, kBandWidth, -kBandHeight));
    geode->addDrawable(handle.ring);
  }

  const osg::ref_ptr<osg::AutoTransform> facing = appended(*_ringsTransform, osg::ref_ptr(new osg::AutoTransform));
  facing->setAutoRotateMode(osg::AutoTransform::ROTATE_TO_SCREEN);
  const osg::ref_ptr<osg::Geometry> disc = _createCirclePolygonGeometry(kDiscRadius, kCircleSegments);
  disc->setColorArray(new osg::Vec4Array(1, &kDiscColor), osg::Array::BIND_OVERALL);
  disc->setDrawCallback(new DepthMask);
  appended(*facing, osg::ref_ptr<osg::Geode>(new osg::Geode))->addDrawable(disc);
  _updateRotation();
  addChild(_rotateSwitch);
}

osg::ref_ptr<osg::Geometry> BoxCutterDragger::_createCircleGeometry(float radius, unsigned int segments) {
  return createCircle(radius, segments, GL_LINE_LOOP);
}

osg::ref_ptr<osg::Geometry> BoxCutterDragger::_createCirclePolygonGeometry(float radius, unsigned int segments) {
  return createCircle(radius, segments, GL_POLYGON);
}

void BoxCutterDragger::_updateBoxGeometry() {
  const osg::Vec3f& low = _box._min;
  const osg::Vec3f& high = _box._max;
  const osg::Vec2f corners[] = {{low.x(), low.y()}, {low.x(), high.y()}, {high.x(), high.y()}, {high.x(), low.y()}};
  const auto verticesOf = [](osg::Geometry& outline) -> osg::Vec3Array& {
    return static_cast<osg::Vec3Array&>(*outline.getVertexArray());
  };
  for (std::size_t i = 0; i < 4; ++i) {
    const osg::Vec3f top(corners[i], high.z());
    const osg::Vec3f bottom(corners[i], low.z());
    verticesOf(*_topOutline)[i] = top;
    verticesOf(*_bottomOutline)[i] = bottom;
    verticesOf(*_verticalEdges)[2 * i] = top;
    verticesOf(*_verticalEdges)[2 * i + 1] = bottom;
  }
  for (osg::Geometry* outline : {_topOutline.get(), _bottomOutline.get(), _verticalEdges.get()}) {
    outline->getVertexArray()->dirty();
    outline->dirtyBound();
  }
}

}  // namespace QuorOsgUtils
