#include "support/ExposedBoxCutter.h"

#include <osg/Light>
#include <osg/LightSource>

#include <array>
#include <cmath>
#include <utility>
#include <vector>

namespace {

using namespace QuorTests;
using Cutter = QuorOsgUtils::BoxCutterDragger;
using osg::StateAttribute;

constexpr osg::Node::NodeMask kShown = 0xffffffffU;

class BoxCutterDraggerTest : public ExposedBoxTest {
 protected:
  /// A node that an axis mask shows and hides, and its bit.
  using Handle = std::pair<osg::Node*, int>;

  std::vector<Handle> handlesOf(Cutter::CutterType type) const {
    switch (type) {
      case Cutter::CUTTER_ROTATE:
        return {
            {_cutter->_rings[0].transform, 1}, {_cutter->_rings[1].transform, 2}, {_cutter->_rings[2].transform, 4}};
      case Cutter::CUTTER_TRANSLATE:
        return {{_cutter->_axes[0].transform, 1}, {_cutter->_axes[1].transform, 2}, {_cutter->_axes[2].transform, 4}};
      case Cutter::CUTTER_SCALE:
        return {{_cutter->_faces[ExposedBoxCutter::LEFT_FACE].transform, 1},
                {_cutter->_faces[ExposedBoxCutter::RIGHT_FACE].transform, 1},
                {_cutter->_faces[ExposedBoxCutter::FRONT_FACE].transform, 2},
                {_cutter->_faces[ExposedBoxCutter::BACK_FACE].transform, 2},
                {_cutter->_faces[ExposedBoxCutter::BOTTOM_FACE].transform, 4},
                {_cutter->_faces[ExposedBoxCutter::TOP_FACE].transform, 4}};
    }
    return {};
  }

  std::array<bool, 3> switches() const {
    return {_cutter->_rotateSwitch->getValue(0), _cutter->_translateSwitch->getValue(0),
            _cutter->_scaleSwitch->getValue(0)};
  }
};

constexpr std::array<Cutter::CutterType, 3> kTypes = {Cutter::CUTTER_ROTATE, Cutter::CUTTER_TRANSLATE,
                                                      Cutter::CUTTER_SCALE};

TEST_F(BoxCutterDraggerTest, typesAreNumberedRotateTranslateScale) {
  EXPECT_EQ(Cutter::CUTTER_ROTATE, 0);
  EXPECT_EQ(Cutter::CUTTER_TRANSLATE, 1);
  EXPECT_EQ(Cutter::CUTTER_SCALE, 2);
}

TEST_F(BoxCutterDraggerTest, startsInTheConesModeWithAllOfThemHidden) {
  EXPECT_EQ(_cutter->_type, Cutter::CUTTER_SCALE);
  EXPECT_EQ(switches(), (std::array<bool, 3>{false, false, true}));
  for (const auto& face : _cutter->_faces) {
    EXPECT_EQ(face.transform->getNodeMask(), 0U);
  }
}

TEST_F(BoxCutterDraggerTest, startsIdleWithItsBoxAndItsLeastSize) {
  EXPECT_FALSE(_cutter->_draggerActive);
  EXPECT_FALSE(_cutter->_handleEvents);
  EXPECT_EQ(_cutter->_minSize, 0.5f);
  EXPECT_EQ(_cutter->_box._min, osg::Vec3f(5.0f, 10.0f, 20.0f));
  EXPECT_EQ(_cutter->_box._max, osg::Vec3f(7.0f, 14.0f, 26.0f));
  EXPECT_EQ(_cutter->_clipNode, _clip);
  EXPECT_TRUE(_cutter->getMatrix().isIdentity());
  EXPECT_EQ(_cutter->_intersectionMask, 0xffffffffU);
  EXPECT_EQ(_cutter->_screenScale, 100.0);
  EXPECT_TRUE(_cutter->_clipPlanes.empty());
}

TEST_F(BoxCutterDraggerTest, startsWithAnInvalidStartBoxAndNoMotion) {
  constexpr float kLargest = 3.402823466e+38f;
  EXPECT_EQ(_cutter->_startBox._min, osg::Vec3f(kLargest, kLargest, kLargest));
  EXPECT_EQ(_cutter->_startBox._max, osg::Vec3f(-kLargest, -kLargest, -kLargest));
  EXPECT_EQ(_cutter->_startProjectedPoint, osg::Vec3d());
  EXPECT_EQ(_cutter->_prevWorldProjPt, osg::Vec3d());
  EXPECT_EQ(_cutter->_prevRotation, osg::Quat(0.0, 0.0, 0.0, 1.0));
  EXPECT_TRUE(_cutter->_startLocalToWorld.isIdentity());
  EXPECT_TRUE(_cutter->_startWorldToLocal.isIdentity());
  EXPECT_TRUE(_cutter->_pointer._hitList.empty());
  EXPECT_EQ(_cutter->_pointer._pixelSize, 1.0);
}

TEST_F(BoxCutterDraggerTest, startsWithItsFiveColours) {
  EXPECT_EQ(_cutter->_highlightColor, osg::Vec4f(1.0f, 1.0f, 0.0f, 1.0f));
  EXPECT_EQ(_cutter->_boxColor, osg::Vec4f(0.9f, 0.9f, 0.9f, 1.0f));
  EXPECT_EQ(_cutter->_xColor, osg::Vec4f(1.0f, 0.0f, 0.0f, 1.0f));
  EXPECT_EQ(_cutter->_yColor, osg::Vec4f(0.0f, 1.0f, 0.0f, 1.0f));
  EXPECT_EQ(_cutter->_zColor, osg::Vec4f(0.0f, 0.0f, 1.0f, 1.0f));
}

TEST_F(BoxCutterDraggerTest, itsProjectorsRunAlongTheAxesAndAroundThem) {
  const std::array<std::pair<osgManipulator::LineProjector*, osg::Vec3d>, 4> projectors = {
      {{_cutter->_xProjector.get(), {1.0, 0.0, 0.0}},
       {_cutter->_yProjector.get(), {0.0, 1.0, 0.0}},
       {_cutter->_zProjector.get(), {0.0, 0.0, 1.0}},
       {_cutter->_lineProjector.get(), {0.0, 0.0, 1.0}}}};
  for (const auto& [projector, end] : projectors) {
    EXPECT_EQ(projector->getLineStart(), osg::Vec3d());
    EXPECT_EQ(projector->getLineEnd(), end);
    EXPECT_TRUE(projector->getLocalToWorld().isIdentity());
  }
  EXPECT_NE(_cutter->_zProjector, _cutter->_lineProjector);
  const osg::ref_ptr<osgManipulator::CylinderPlaneProjector> plain = new osgManipulator::CylinderPlaneProjector;
  EXPECT_EQ(_cutter->_cylinderProjector->getCylinder()->getRadius(), plain->getCylinder()->getRadius());
  EXPECT_EQ(_cutter->_cylinderProjector->getCylinder()->getHeight(), plain->getCylinder()->getHeight());
}

/// Exposes which commands a transform callback handles.
struct OpenTransformCallback : osgManipulator::DraggerTransformCallback {
  using DraggerTransformCallback::_handleCommandMask;
};

TEST_F(BoxCutterDraggerTest, itsTransformCallbackGivesItselfEveryMotion) {
  osgManipulator::DraggerTransformCallback& callback = *_cutter->_transformCallback;
  EXPECT_EQ(callback.getTransform(), _cutter.get());
  EXPECT_EQ(callback.*(&OpenTransformCallback::_handleCommandMask), 0x8ffffffU);
}

TEST_F(BoxCutterDraggerTest, itsStateProtectsDepthTestLightingAndRescaling) {
  constexpr StateAttribute::GLModeValue kProtected = StateAttribute::ON | StateAttribute::PROTECTED;
  EXPECT_EQ(_cutter->getStateSet()->getModeList(), (osg::StateSet::ModeList{{GL_DEPTH_TEST, kProtected},
                                                                            {GL_LIGHTING, kProtected},
                                                                            {GL_RESCALE_NORMAL, kProtected},
                                                                            {GL_BLEND, StateAttribute::ON}}));
  EXPECT_TRUE(_cutter->getStateSet()->getAttributeList().empty());
}

TEST_F(BoxCutterDraggerTest, itsLightHangsHalfADiagonalAboveTheCentreAndShinesDown) {
  const auto& light = *dynamic_cast<osg::LightSource&>(*_cutter->getChild(4)).getLight();
  EXPECT_EQ(light.getLightNum(), 0);
  EXPECT_EQ(light.getAmbient(), osg::Vec4(1.0f, 1.0f, 1.0f, 1.0f));
  EXPECT_EQ(light.getDiffuse(), osg::Vec4(1.0f, 1.0f, 1.0f, 1.0f));
  EXPECT_EQ(light.getPosition().x(), 6.0f);
  EXPECT_EQ(light.getPosition().y(), 12.0f);
  EXPECT_NEAR(light.getPosition().z(), 23.0 + std::sqrt(14.0), 4e-6);
  EXPECT_EQ(light.getPosition().w(), 1.0f);
  EXPECT_EQ(light.getDirection(), osg::Vec3(0.0f, 0.0f, -1.0f));
  EXPECT_EQ(light.getConstantAttenuation(), 1.0f);
  EXPECT_EQ(light.getLinearAttenuation(), 0.0f);
  EXPECT_EQ(light.getQuadraticAttenuation(), 0.0f);
  EXPECT_EQ(light.getSpotExponent(), 0.0f);
}

TEST_F(BoxCutterDraggerTest, eachTypeTurnsOnItsOwnSwitchOnly) {
  for (const Cutter::CutterType type : kTypes) {
    _cutter->setType(type, 7);
    EXPECT_EQ(_cutter->_type, type);
    std::array<bool, 3> expected = {false, false, false};
    expected[static_cast<std::size_t>(type)] = true;
    EXPECT_EQ(switches(), expected) << type;
  }
}

TEST_F(BoxCutterDraggerTest, ringsAreDrawnBeforeTheSceneAndTheOtherHandlesAfterIt) {
  const std::array<int, 3> bins = {-100, 100, 100};
  const osg::StateSet& state = *_cutter->getStateSet();
  EXPECT_EQ(state.getBinNumber(), 100);
  for (const Cutter::CutterType type : kTypes) {
    _cutter->setType(type, 7);
    EXPECT_EQ(state.getBinNumber(), bins[static_cast<std::size_t>(type)]) << type;
    EXPECT_EQ(state.getBinName(), "RenderBin");
    EXPECT_EQ(state.getRenderBinMode(), osg::StateSet::USE_RENDERBIN_DETAILS);
  }
}

TEST_F(BoxCutterDraggerTest, everyMaskShowsTheHandlesOfItsAxesInItsModeAndTouchesNoOtherMode) {
  constexpr osg::Node::NodeMask kUntouched = 0x1234U;
  for (const Cutter::CutterType type : kTypes) {
    for (int mask = 0; mask < 8; ++mask) {
      for (const Cutter::CutterType mode : kTypes) {
        for (const auto& [node, bit] : handlesOf(mode)) {
          node->setNodeMask(kUntouched);
        }
      }
      _cutter->setType(type, mask);
      for (const Cutter::CutterType mode : kTypes) {
        for (const auto& [node, bit] : handlesOf(mode)) {
          const osg::Node::NodeMask expected = mode != type ? kUntouched : (mask & bit) != 0 ? kShown : 0U;
          EXPECT_EQ(node->getNodeMask(), expected) << "type " << type << ", mask " << mask << ", bit " << bit;
        }
      }
    }
  }
}

TEST_F(BoxCutterDraggerTest, bitsOfTheMaskBeyondTheThreeAxesMeanNothing) {
  for (const auto& [mask, isShown] : {std::pair(8, false), std::pair(~7, false), std::pair(-1, true)}) {
    for (const Cutter::CutterType type : kTypes) {
      _cutter->setType(type, mask);
      for (const auto& [node, bit] : handlesOf(type)) {
        EXPECT_EQ(node->getNodeMask(), isShown ? kShown : 0U);
      }
    }
  }
}

TEST_F(BoxCutterDraggerTest, axesAndRingsOfAFreshBoxAreHiddenBySwitchesOnly) {
  for (const Cutter::CutterType type : {Cutter::CUTTER_ROTATE, Cutter::CUTTER_TRANSLATE}) {
    for (const auto& [node, bit] : handlesOf(type)) {
      EXPECT_EQ(node->getNodeMask(), kShown);
    }
  }
}

TEST_F(BoxCutterDraggerTest, aTypeThatIsNoneOfTheThreeIsStoredAndChangesNothingElse) {
  for (const int value : {3, -1, 1000}) {
    _cutter->setType(Cutter::CUTTER_ROTATE, 5);
    const std::array<bool, 3> before = switches();
    _cutter->setType(static_cast<Cutter::CutterType>(value), 2);
    EXPECT_EQ(static_cast<int>(_cutter->_type), value);
    EXPECT_EQ(switches(), before);
    EXPECT_EQ(_cutter->getStateSet()->getBinNumber(), -100);
    for (const auto& [node, bit] : handlesOf(Cutter::CUTTER_ROTATE)) {
      EXPECT_EQ(node->getNodeMask(), bit == 2 ? 0U : kShown);
    }
    for (const auto& [node, bit] : handlesOf(Cutter::CUTTER_SCALE)) {
      EXPECT_EQ(node->getNodeMask(), 0U);
    }
  }
}

TEST_F(BoxCutterDraggerTest, theOutlineIsShownInEveryMode) {
  for (const Cutter::CutterType type : kTypes) {
    _cutter->setType(type, 0);
    EXPECT_EQ(_cutter->getChild(3)->getNodeMask(), kShown);
  }
}

TEST_F(BoxCutterDraggerTest, aBoxNearTenMillionHasItsHandlesThere) {
  osg::ref_ptr<ExposedBoxCutter> distant =
      new ExposedBoxCutter({1e7f, 2e7f, 0.0f, 10000064.0f, 20000064.0f, 64.0f}, _clip);
  EXPECT_EQ(distant->_boxCenter->getMatrix().getTrans(), osg::Vec3d(10000032.0, 20000032.0, 32.0));
  EXPECT_EQ(distant->_axesTransform->getMatrix().getTrans(), osg::Vec3d(10000032.0, 20000032.0, 32.0));
  EXPECT_EQ(distant->_ringsTransform->getMatrix().getTrans(), osg::Vec3d(10000032.0, 20000032.0, 32.0));
  EXPECT_EQ(distant->_faces[ExposedBoxCutter::RIGHT_FACE].transform->getMatrix().getTrans(),
            osg::Vec3d(32.0, 0.0, 0.0));
}

TEST_F(BoxCutterDraggerTest, enablingEventsRepeatedlyCountsOnce) {
  osg::ref_ptr<osg::Group> root = new osg::Group;
  root->addChild(_cutter);
  for (int round = 0; round < 2; ++round) {
    _cutter->setHandleEvents(true);
    _cutter->setHandleEvents(true);
    EXPECT_TRUE(_cutter->_handleEvents);
    EXPECT_EQ(_cutter->getNumChildrenRequiringEventTraversal(), 1U);
    EXPECT_EQ(root->getNumChildrenRequiringEventTraversal(), 1U);
    _cutter->setHandleEvents(false);
    _cutter->setHandleEvents(false);
    EXPECT_FALSE(_cutter->_handleEvents);
    EXPECT_EQ(_cutter->getNumChildrenRequiringEventTraversal(), 0U);
    EXPECT_EQ(root->getNumChildrenRequiringEventTraversal(), 0U);
  }
}

TEST_F(BoxCutterDraggerTest, turningEventsOffLeavesACountOfZeroAlone) {
  _cutter->setHandleEvents(true);
  _cutter->setNumChildrenRequiringEventTraversal(0);
  _cutter->setHandleEvents(false);
  EXPECT_FALSE(_cutter->_handleEvents);
  EXPECT_EQ(_cutter->getNumChildrenRequiringEventTraversal(), 0U);
}

TEST_F(BoxCutterDraggerTest, thePathOfANodeWithoutParentsIsTheNode) {
  osg::ref_ptr<osg::Group> alone = new osg::Group;
  osg::NodePath path = {_clip.get(), _clip.get()};
  _cutter->computeNodePathToRoot(*alone, path);
  EXPECT_EQ(path, osg::NodePath{alone.get()});
}

TEST_F(BoxCutterDraggerTest, thePathLeadsFromTheRootDownToTheNode) {
  osg::ref_ptr<osg::Group> root = new osg::Group;
  osg::ref_ptr<osg::Group> middle = new osg::Group;
  root->addChild(middle);
  middle->addChild(_cutter);
  osg::NodePath path;
  _cutter->computeNodePathToRoot(*_cutter->_axesTransform, path);
  EXPECT_EQ(path, (osg::NodePath{root, middle, _cutter, _cutter->_translateSwitch, _cutter->_axesTransform}));
}

TEST_F(BoxCutterDraggerTest, ofSeveralPathsTheFirstIsTaken) {
  osg::ref_ptr<osg::Group> first = new osg::Group;
  osg::ref_ptr<osg::Group> second = new osg::Group;
  first->addChild(_cutter);
  second->addChild(_cutter);
  osg::NodePath path;
  _cutter->computeNodePathToRoot(*_cutter, path);
  EXPECT_EQ(path, (osg::NodePath{first, _cutter}));
}

}  // namespace
