#include <QuorOsgUtils/BoxCutterDragger.h>

#include <osg/Camera>
#include <osg/Group>
#include <osg/Viewport>

#include <gtest/gtest.h>

#include <type_traits>

namespace {

using QuorOsgUtils::BoxPointerInfo;

static_assert(std::is_base_of_v<osgManipulator::PointerInfo, BoxPointerInfo>);

class BoxPointerInfoTest : public ::testing::Test {
 protected:
  osg::ref_ptr<osg::Group> _near = new osg::Group;
  osg::ref_ptr<osg::Group> _far = new osg::Group;

  /// Hits `_near` first; no field has its default value.
  BoxPointerInfo makeUsed() {
    BoxPointerInfo pointer;
    pointer.addIntersection({_near.get()}, osg::Vec3d(1.0, 2.0, 3.0));
    pointer.addIntersection({_far.get()}, osg::Vec3d(4.0, 5.0, 6.0));
    pointer.setNearFarPoints(osg::Vec3d(0.0, 0.0, 9.0), osg::Vec3d(0.0, 0.0, -9.0));
    pointer._pushX = 10.0f;
    pointer._pushY = 20.0f;
    pointer._dragX = 30.0f;
    pointer._dragY = 40.0f;
    pointer._pixelSize = 0.25;
    pointer._cameraToWorld = osg::Matrixd::translate(7.0, 8.0, 9.0);
    return pointer;
  }

  static void expectUsedValues(const BoxPointerInfo& pointer) {
    EXPECT_EQ(pointer._pushX, 10.0f);
    EXPECT_EQ(pointer._pushY, 20.0f);
    EXPECT_EQ(pointer._dragX, 30.0f);
    EXPECT_EQ(pointer._dragY, 40.0f);
    EXPECT_EQ(pointer._pixelSize, 0.25);
    EXPECT_EQ(pointer._cameraToWorld, osg::Matrixd::translate(7.0, 8.0, 9.0));
    EXPECT_EQ(pointer.getEyeDir(), osg::Vec3d(0.0, 0.0, -18.0));
  }

  static void expectFresh(const BoxPointerInfo& pointer) {
    EXPECT_TRUE(pointer._hitList.empty());
    EXPECT_TRUE(pointer.completed());
    EXPECT_EQ(pointer._pushX, 0.0f);
    EXPECT_EQ(pointer._pushY, 0.0f);
    EXPECT_EQ(pointer._dragX, 0.0f);
    EXPECT_EQ(pointer._dragY, 0.0f);
    EXPECT_EQ(pointer._pixelSize, 1.0);
    EXPECT_TRUE(pointer._cameraToWorld.isIdentity());
    EXPECT_EQ(pointer.getEyeDir(), osg::Vec3d(0.0, 0.0, 1.0));
  }

  void expectOwnHits(const BoxPointerInfo& pointer) const {
    ASSERT_EQ(pointer._hitList.size(), 2U);
    ASSERT_EQ(&*pointer._hitIter, &pointer._hitList.front());
    EXPECT_TRUE(pointer.contains(_near));
    EXPECT_FALSE(pointer.contains(_far));
    EXPECT_EQ(pointer.getLocalIntersectPoint(), osg::Vec3d(1.0, 2.0, 3.0));
  }
};

TEST_F(BoxPointerInfoTest, startsWithNoHitsAndDefaultValues) {
  expectFresh(BoxPointerInfo());
}

TEST_F(BoxPointerInfoTest, resetRestoresTheInitialValues) {
  BoxPointerInfo pointer = makeUsed();
  pointer.reset();
  expectFresh(pointer);
  EXPECT_FALSE(pointer.contains(_near));
}

TEST_F(BoxPointerInfoTest, resetForgetsTheCamera) {
  osg::ref_ptr<osg::Camera> camera = new osg::Camera;
  camera->setViewport(0, 0, 100, 100);
  camera->setProjectionMatrixAsOrtho(-5.0, 5.0, -5.0, 5.0, 1.0, 11.0);
  BoxPointerInfo pointer;
  pointer.setCamera(camera);
  pointer.reset();
  osg::Vec3d nearPoint, farPoint;
  pointer.setMousePosition(3.0f, 4.0f);
  pointer.getNearFarPoints(nearPoint, farPoint);
  EXPECT_EQ(nearPoint, osg::Vec3d(3.0, 4.0, 0.0));
  EXPECT_EQ(farPoint, osg::Vec3d(3.0, 4.0, 1.0));
}

TEST_F(BoxPointerInfoTest, aResetPointerTakesNewHits) {
  BoxPointerInfo pointer = makeUsed();
  pointer.reset();
  pointer.addIntersection({_far.get()}, osg::Vec3d(4.0, 5.0, 6.0));
  EXPECT_TRUE(pointer.contains(_far));
  EXPECT_EQ(pointer.getLocalIntersectPoint(), osg::Vec3d(4.0, 5.0, 6.0));
}

TEST_F(BoxPointerInfoTest, aCopyHasItsOwnHits) {
  BoxPointerInfo source = makeUsed();
  const BoxPointerInfo copy(source);
  source.reset();
  expectUsedValues(copy);
  expectOwnHits(copy);
}

TEST_F(BoxPointerInfoTest, aCopyProjectsThePointerAsItsSourceDoes) {
  BoxPointerInfo source = makeUsed();
  osg::ref_ptr<osg::Camera> camera = new osg::Camera;
  camera->setViewport(0, 0, 800, 600);
  camera->setViewMatrixAsLookAt(osg::Vec3d(3.0, -20.0, 5.0), osg::Vec3d(), osg::Vec3d(0.0, 0.0, 1.0));
  camera->setProjectionMatrixAsPerspective(40.0, 4.0 / 3.0, 1.0, 100.0);
  source.setCamera(camera);
  BoxPointerInfo copy(source);
  source.setMousePosition(123.0f, 456.0f);
  copy.setMousePosition(123.0f, 456.0f);
  osg::Vec3d nearOfSource, farOfSource, nearOfCopy, farOfCopy;
  source.getNearFarPoints(nearOfSource, farOfSource);
  copy.getNearFarPoints(nearOfCopy, farOfCopy);
  EXPECT_NEAR((farOfSource - nearOfSource).length(), 99.0, 10.0);
  EXPECT_EQ(nearOfCopy, nearOfSource);
  EXPECT_EQ(farOfCopy, farOfSource);
}

TEST_F(BoxPointerInfoTest, assignmentKeepsThePlaceInItsOwnListOfHits) {
  BoxPointerInfo source = makeUsed();
  BoxPointerInfo target;
  target.addIntersection({_far.get()}, osg::Vec3d());
  target = source;
  source.reset();
  expectUsedValues(target);
  expectOwnHits(target);
}

TEST_F(BoxPointerInfoTest, aFreshPointerAssignedToAUsedOneEndsItsHits) {
  BoxPointerInfo target = makeUsed();
  target = BoxPointerInfo();
  expectFresh(target);
  target.next();
  EXPECT_TRUE(target.completed());
}

TEST_F(BoxPointerInfoTest, assignmentToItselfKeepsEverything) {
  BoxPointerInfo pointer = makeUsed();
  const BoxPointerInfo& same = pointer;
  pointer = same;
  expectUsedValues(pointer);
  expectOwnHits(pointer);
}

}  // namespace
