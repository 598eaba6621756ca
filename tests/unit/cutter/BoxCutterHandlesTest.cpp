#include "support/ExposedBoxCutter.h"
#include "support/TubeHints.h"

#include <osg/AutoTransform>
#include <osg/Geode>
#include <osg/LightSource>
#include <osg/LineWidth>
#include <osg/Shape>
#include <osgUtil/LineSegmentIntersector>

#include <algorithm>
#include <array>
#include <cmath>
#include <typeinfo>

namespace {

using namespace QuorTests;
using osg::StateAttribute;
using ModeList = osg::StateSet::ModeList;

const osg::Vec3d kCenter(6.0, 12.0, 23.0);
const osg::Vec3d kHalf(1.0, 2.0, 3.0);
const double kHalfDiagonal = std::sqrt(14.0);

// Points are row vectors: the rows are the images of the x, y and z axes.
osg::Matrixd leading(const osg::Vec3d& x, const osg::Vec3d& y, const osg::Vec3d& z) {
  return {x.x(), x.y(), x.z(), 0.0, y.x(), y.y(), y.z(), 0.0, z.x(), z.y(), z.z(), 0.0, 0.0, 0.0, 0.0, 1.0};
}

osg::Matrixd aboutX(double angle) {
  return leading({1.0, 0.0, 0.0}, {0.0, std::cos(angle), std::sin(angle)}, {0.0, -std::sin(angle), std::cos(angle)});
}

osg::Matrixd aboutY(double angle) {
  return leading({std::cos(angle), 0.0, -std::sin(angle)}, {0.0, 1.0, 0.0}, {std::sin(angle), 0.0, std::cos(angle)});
}

// The shortest rotations that take the z axis to x, to y, and to itself.
const std::array<osg::Matrixd, 3> kAxisTurns = {leading({0.0, 0.0, -1.0}, {0.0, 1.0, 0.0}, {1.0, 0.0, 0.0}),
                                                leading({1.0, 0.0, 0.0}, {0.0, 0.0, -1.0}, {0.0, 1.0, 0.0}),
                                                osg::Matrixd()};

const ModeList& modesOf(const osg::Node& node) {
  return node.getStateSet()->getModeList();
}

float lineWidthOf(const osg::Node& node) {
  const StateAttribute* width = node.getStateSet()->getAttribute(StateAttribute::LINEWIDTH);
  return dynamic_cast<const osg::LineWidth&>(*width).getWidth();
}

void expectVertices(const osg::Geometry& geometry, const std::vector<osg::Vec3f>& expected) {
  const auto& vertices = dynamic_cast<const osg::Vec3Array&>(*geometry.getVertexArray());
  ASSERT_EQ(vertices.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(vertices[i], expected[i]) << i;
  }
}

void expectOneArray(const osg::Geometry& geometry, GLenum mode, int count) {
  ASSERT_EQ(geometry.getNumPrimitiveSets(), 1U);
  const auto& primitives = dynamic_cast<const osg::DrawArrays&>(*geometry.getPrimitiveSet(0));
  EXPECT_EQ(primitives.getMode(), mode);
  EXPECT_EQ(primitives.getFirst(), 0);
  EXPECT_EQ(primitives.getCount(), count);
}

template <typename Shape>
void expectShape(const osg::ShapeDrawable& drawable, const osg::Vec3f& center, float radius, float height) {
  const auto& shape = dynamic_cast<const Shape&>(*drawable.getShape());
  EXPECT_EQ(shape.getCenter(), center);
  EXPECT_EQ(shape.getRadius(), radius);
  EXPECT_EQ(shape.getHeight(), height);
  EXPECT_TRUE(shape.zeroRotation());
}

void expectNeverDrawn(osg::Drawable& drawable) {
  const auto* callback = dynamic_cast<const osg::DrawableCullCallback*>(drawable.getCullCallback());
  ASSERT_NE(callback, nullptr);
  EXPECT_TRUE(callback->cull(nullptr, &drawable, static_cast<osg::RenderInfo*>(nullptr)));
  EXPECT_TRUE(callback->cull(nullptr, &drawable, static_cast<osg::State*>(nullptr)));
}

class BoxCutterHandlesTest : public ExposedBoxTest {
 protected:
  osg::Geode& outline() { return childOf<osg::Geode>(*_cutter, 3); }

  /// Whether a ray meets one of a node's drawables, and which.
  std::vector<osg::Drawable*> hitsBelow(const osg::Node& node, const osg::Vec3d& start, const osg::Vec3d& end);
};

std::vector<osg::Drawable*> BoxCutterHandlesTest::hitsBelow(const osg::Node& node, const osg::Vec3d& start,
                                                            const osg::Vec3d& end) {
  osg::ref_ptr<osgUtil::LineSegmentIntersector> ray = new osgUtil::LineSegmentIntersector(start, end);
  osgUtil::IntersectionVisitor visitor(ray);
  _cutter->accept(visitor);
  std::vector<osg::Drawable*> drawables;
  for (const osgUtil::LineSegmentIntersector::Intersection& hit : ray->getIntersections()) {
    if (std::count(hit.nodePath.begin(), hit.nodePath.end(), &node) != 0) {
      drawables.push_back(hit.drawable);
    }
  }
  return drawables;
}

TEST_F(BoxCutterHandlesTest, aBoxHoldsConesArrowsRingsOutlineAndLightInThisOrder) {
  ASSERT_EQ(_cutter->getNumChildren(), 5U);
  EXPECT_EQ(&childOf<osg::Switch>(*_cutter, 0), _cutter->_scaleSwitch);
  EXPECT_EQ(&childOf<osg::Switch>(*_cutter, 1), _cutter->_translateSwitch);
  EXPECT_EQ(&childOf<osg::Switch>(*_cutter, 2), _cutter->_rotateSwitch);
  EXPECT_EQ(outline().getNumChildren(), 3U);
  EXPECT_NE(dynamic_cast<osg::LightSource*>(_cutter->getChild(4)), nullptr);
}

TEST_F(BoxCutterHandlesTest, noPartOfTheBoxForcesContinuousDrawingOrRequestsEvents) {
  EXPECT_EQ(_cutter->getNumChildrenRequiringUpdateTraversal(), 0U);
  EXPECT_EQ(_cutter->getNumChildrenRequiringEventTraversal(), 0U);
  EXPECT_EQ(_cutter->getUpdateCallback(), nullptr);
}

TEST_F(BoxCutterHandlesTest, theOutlineIsLit) {
  EXPECT_EQ(modesOf(outline()), (ModeList{{GL_LIGHTING, StateAttribute::ON}}));
}

TEST_F(BoxCutterHandlesTest, theOutlineHasALoopAboveALoopBelowAndFourEdges) {
  EXPECT_EQ(outline().getDrawable(0), _cutter->_topOutline.get());
  EXPECT_EQ(outline().getDrawable(1), _cutter->_bottomOutline.get());
  EXPECT_EQ(outline().getDrawable(2), _cutter->_verticalEdges.get());
  expectVertices(*_cutter->_topOutline, {{5, 10, 26}, {5, 14, 26}, {7, 14, 26}, {7, 10, 26}});
  expectVertices(*_cutter->_bottomOutline, {{5, 10, 20}, {5, 14, 20}, {7, 14, 20}, {7, 10, 20}});
  expectVertices(
      *_cutter->_verticalEdges,
      {{5, 10, 26}, {5, 10, 20}, {5, 14, 26}, {5, 14, 20}, {7, 14, 26}, {7, 14, 20}, {7, 10, 26}, {7, 10, 20}});
  expectOneArray(*_cutter->_topOutline, GL_LINE_LOOP, 4);
  expectOneArray(*_cutter->_bottomOutline, GL_LINE_LOOP, 4);
  expectOneArray(*_cutter->_verticalEdges, GL_LINES, 8);
}

TEST_F(BoxCutterHandlesTest, theOutlineIsPaleAndMayChangeFromFrameToFrame) {
  for (const osg::Geometry* part :
       {_cutter->_topOutline.get(), _cutter->_bottomOutline.get(), _cutter->_verticalEdges.get()}) {
    expectOverallColor(*part, kOutlineColor);
    EXPECT_EQ(part->getDataVariance(), osg::Object::DYNAMIC);
    EXPECT_FALSE(part->getUseDisplayList());
    EXPECT_TRUE(part->getUseVertexBufferObjects());
    EXPECT_EQ(part->getNormalArray(), nullptr);
  }
}

TEST_F(BoxCutterHandlesTest, theSwitchOfTheConesIsLitAndTestsDepth) {
  EXPECT_EQ(modesOf(*_cutter->_scaleSwitch),
            (ModeList{{GL_LIGHTING, StateAttribute::ON}, {GL_DEPTH_TEST, StateAttribute::ON}}));
}

TEST_F(BoxCutterHandlesTest, theConesAreChildrenOfTheBoxCentreInTheMiddlesOfTheirFaces) {
  ASSERT_EQ(_cutter->_scaleSwitch->getNumChildren(), 1U);
  osg::MatrixTransform& center = childOf<osg::MatrixTransform>(*_cutter->_scaleSwitch, 0);
  EXPECT_EQ(&center, _cutter->_boxCenter);
  EXPECT_EQ(center.getMatrix(), osg::Matrixd::translate(kCenter));
  ASSERT_EQ(center.getNumChildren(), 6U);
  const std::array<osg::Vec3d, 6> toFaces = {{{-kHalf.x(), 0.0, 0.0},
                                              {kHalf.x(), 0.0, 0.0},
                                              {0.0, -kHalf.y(), 0.0},
                                              {0.0, kHalf.y(), 0.0},
                                              {0.0, 0.0, -kHalf.z()},
                                              {0.0, 0.0, kHalf.z()}}};
  for (std::size_t face = 0; face < 6; ++face) {
    EXPECT_EQ(_cutter->_faces[face].transform->getMatrix(), osg::Matrixd::translate(toFaces[face])) << face;
    EXPECT_EQ(_cutter->_faces[face].transform->getParent(0), &center) << face;
  }
}

TEST_F(BoxCutterHandlesTest, theFaceHandlesAreStoredInTheOrderLeftRightTopBottomFrontBack) {
  const std::array<ExposedBoxCutter::Face, 6> order = {ExposedBoxCutter::LEFT_FACE,  ExposedBoxCutter::RIGHT_FACE,
                                                       ExposedBoxCutter::TOP_FACE,   ExposedBoxCutter::BOTTOM_FACE,
                                                       ExposedBoxCutter::FRONT_FACE, ExposedBoxCutter::BACK_FACE};
  const auto* handle = &_cutter->_faces[ExposedBoxCutter::LEFT_FACE];
  for (const ExposedBoxCutter::Face face : order) {
    EXPECT_EQ(&_cutter->_faces[face], handle++) << face;
  }
}

TEST_F(BoxCutterHandlesTest, eachConeIsBelowItsFacePixelSizeAndOrientationTransforms) {
  for (const auto& face : _cutter->_faces) {
    ASSERT_EQ(face.transform->getNumChildren(), 1U);
    auto& pixels = childOf<osg::AutoTransform>(*face.transform, 0);
    EXPECT_TRUE(pixels.getAutoScaleToScreen());
    EXPECT_EQ(pixels.getAutoRotateMode(), osg::AutoTransform::NO_ROTATION);
    ASSERT_EQ(pixels.getNumChildren(), 1U);
    auto& orientation = childOf<osg::MatrixTransform>(pixels, 0);
    EXPECT_EQ(&orientation, face.orientation);
    ASSERT_EQ(orientation.getNumChildren(), 1U);
    auto& geode = childOf<osg::Geode>(orientation, 0);
    ASSERT_EQ(geode.getNumDrawables(), 1U);
    EXPECT_EQ(geode.getDrawable(0), face.cone.get());
  }
}

TEST_F(BoxCutterHandlesTest, theConesAreTenPixelsInRadiusAndEighteenHighInTheirAxisColours) {
  for (std::size_t face = 0; face < 6; ++face) {
    const osg::ShapeDrawable& cone = *_cutter->_faces[face].cone;
    expectShape<osg::Cone>(cone, osg::Vec3f(), 10.0f, 18.0f);
    EXPECT_EQ(cone.getColor(), kAxisColors[face / 2]) << face;
  }
}

// The literals differ from 90° and 180° in the eighth digit, and the matrices show it.
TEST_F(BoxCutterHandlesTest, theConesPointOutOfTheirFacesByTheLiteralAngles) {
  const std::array<osg::Matrixd, 6> turns = {aboutY(-1.5707963), aboutY(1.5707963), aboutX(1.5707963),
                                             aboutX(-1.5707963), aboutX(3.1415926), osg::Matrixd()};
  for (std::size_t face = 0; face < 6; ++face) {
    expectMatrixNear(_cutter->_faces[face].orientation->getMatrix(), turns[face], 1e-13);
  }
}

TEST_F(BoxCutterHandlesTest, eachConeLooksAwayFromTheBoxsCentre) {
  for (const auto& face : _cutter->_faces) {
    const osg::Vec3d tip = osg::Vec3d(0.0, 0.0, 1.0) * face.orientation->getMatrix();
    osg::Vec3d outwards = face.transform->getMatrix().getTrans();
    outwards.normalize();
    EXPECT_NEAR(tip * outwards, 1.0, 1e-12);
  }
}

TEST_F(BoxCutterHandlesTest, theSwitchOfTheArrowsIsLitAndDrawsOverEverything) {
  EXPECT_EQ(modesOf(*_cutter->_translateSwitch),
            (ModeList{{GL_LIGHTING, StateAttribute::ON}, {GL_DEPTH_TEST, StateAttribute::OFF}}));
}

TEST_F(BoxCutterHandlesTest, theArrowsHangInTheBoxsCentreInPixelSizeAndAreNotCulled) {
  ASSERT_EQ(_cutter->_translateSwitch->getNumChildren(), 1U);
  EXPECT_EQ(_cutter->_translateSwitch->getChild(0), _cutter->_axesTransform.get());
  EXPECT_EQ(_cutter->_axesTransform->getMatrix(), osg::Matrixd::translate(kCenter));
  ASSERT_EQ(_cutter->_axesTransform->getNumChildren(), 1U);
  EXPECT_TRUE(axesInPixels().getAutoScaleToScreen());
  EXPECT_FALSE(axesInPixels().getCullingActive());
  ASSERT_EQ(axesInPixels().getNumChildren(), 3U);
}

TEST_F(BoxCutterHandlesTest, theArrowsPointAlongTheirAxesWithLinesFourPixelsWide) {
  for (unsigned int i = 0; i < 3; ++i) {
    EXPECT_EQ(&axisTransform(i), _cutter->_axes[i].transform);
    expectMatrixNear(axisTransform(i).getMatrix(), kAxisTurns[i], 1e-15);
    EXPECT_EQ(lineWidthOf(axisTransform(i)), 4.0f);
    EXPECT_EQ(axisTransform(i).getNumChildren(), 1U);
  }
}

TEST_F(BoxCutterHandlesTest, anArrowIsAHeadAPickVolumeAndAShaft) {
  for (unsigned int i = 0; i < 3; ++i) {
    ASSERT_EQ(axis(i).getNumDrawables(), 3U);
    const auto& head = dynamic_cast<osg::ShapeDrawable&>(*axis(i).getDrawable(0));
    EXPECT_EQ(&head, _cutter->_axes[i].head);
    expectShape<osg::Cone>(head, osg::Vec3f(0.0f, 0.0f, 150.0f), 10.0f, 18.0f);
    EXPECT_EQ(head.getColor(), kAxisColors[i]);
    EXPECT_EQ(head.getCullCallback(), nullptr);

    auto& volume = dynamic_cast<osg::ShapeDrawable&>(*axis(i).getDrawable(1));
    expectShape<osg::Cylinder>(volume, osg::Vec3f(0.0f, 0.0f, 75.0f), 10.0f, 150.0f);
    EXPECT_EQ(volume.getColor(), osg::Vec4f(1.0f, 1.0f, 1.0f, 1.0f));
    expectNeverDrawn(volume);

    const auto& shaft = dynamic_cast<osg::Geometry&>(*axis(i).getDrawable(2));
    EXPECT_EQ(&shaft, _cutter->_axes[i].shaft);
    expectVertices(shaft, {{0.0f, 0.0f, 0.0f}, {0.0f, 0.0f, 150.0f}});
    expectOneArray(shaft, GL_LINES, 2);
    expectOverallColor(shaft, kAxisColors[i]);
    EXPECT_EQ(shaft.getCullCallback(), nullptr);
  }
}

TEST_F(BoxCutterHandlesTest, theSwitchOfTheRingsIsUnlitWhateverIsAboveIt) {
  EXPECT_EQ(modesOf(*_cutter->_rotateSwitch),
            (ModeList{{GL_LIGHTING, StateAttribute::OFF | StateAttribute::PROTECTED}}));
}

TEST_F(BoxCutterHandlesTest, theRingsAreScaledByHalfTheDiagonalAboutTheBoxsCentre) {
  ASSERT_EQ(_cutter->_rotateSwitch->getNumChildren(), 1U);
  EXPECT_EQ(_cutter->_rotateSwitch->getChild(0), _cutter->_ringsTransform.get());
  expectMatrixNear(_cutter->_ringsTransform->getMatrix(),
                   osg::Matrixd(kHalfDiagonal, 0.0, 0.0, 0.0, 0.0, kHalfDiagonal, 0.0, 0.0, 0.0, 0.0, kHalfDiagonal,
                                0.0, kCenter.x(), kCenter.y(), kCenter.z(), 1.0),
                   1e-6);
}

TEST_F(BoxCutterHandlesTest, doublingEveryExtentDoublesTheRings) {
  osg::ref_ptr<ExposedBoxCutter> twice = new ExposedBoxCutter({5.0f, 10.0f, 20.0f, 9.0f, 18.0f, 32.0f}, _clip);
  EXPECT_NEAR(twice->_ringsTransform->getMatrix().getScale().x(),
              2.0 * _cutter->_ringsTransform->getMatrix().getScale().x(), 1e-6);
}

TEST_F(BoxCutterHandlesTest, theRingsAreBelowAPlainAutoTransformAndTheDiscBelowOneThatFacesTheScreen) {
  ASSERT_EQ(_cutter->_ringsTransform->getNumChildren(), 2U);
  const osg::ref_ptr<osg::AutoTransform> plain = new osg::AutoTransform;
  EXPECT_FALSE(rings().getAutoScaleToScreen());
  EXPECT_EQ(rings().getAutoRotateMode(), plain->getAutoRotateMode());
  EXPECT_EQ(rings().getCullingActive(), plain->getCullingActive());
  EXPECT_EQ(rings().getNumChildren(), 3U);
  auto& facing = childOf<osg::AutoTransform>(*_cutter->_ringsTransform, 1);
  EXPECT_FALSE(facing.getAutoScaleToScreen());
  EXPECT_EQ(facing.getAutoRotateMode(), osg::AutoTransform::ROTATE_TO_SCREEN);
  ASSERT_EQ(facing.getNumChildren(), 1U);
  EXPECT_EQ(childOf<osg::Geode>(facing, 0).getNumDrawables(), 1U);
}

TEST_F(BoxCutterHandlesTest, theRingsTurnAboutTheirAxesWithLinesFivePixelsWide) {
  for (unsigned int i = 0; i < 3; ++i) {
    EXPECT_EQ(&ringTransform(i), _cutter->_rings[i].transform);
    expectMatrixNear(ringTransform(i).getMatrix(), kAxisTurns[i], 1e-15);
    ASSERT_EQ(ringTransform(i).getNumChildren(), 1U);
    ASSERT_EQ(ring(i).getNumDrawables(), 4U);
    EXPECT_EQ(ring(i).getDrawable(3), _cutter->_rings[i].ring.get());
    EXPECT_EQ(lineWidthOf(*ring(i).getDrawable(3)), 5.0f);
    EXPECT_EQ(ring(i).getDrawable(3)->getCullCallback(), nullptr);
  }
}

TEST_F(BoxCutterHandlesTest, theRingsPickTubesAreOpenCylindersOfTheirColoursThatAreNeverDrawn) {
  for (unsigned int i = 0; i < 3; ++i) {
    auto& tube = dynamic_cast<osg::ShapeDrawable&>(*ring(i).getDrawable(0));
    expectShape<osg::Cylinder>(tube, osg::Vec3f(), 1.1f, 0.1f);
    EXPECT_EQ(tube.getColor(), kAxisColors[i]);
    expectNeverDrawn(tube);
    ASSERT_NE(tube.getTessellationHints(), nullptr);
    expectTubeHints(*tube.getTessellationHints());
  }
}

void expectBand(const osg::Geometry& band, float z) {
  const auto& vertices = dynamic_cast<const osg::Vec3Array&>(*band.getVertexArray());
  ASSERT_EQ(vertices.size(), 202U);
  for (unsigned int i = 0; i < 100; ++i) {
    const double angle = 0.06283186 * i;
    const osg::Vec3d direction(std::cos(angle), std::sin(angle), 0.0);
    EXPECT_LT((osg::Vec3d(vertices[2 * i]) - direction * 1.1 - osg::Vec3d(0.0, 0.0, z)).length(), 2e-5) << i;
    EXPECT_LT((osg::Vec3d(vertices[2 * i + 1]) - direction * 1.05 - osg::Vec3d(0.0, 0.0, z)).length(), 2e-5) << i;
  }
  EXPECT_EQ(vertices[200], vertices[0]);
  EXPECT_EQ(vertices[201], vertices[1]);
  EXPECT_EQ(band.getNormalBinding(), osg::Geometry::BIND_PER_VERTEX);
  const auto& normals = dynamic_cast<const osg::Vec3Array&>(*band.getNormalArray());
  EXPECT_EQ(normals.size(), 202U);
  for (const osg::Vec3f& normal : normals) {
    EXPECT_EQ(normal, osg::Vec3f(0.0f, 0.0f, -1.0f));
  }
  expectOneArray(band, GL_TRIANGLE_STRIP, 202);
}

TEST_F(BoxCutterHandlesTest, theRingsPickBandsCloseTheTubeAboveAndBelowWithoutColourAndAreNeverDrawn) {
  for (unsigned int i = 0; i < 3; ++i) {
    for (const unsigned int number : {1U, 2U}) {
      auto& band = dynamic_cast<osg::Geometry&>(*ring(i).getDrawable(number));
      expectBand(band, number == 1 ? 0.03f : -0.03f);
      EXPECT_EQ(band.getColorArray(), nullptr);
      expectNeverDrawn(band);
    }
  }
}

// Computed by a plain loop with an angle that accumulates in single precision.
void expectCircle(const osg::Geometry& circle, double radius, GLenum mode) {
  const auto& vertices = dynamic_cast<const osg::Vec3Array&>(*circle.getVertexArray());
  const auto& normals = dynamic_cast<const osg::Vec3Array&>(*circle.getNormalArray());
  ASSERT_EQ(vertices.size(), 100U);
  ASSERT_EQ(normals.size(), 100U);
  EXPECT_EQ(circle.getNormalBinding(), osg::Geometry::BIND_PER_VERTEX);
  float angle = 0.0f;
  for (std::size_t i = 0; i < 100; ++i, angle += static_cast<float>(6.283185307179586 / 100.0)) {
    const osg::Vec3d outwards(std::cos(static_cast<double>(angle)), std::sin(static_cast<double>(angle)), 0.0);
    EXPECT_LT((osg::Vec3d(vertices[i]) - outwards * radius).length(), 3e-7) << i;
    EXPECT_LT((osg::Vec3d(normals[i]) - outwards).length(), 2e-7) << i;
  }
  expectOneArray(circle, mode, 100);
}

TEST_F(BoxCutterHandlesTest, theRingsAreCirclesInTheirColours) {
  for (std::size_t i = 0; i < 3; ++i) {
    expectCircle(*_cutter->_rings[i].ring, 1.075, GL_LINE_LOOP);
    expectOverallColor(*_cutter->_rings[i].ring, kAxisColors[i]);
  }
}

TEST_F(BoxCutterHandlesTest, behindTheRingsIsADarkTranslucentDisc) {
  expectCircle(disc(), 1.0, GL_POLYGON);
  expectOverallColor(disc(), kDiscColor);
  EXPECT_EQ(disc().getCullCallback(), nullptr);
}

TEST_F(BoxCutterHandlesTest, theDiscsDrawCallbackReportsThePlainClassAndClonesToIt) {
  const osg::Drawable::DrawCallback& callback = *disc().getDrawCallback();
  EXPECT_NE(typeid(callback), typeid(osg::Drawable::DrawCallback));
  EXPECT_STREQ(callback.className(), "DrawCallback");
  EXPECT_STREQ(callback.libraryName(), "osg");
  const osg::ref_ptr<osg::Object> plain = new osg::Drawable::DrawCallback;
  EXPECT_TRUE(callback.isSameKindAs(plain));
  for (const osg::ref_ptr<osg::Object>& clone : {osg::ref_ptr<osg::Object>(callback.clone(osg::CopyOp::SHALLOW_COPY)),
                                                 osg::ref_ptr<osg::Object>(callback.cloneType())}) {
    const osg::Object& object = *clone;
    EXPECT_EQ(typeid(object), typeid(osg::Drawable::DrawCallback));
  }
}

TEST_F(BoxCutterHandlesTest, aPickVolumesCallbackIsOtherwiseLikeItsBase) {
  auto& callback = dynamic_cast<osg::DrawableCullCallback&>(*axis(0).getDrawable(1)->getCullCallback());
  EXPECT_EQ(callback.asDrawableCullCallback(), &callback);
  EXPECT_STREQ(callback.className(), osg::DrawableCullCallback().className());
}

// Before the first frame the arrows are in world units.
TEST_F(BoxCutterHandlesTest, aRayMeetsAnAxisPickCylinderAlthoughNothingIsDrawnThere) {
  _cutter->setType(ExposedBoxCutter::CUTTER_TRANSLATE, 7);
  const osg::Vec3d besideTheShaft = kCenter + osg::Vec3d(70.0, 0.0, 5.0);
  const osg::Vec3d across(0.0, 50.0, 0.0);
  const std::vector<osg::Drawable*> hits =
      hitsBelow(*_cutter->_axes[0].transform, besideTheShaft - across, besideTheShaft + across);
  ASSERT_FALSE(hits.empty());
  for (const osg::Drawable* hit : hits) {
    EXPECT_EQ(hit, axis(0).getDrawable(1));
  }
}

TEST_F(BoxCutterHandlesTest, aRayMeetsARingsTubeAndBandsAlthoughNothingIsDrawnThere) {
  _cutter->setType(ExposedBoxCutter::CUTTER_ROTATE, 7);
  // Off the axes, where there is no other ring.
  const osg::Vec3d outwards(std::cos(0.7), std::sin(0.7), 0.0);
  const osg::Vec3d onTheBands = kCenter + outwards * (1.075 * kHalfDiagonal);
  const std::vector<osg::Drawable*> bands = hitsBelow(
      *_cutter->_rings[2].transform, onTheBands - osg::Vec3d(0.0, 0.0, 1.0), onTheBands + osg::Vec3d(0.0, 0.0, 1.0));
  EXPECT_EQ(std::count(bands.begin(), bands.end(), ring(2).getDrawable(1)), 1);
  EXPECT_EQ(std::count(bands.begin(), bands.end(), ring(2).getDrawable(2)), 1);

  const osg::Vec3d lift(0.0, 0.0, 0.04 * kHalfDiagonal);
  const std::vector<osg::Drawable*> tube =
      hitsBelow(*_cutter->_rings[2].transform, kCenter + lift + outwards * 10.0, kCenter + lift);
  ASSERT_EQ(tube.size(), 1U);
  EXPECT_EQ(tube[0], ring(2).getDrawable(0));
}

TEST_F(BoxCutterHandlesTest, aHiddenHandleIsNotHit) {
  _cutter->setType(ExposedBoxCutter::CUTTER_TRANSLATE, 6);
  const osg::Vec3d shaft = kCenter + osg::Vec3d(70.0, 0.0, 5.0);
  const osg::Vec3d across(0.0, 50.0, 0.0);
  EXPECT_TRUE(hitsBelow(*_cutter->_axes[0].transform, shaft - across, shaft + across).empty());
}

}  // namespace
