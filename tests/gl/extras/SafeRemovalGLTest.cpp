#include "support/PixelBuffer.h"

#include <QuorOsgUtils/SafeRemoval.h>

#include <OpenThreads/Thread>
#include <osg/Geometry>
#include <osg/NodeCallback>
#include <osgViewer/CompositeViewer>
#include <osgViewer/GraphicsWindow>
#include <osgViewer/Viewer>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

using QuorOsgUtils::SafeRemoval;
using namespace std::chrono_literals;

namespace {

using Base = osgViewer::ViewerBase;
using Model = Base::ThreadingModel;

/// A group that is traversed slowly. It notes how many traversals were inside it when a child was removed, and on which
/// thread that was.
class WatchedGroup : public osg::Group {
 public:
  struct Removal {
    int traversals;
    OpenThreads::Thread* thread;
  };

  void traverse(osg::NodeVisitor& visitor) override {
    ++_traversals;
    std::this_thread::sleep_for(500us);
    osg::Group::traverse(visitor);
    std::this_thread::sleep_for(500us);
    --_traversals;
  }
  void childRemoved(unsigned int /*first*/, unsigned int /*count*/) override {
    _removals.push_back({_traversals, OpenThreads::Thread::CurrentThread()});
  }
  const std::vector<Removal>& removals() const { return _removals; }

 private:
  std::atomic<int> _traversals{0};
  std::vector<Removal> _removals;
};

struct CountDraws : osg::Drawable::DrawCallback {
  void drawImplementation(osg::RenderInfo& info, const osg::Drawable* drawable) const override {
    ++count;
    drawable->drawImplementation(info);
  }
  mutable std::atomic<int> count{0};
};

/// Slow drawing, so that OSG's own `frame` returns before it has ended, where the model allows that.
struct SlowDraw : osg::Camera::DrawCallback {
  void operator()(osg::RenderInfo& /*info*/) const override {
    std::this_thread::sleep_for(3ms);
    ++count;
  }
  mutable std::atomic<int> count{0};
};

osg::ref_ptr<osg::Geometry> point() {
  osg::ref_ptr<osg::Geometry> geometry = new osg::Geometry;
  geometry->setUseDisplayList(false);
  geometry->setUseVertexBufferObjects(true);
  geometry->setVertexArray(new osg::Vec3Array(1));
  geometry->addPrimitiveSet(new osg::DrawArrays(GL_POINTS, 0, 1));
  geometry->setCullingActive(false);
  return geometry;
}

/// One or two views of a scene, each in an off-screen context of its own, in each threading model.
class SafeRemovalGLTest : public testing::TestWithParam<std::tuple<Model, int>> {
 protected:
  void SetUp() override {
    const auto& [model, contexts] = GetParam();
    if (contexts == 1) {
      const osg::ref_ptr<osgViewer::Viewer> viewer = new osgViewer::Viewer;
      addContextTo(*viewer);
      _viewer = viewer;
    } else {
      const osg::ref_ptr<osgViewer::CompositeViewer> composite = new osgViewer::CompositeViewer;
      for (int i = 0; i < contexts; ++i) {
        const osg::ref_ptr<osgViewer::View> view = new osgViewer::View;
        addContextTo(*view);
        composite->addView(view);
      }
      _viewer = composite;
    }
    base().setThreadingModel(model);
    base().realize();
    _removal = std::make_unique<SafeRemoval>(base());
  }
  void TearDown() override {
    _removal.reset();
    base().stopThreading();
  }

  Base& base() { return dynamic_cast<Base&>(*_viewer); }
  osg::Camera& cameraOf(std::size_t view) {
    Base::Views views;
    base().getViews(views);
    return *views.at(view)->getCamera();
  }
  bool isThreaded() const { return std::get<0>(GetParam()) != Base::SingleThreaded; }

  void addContextTo(osgViewer::View& view) {
    const osg::ref_ptr<osg::GraphicsContext> context = QuorTests::pixelBuffer();
    ASSERT_TRUE(context) << "no off-screen context; is there a display?";
    view.getCamera()->setGraphicsContext(context);
    view.getCamera()->setViewport(0, 0, 16, 16);
    view.getCamera()->setFinalDrawCallback(_slow);
    view.setSceneData(_group);
  }

  osg::ref_ptr<WatchedGroup> _group = new WatchedGroup;
  osg::ref_ptr<SlowDraw> _slow = new SlowDraw;
  osg::ref_ptr<osg::Referenced> _viewer;
  std::unique_ptr<SafeRemoval> _removal;
};

std::string nameOf(const testing::TestParamInfo<std::tuple<Model, int>>& info) {
  const std::array<const char*, 4> names = {"single", "cullAndDraw", "draw", "camera"};
  return std::string(names.at(std::get<0>(info.param))) + (std::get<1>(info.param) == 1 ? "One" : "Two");
}

/// Three windows on the same scene, in each threading model.
class SafeRemovalWindowsGLTest : public testing::TestWithParam<Model> {
 protected:
  void SetUp() override {
    ASSERT_TRUE(QuorTests::pixelBuffer()) << "no off-screen context; is there a display?";
    _viewer->setThreadingModel(GetParam());
    for (int window = 0; window < 3; ++window) {
      addWindow();
    }
    _viewer->realize();
    _removal = std::make_unique<SafeRemoval>(*_viewer);
    expectRemovalsInEachFrame();
  }
  void TearDown() override {
    _removal.reset();
    _viewer->stopThreading();
  }

  void addWindow() {
    const osg::ref_ptr<osgViewer::View> view = new osgViewer::View;
    const int at = 10 + 60 * static_cast<int>(_viewer->getNumViews());
    view->setUpViewInWindow(at, 10, 50, 50);
    view->getCamera()->setFinalDrawCallback(_slow);
    view->setSceneData(_group);
    _viewer->addView(view);
  }
  osgViewer::GraphicsWindow* windowOf(unsigned int view) {
    return dynamic_cast<osgViewer::GraphicsWindow*>(_viewer->getView(view)->getCamera()->getGraphicsContext());
  }
  void close(unsigned int view) { windowOf(view)->getEventQueue()->closeWindow(); }

  void expectRemovalInNextFrame() {
    const osg::ref_ptr<osg::Node> child = point();
    _group->addChild(child);
    std::future<bool> removed = _removal->remove(_group, child);
    _removal->frame();
    ASSERT_EQ(removed.wait_for(0s), std::future_status::ready);
    EXPECT_TRUE(removed.get());
    EXPECT_EQ(_group->removals().back().traversals, 0);
  }
  void expectRemovalsInEachFrame() {
    for (int frame = 0; frame < 3; ++frame) {
      ASSERT_NO_FATAL_FAILURE(expectRemovalInNextFrame());
    }
  }

  osg::ref_ptr<WatchedGroup> _group = new WatchedGroup;
  osg::ref_ptr<SlowDraw> _slow = new SlowDraw;
  osg::ref_ptr<osgViewer::CompositeViewer> _viewer = new osgViewer::CompositeViewer;
  std::unique_ptr<SafeRemoval> _removal;
};

std::string modelName(const testing::TestParamInfo<Model>& info) {
  const std::array<const char*, 4> names = {"single", "cullAndDraw", "draw", "camera"};
  return names.at(info.param);
}

}  // namespace

TEST_P(SafeRemovalGLTest, nodesAreDetachedOnAGraphicsThreadWhileNothingTraversesTheirParent) {
  constexpr int kRemovals = 25;
  for (int i = 0; i < kRemovals; ++i) {
    const osg::ref_ptr<osg::Node> child = point();
    child->setDataVariance(osg::Object::STATIC);
    _group->addChild(child);
    _removal->frame();
    std::future<bool> removed = _removal->remove(_group, child);
    _removal->frame();
    ASSERT_EQ(removed.wait_for(0s), std::future_status::ready);
    ASSERT_TRUE(removed.get());
    ASSERT_EQ(_group->getNumChildren(), 0U);
  }
  ASSERT_EQ(_group->removals().size(), static_cast<std::size_t>(kRemovals));
  for (const WatchedGroup::Removal& removal : _group->removals()) {
    EXPECT_EQ(removal.traversals, 0);
    EXPECT_EQ(removal.thread != nullptr, isThreaded());
  }
}

TEST_P(SafeRemovalGLTest, theNextFrameNoLongerDrawsTheNode) {
  const osg::ref_ptr<CountDraws> draws = new CountDraws;
  const osg::ref_ptr<osg::Geometry> child = point();
  child->setDrawCallback(draws);
  _group->addChild(child);
  _removal->frame();
  _removal->frame();
  const int before = draws->count;
  EXPECT_EQ(before, 2 * std::get<1>(GetParam()));
  _removal->remove(_group, child);
  EXPECT_EQ(child->getNodeMask(), 0U);
  EXPECT_EQ(_group->getNumChildren(), 1U) << "it is detached between two frames, not at once";
  _removal->frame();
  EXPECT_EQ(draws->count, before);
}

TEST_P(SafeRemovalGLTest, aFrameHasBeenDrawnInAllContextsWhenFrameReturns) {
  const int contexts = std::get<1>(GetParam());
  for (int frame = 1; frame <= 20; ++frame) {
    _removal->frame();
    ASSERT_EQ(_slow->count, frame * contexts);
    ASSERT_EQ(_removal->frameCount(), static_cast<std::uint64_t>(frame));
  }
}

TEST_P(SafeRemovalGLTest, framesDrawnWithoutItDetachNothingAndTheNextOneOfItsOwnDoes) {
  const osg::ref_ptr<osg::Node> child = point();
  _group->addChild(child);
  _removal->frame();
  std::future<bool> removed = _removal->remove(_group, child);
  for (int frame = 0; frame < 10; ++frame) {
    base().frame();
  }
  EXPECT_EQ(removed.wait_for(0s), std::future_status::timeout);
  EXPECT_EQ(_removal->pending(), 1U);
  _removal->frame();
  EXPECT_TRUE(removed.get());
  EXPECT_EQ(_removal->pending(), 0U);
  EXPECT_EQ(_group->removals().size(), 1U);
  EXPECT_EQ(_group->removals().front().traversals, 0);
}

TEST_P(SafeRemovalGLTest, theNodeIsDestroyedWithinThreeFramesIfNobodyElseHoldsIt) {
  osg::ref_ptr<osg::Node> child = point();
  const osg::observer_ptr<osg::Node> observed = child.get();
  _group->addChild(child);
  _removal->frame();
  _removal->frame();
  _removal->remove(_group, child);
  child = nullptr;
  for (int frame = 0; frame < 3; ++frame) {
    _removal->frame();
  }
  EXPECT_FALSE(observed.valid());
}

TEST_P(SafeRemovalGLTest, aChildWithAnotherParentStaysVisibleThere) {
  const osg::ref_ptr<osg::Group> other = new osg::Group;
  const osg::ref_ptr<osg::Node> child = point();
  _group->addChild(other);
  _group->addChild(child);
  other->addChild(child);
  std::future<bool> removed = _removal->remove(_group, child);
  EXPECT_EQ(child->getNodeMask(), ~0U);
  _removal->frame();
  EXPECT_TRUE(removed.get());
  EXPECT_FALSE(_group->containsNode(child));
  EXPECT_TRUE(other->containsNode(child));
}

TEST_P(SafeRemovalGLTest, aDetachedNodeHasItsMaskAgain) {
  constexpr osg::Node::NodeMask kMask = 0x6;
  const osg::ref_ptr<osg::Node> child = point();
  child->setNodeMask(kMask);
  _group->addChild(child);
  _removal->remove(_group, child);
  _removal->remove(_group, child);
  EXPECT_EQ(child->getNodeMask(), 0U);
  _removal->frame();
  EXPECT_FALSE(_group->containsNode(child));
  EXPECT_EQ(child->getNodeMask(), kMask);
}

TEST_P(SafeRemovalGLTest, whatIsNoChildOfTheParentIsRefusedAtOnce) {
  const osg::ref_ptr<osg::Node> stranger = point();
  EXPECT_FALSE(_removal->remove(_group, stranger).get());
  EXPECT_FALSE(_removal->remove(nullptr, stranger).get());
  EXPECT_FALSE(_removal->remove(_group, nullptr).get());
  EXPECT_EQ(stranger->getNodeMask(), ~0U);
  EXPECT_EQ(_removal->pending(), 0U);
}

TEST_P(SafeRemovalGLTest, requestsWithoutAFrameBecomeFalseAtTheEnd) {
  const osg::ref_ptr<osg::Node> child = point();
  _group->addChild(child);
  std::future<bool> removed = _removal->remove(_group, child);
  _removal.reset();
  EXPECT_FALSE(removed.get());
  EXPECT_TRUE(_group->containsNode(child));
  EXPECT_EQ(base().areThreadsRunning(), isThreaded());
  base().frame();
}

TEST_P(SafeRemovalGLTest, aViewerThatIsDoneDoesNotBlock) {
  const osg::ref_ptr<osg::Node> child = point();
  _group->addChild(child);
  _removal->frame();
  std::future<bool> removed = _removal->remove(_group, child);
  base().setDone(true);
  _removal->frame();
  EXPECT_EQ(removed.wait_for(0s), std::future_status::timeout);
  base().setDone(false);
  _removal->frame();
  EXPECT_TRUE(removed.get());
}

TEST_P(SafeRemovalGLTest, aRequestFromAnUpdateCallbackIsCarriedOutInTheSameFrame) {
  struct RemoveAtUpdate : osg::NodeCallback {
    void operator()(osg::Node* node, osg::NodeVisitor* visitor) override {
      if (child) {
        removed = removal->remove(node->asGroup(), child);
        child = nullptr;
      }
      traverse(node, visitor);
    }
    SafeRemoval* removal = nullptr;
    osg::ref_ptr<osg::Node> child;
    std::future<bool> removed;
  };
  const osg::ref_ptr<RemoveAtUpdate> callback = new RemoveAtUpdate;
  callback->child = point();
  callback->removal = _removal.get();
  _group->addChild(callback->child);
  _group->addUpdateCallback(callback);
  _removal->frame();
  ASSERT_TRUE(callback->removed.valid());
  ASSERT_EQ(callback->removed.wait_for(0s), std::future_status::ready);
  EXPECT_EQ(_group->removals().front().traversals, 0);
}

TEST_P(SafeRemovalGLTest, updatesWithoutDrawingAreNotWaitedFor) {
  const osg::ref_ptr<osg::Node> child = point();
  _group->addChild(child);
  _removal->frame();
  for (int update = 0; update < 3; ++update) {
    base().advance();
    base().eventTraversal();
    base().updateTraversal();
  }
  std::future<bool> removed = _removal->remove(_group, child);
  const auto before = std::chrono::steady_clock::now();
  _removal->frame();
  EXPECT_LT(std::chrono::steady_clock::now() - before, 150ms);
  ASSERT_EQ(removed.wait_for(0s), std::future_status::ready);
  EXPECT_EQ(_removal->frameCount(), 2U);
}

TEST_P(SafeRemovalGLTest, aFrameDrawnWithoutItIsNotTakenForItsOwn) {
  for (int i = 0; i < 20; ++i) {
    const osg::ref_ptr<osg::Node> child = point();
    _group->addChild(child);
    base().frame();
    std::future<bool> removed = _removal->remove(_group, child);
    _removal->frame();
    ASSERT_EQ(removed.wait_for(0s), std::future_status::ready);
    ASSERT_EQ(_slow->count, 2 * (i + 1) * std::get<1>(GetParam()));
    ASSERT_EQ(_group->removals().back().traversals, 0);
  }
}

TEST_P(SafeRemovalGLTest, aCameraThatDrawsNothingDoesNotDelayFrames) {
  base().frame();
  cameraOf(0).setNodeMask(0);
  const osg::ref_ptr<osg::Node> child = point();
  _group->addChild(child);
  base().frame();
  std::future<bool> removed = _removal->remove(_group, child);
  _removal->frame();
  EXPECT_EQ(removed.wait_for(0s), std::future_status::ready);
  std::chrono::steady_clock::duration shortest = 1h;
  for (int frame = 0; frame < 5; ++frame) {
    const auto before = std::chrono::steady_clock::now();
    _removal->frame();
    shortest = std::min(shortest, std::chrono::steady_clock::now() - before);
  }
  EXPECT_LT(shortest, 150ms) << "a frame that is waited for in vain takes 200 ms";
}

INSTANTIATE_TEST_SUITE_P(InEachThreadingModel, SafeRemovalGLTest,
                         testing::Combine(testing::Values(Base::SingleThreaded, Base::CullDrawThreadPerContext,
                                                          Base::DrawThreadPerContext,
                                                          Base::CullThreadPerCameraDrawThreadPerContext),
                                          testing::Values(1, 2)),
                         nameOf);

TEST_P(SafeRemovalWindowsGLTest, aWindowThatIsClosedDelaysNothing) {
  for (const unsigned int view : {1U, 2U}) {
    close(view);
    ASSERT_NO_FATAL_FAILURE(expectRemovalInNextFrame());
    EXPECT_FALSE(windowOf(view)->valid());
    ASSERT_NO_FATAL_FAILURE(expectRemovalsInEachFrame());
  }
  const int before = _slow->count;
  _removal->frame();
  EXPECT_EQ(_slow->count, before + 1);
}

TEST_P(SafeRemovalWindowsGLTest, aWindowThatIsClosedInAFrameOfTheApplicationDelaysNothing) {
  close(1);
  _viewer->frame();
  ASSERT_NO_FATAL_FAILURE(expectRemovalsInEachFrame());
}

TEST_P(SafeRemovalWindowsGLTest, aWindowThatIsClosedByAnUpdateCallbackDelaysNothing) {
  struct CloseAtUpdate : osg::NodeCallback {
    void operator()(osg::Node* node, osg::NodeVisitor* visitor) override {
      if (window != nullptr) {
        const bool ran = viewer->areThreadsRunning();
        viewer->stopThreading();
        window->close();
        window = nullptr;
        if (ran) {
          viewer->startThreading();
        }
      }
      traverse(node, visitor);
    }
    osgViewer::ViewerBase* viewer = nullptr;
    osg::GraphicsContext* window = nullptr;
  };
  const osg::ref_ptr<CloseAtUpdate> callback = new CloseAtUpdate;
  callback->viewer = _viewer;
  callback->window = windowOf(1);
  _viewer->getView(2)->getCamera()->addUpdateCallback(callback);
  ASSERT_NO_FATAL_FAILURE(expectRemovalsInEachFrame());
  EXPECT_FALSE(windowOf(1)->valid());
}

TEST_P(SafeRemovalWindowsGLTest, aWindowThatIsAddedIsAwaited) {
  _viewer->stopThreading();
  addWindow();
  _viewer->realize();
  _viewer->startThreading();
  ASSERT_NO_FATAL_FAILURE(expectRemovalsInEachFrame());
  const int before = _slow->count;
  _removal->frame();
  EXPECT_EQ(_slow->count, before + 4);
}

TEST_P(SafeRemovalWindowsGLTest, theLastWindowThatIsClosedEndsTheViewer) {
  for (const unsigned int view : {0U, 1U, 2U}) {
    close(view);
  }
  _removal->frame();
  EXPECT_TRUE(_viewer->done());
  _removal->frame();
}

INSTANTIATE_TEST_SUITE_P(InEachThreadingModel, SafeRemovalWindowsGLTest,
                         testing::Values(Base::SingleThreaded, Base::CullDrawThreadPerContext,
                                         Base::DrawThreadPerContext, Base::CullThreadPerCameraDrawThreadPerContext),
                         modelName);
