#include <QuorOsgUtils/SManipulatorBase.h>

#include <osg/ref_ptr>

#include <gtest/gtest.h>

#include <utility>

namespace {

using QuorOsgUtils::SLidarManipulatorBase;
using QuorOsgUtils::SManipulatorBase;

const osg::Vec3d kCenter(1.0, 2.0, 3.0);
const osg::Vec3d kViewCenter(4.0e6, 5.0e5, 6.5);
const osg::Quat kRotation(0.5, osg::Vec3d(0.0, 0.0, 1.0));

template <class Manipulator>
osg::ref_ptr<Manipulator> placed() {
  osg::ref_ptr<Manipulator> manipulator = new Manipulator;
  manipulator->setCenter(kCenter);
  manipulator->setRotation(kRotation);
  manipulator->setDistance(7.0);
  manipulator->setViewCenter(kViewCenter);
  return manipulator;
}

void expectPlaced(SManipulatorBase& manipulator) {
  EXPECT_EQ(manipulator.getCenter(), kCenter);
  EXPECT_EQ(manipulator.getRotation(), kRotation);
  EXPECT_EQ(manipulator.getDistance(), 7.0);
  EXPECT_EQ(manipulator.getViewCenter(), kViewCenter);
}

TEST(SManipulatorBaseTest, isBuiltWithItsViewCentreAtTheOriginAndAFieldOfViewOfThirtyDegreesInRadians) {
  const osg::ref_ptr<SManipulatorBase> manipulator = new SManipulatorBase;
  EXPECT_EQ(manipulator->getViewCenter(), osg::Vec3d(0.0, 0.0, 0.0));
  EXPECT_EQ(manipulator->getFov(), 0.5235987666666667);
}

TEST(SManipulatorBaseTest, isBuiltWithTheOrbitManipulatorsDefaultFlags) {
  class Open : public SManipulatorBase {
   public:
    int flags() const { return _flags; }
  };
  const osg::ref_ptr<Open> manipulator = new Open;
  EXPECT_EQ(manipulator->flags(), 5);
}

TEST(SManipulatorBaseTest, givesBackTheViewCentreThatWasSet) {
  const osg::ref_ptr<SManipulatorBase> manipulator = new SManipulatorBase;
  manipulator->setViewCenter(kViewCenter);
  EXPECT_EQ(manipulator->getViewCenter(), kViewCenter);
}

TEST(SManipulatorBaseTest, pitchAndYawSettersLeaveTheCameraUnchanged) {
  const osg::ref_ptr<SManipulatorBase> manipulator = placed<SManipulatorBase>();
  const osg::Matrixd before = manipulator->getMatrix();
  const osg::Quat turn(1.0, osg::Vec3d(1.0, 0.0, 0.0));
  manipulator->setPitchQuat(turn);
  manipulator->setYawQuat(turn);
  manipulator->setPitchWithYawQuat(turn, turn);
  EXPECT_EQ(manipulator->getMatrix(), before);
  expectPlaced(*manipulator);
}

TEST(SManipulatorBaseTest, viewRightIsTheXAxisWithoutARotation) {
  const osg::ref_ptr<SManipulatorBase> manipulator = new SManipulatorBase;
  manipulator->setRotation(osg::Quat());
  EXPECT_EQ(manipulator->getViewRight(), osg::Vec3d(1.0, 0.0, 0.0));
}

TEST(SManipulatorBaseTest, viewRightFollowsTheRotation) {
  const osg::ref_ptr<SManipulatorBase> manipulator = new SManipulatorBase;
  manipulator->setRotation(osg::Quat(osg::PI_2, osg::Vec3d(0.0, 0.0, 1.0)));
  const osg::Vec3d right = manipulator->getViewRight();
  EXPECT_NEAR((right - osg::Vec3d(0.0, 1.0, 0.0)).length(), 0.0, 1e-12);
}

TEST(SManipulatorBaseTest, aCopyCarriesTheOrbitStateAndTheViewCentre) {
  const osg::ref_ptr<SManipulatorBase> source = placed<SManipulatorBase>();
  const osg::ref_ptr<SManipulatorBase> copy = new SManipulatorBase(*source);
  expectPlaced(*copy);
}

TEST(SLidarManipulatorBaseTest, aCopyCarriesTheOrbitStateAndTheViewCentre) {
  const osg::ref_ptr<SLidarManipulatorBase> source = placed<SLidarManipulatorBase>();
  const osg::ref_ptr<SLidarManipulatorBase> copy = new SLidarManipulatorBase(*source);
  expectPlaced(*copy);
}

TEST(SLidarManipulatorBaseTest, aMoveCopiesAndLeavesItsSourceUnchanged) {
  const osg::ref_ptr<SLidarManipulatorBase> source = placed<SLidarManipulatorBase>();
  const osg::ref_ptr<SLidarManipulatorBase> moved = new SLidarManipulatorBase(std::move(*source));
  expectPlaced(*moved);
  expectPlaced(*source);
}

}  // namespace
