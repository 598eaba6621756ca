#include "support/OnThreads.h"
#include "support/Removal.h"

#include <OpenThreads/ScopedLock>
#include <osgViewer/GraphicsWindow>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::Eq;
using ::testing::IsEmpty;
using namespace QuorTests;

namespace {

class ExposedOperation : public Removal {
 public:
  using Removal::deleteSets;
};

/// A context without GL that runs operations like any other.
osg::ref_ptr<osg::GraphicsContext> plainContext() {
  return new osgViewer::GraphicsWindowEmbedded(0, 0, 16, 16);
}

class DecrementalCompileOperationTest : public ::testing::Test {
 protected:
  DecrementalCompileOperationTest() : _group(new osg::Group), _operation(new ExposedOperation) {}

  osg::ref_ptr<osg::Node> child() {
    osg::ref_ptr<osg::Node> node = new Counted;
    _group->addChild(node);
    return node;
  }

  void run() { (*_operation)(static_cast<osg::GraphicsContext*>(nullptr)); }

  /// A set that adds its name to the record when it is finished.
  osg::ref_ptr<DeleteSet> recording(const std::string& name) {
    return setWithCallback(_group, child(), [this, name](DeleteSet*) { _record.push_back(name); });
  }

  /// Moves the references, so that the operation holds the last ones.
  void queueAll(Removal::DeleteSets& sets) {
    const OpenThreads::ScopedLock<OpenThreads::Mutex> lock(*_operation->getToCompiledMutex());
    auto& pending = _operation->getToCompile();
    pending.splice(pending.end(), sets);
  }

  bool isPending(const DeleteSet* set) const {
    const auto& pending = _operation->getToCompile();
    return std::find(pending.begin(), pending.end(), set) != pending.end();
  }

  std::size_t queuedIn(osg::GraphicsContext& context) const {
    const auto& queue = context.getOperationsQueue();
    return static_cast<std::size_t>(std::count(queue.begin(), queue.end(), _operation));
  }

  const int _aliveBefore = Counted::alive();
  osg::ref_ptr<osg::Group> _group;
  osg::ref_ptr<ExposedOperation> _operation;
  std::vector<std::string> _record;
};

}  // namespace

TEST_F(DecrementalCompileOperationTest, isAKeptGraphicsOperationOfItsName) {
  EXPECT_EQ(_operation->getName(), "DecrementalCompileOperation");
  EXPECT_TRUE(_operation->getKeep());
  EXPECT_TRUE(_operation->isEmpty());
  EXPECT_FALSE(_operation->isActive());
}

TEST_F(DecrementalCompileOperationTest, settingsHaveTheirDefaults) {
  EXPECT_EQ(_operation->getTargetFrameRate(), 100.0);
  EXPECT_EQ(_operation->getMinimumTimeAvailableForGLCompileAndDeletePerFrame(), 0.001);
  EXPECT_EQ(_operation->getMaximumNumOfObjectsToDeletePerFrame(), 20U);
  EXPECT_EQ(_operation->getFlushTimeRatio(), 0.5);
  EXPECT_EQ(_operation->getConservativeTimeRatio(), 0.5);
  EXPECT_EQ(_operation->getCurrentFrameNumber(), 0U);
  EXPECT_EQ(_operation->getDeleteAllTillFrameNumber(), 0U);
}

TEST_F(DecrementalCompileOperationTest, eachSettingKeepsWhatItIsGiven) {
  _operation->setTargetFrameRate(-1.5);
  _operation->setMinimumTimeAvailableForGLCompileAndDeletePerFrame(2.5);
  _operation->setMaximumNumOfObjectsToDeletePerFrame(3);
  _operation->setFlushTimeRatio(4.5);
  _operation->setConservativeTimeRatio(5.5);
  _operation->setCurrentFrameNumber(6);
  _operation->setDeleteAllTillFrameNumber(7);
  EXPECT_EQ(_operation->getTargetFrameRate(), -1.5);
  EXPECT_EQ(_operation->getMinimumTimeAvailableForGLCompileAndDeletePerFrame(), 2.5);
  EXPECT_EQ(_operation->getMaximumNumOfObjectsToDeletePerFrame(), 3U);
  EXPECT_EQ(_operation->getFlushTimeRatio(), 4.5);
  EXPECT_EQ(_operation->getConservativeTimeRatio(), 5.5);
  EXPECT_EQ(_operation->getCurrentFrameNumber(), 6U);
  EXPECT_EQ(_operation->getDeleteAllTillFrameNumber(), 7U);
}

TEST_F(DecrementalCompileOperationTest, compileAllForNextFrameSetsTheDeleteAllFrameNumberAndChangesNoProcessing) {
  _operation->setCurrentFrameNumber(10);
  _operation->compileAllForNextFrame(5);
  EXPECT_EQ(_operation->getDeleteAllTillFrameNumber(), 15U);
  EXPECT_EQ(_operation->getCurrentFrameNumber(), 10U);
  _operation->add(_group, child());
  run();
  EXPECT_EQ(_group->getNumChildren(), 0U);
}

TEST_F(DecrementalCompileOperationTest, theSumOfFrameNumbersWraps) {
  _operation->setCurrentFrameNumber(0xFFFFFFFFU);
  _operation->compileAllForNextFrame(3);
  EXPECT_EQ(_operation->getDeleteAllTillFrameNumber(), 2U);
}

TEST_F(DecrementalCompileOperationTest, aMaximumOfOneObjectPerFrameStillFinishesEverySetInOneRun) {
  _operation->setMaximumNumOfObjectsToDeletePerFrame(1);
  for (int i = 0; i < 50; ++i) {
    _operation->add(_group, child());
  }
  run();
  EXPECT_EQ(_group->getNumChildren(), 0U);
  EXPECT_TRUE(_operation->isEmpty());
}

TEST_F(DecrementalCompileOperationTest, aRequestWaitsForTheNextRun) {
  const osg::ref_ptr<osg::Node> node = child();
  _operation->add(_group, node);
  EXPECT_FALSE(_operation->isEmpty());
  EXPECT_TRUE(_group->containsNode(node));
  run();
  EXPECT_TRUE(_operation->isEmpty());
  EXPECT_FALSE(_group->containsNode(node));
  EXPECT_EQ(node->referenceCount(), 1);
}

TEST_F(DecrementalCompileOperationTest, aRunWithoutRequestsDoesNothing) {
  child();
  run();
  EXPECT_EQ(_group->getNumChildren(), 1U);
}

TEST_F(DecrementalCompileOperationTest, onlyTheRequestedChildIsDetached) {
  const osg::ref_ptr<osg::Node> before = child();
  const osg::ref_ptr<osg::Node> node = child();
  const osg::ref_ptr<osg::Node> after = child();
  _operation->add(_group, node);
  run();
  ASSERT_EQ(_group->getNumChildren(), 2U);
  EXPECT_EQ(_group->getChild(0), before);
  EXPECT_EQ(_group->getChild(1), after);
}

TEST_F(DecrementalCompileOperationTest, requestsAreFinishedInTheOrderOfTheirArrival) {
  for (const char* const name : {"first", "second", "third"}) {
    _operation->add(recording(name));
  }
  run();
  EXPECT_THAT(_record, ElementsAre("first", "second", "third"));
}

TEST_F(DecrementalCompileOperationTest, aNodeWithoutOtherReferencesIsDestroyedBeforeTheNextRequest) {
  const osg::ref_ptr<DeleteSet> next = setWithCallback(
      _group, child(), [this](DeleteSet*) { _record.push_back(std::to_string(Counted::alive() - _aliveBefore)); });
  _operation->add(_group, child());
  _operation->add(next);
  run();
  EXPECT_THAT(_record, ElementsAre("1"));
}

TEST_F(DecrementalCompileOperationTest, addingAndRemovingNullDoesNothing) {
  _operation->add(nullptr);
  EXPECT_TRUE(_operation->isEmpty());
  _operation->add(_group, child());
  _operation->remove(nullptr);
  EXPECT_FALSE(_operation->isEmpty());
}

TEST_F(DecrementalCompileOperationTest, removingASetThatIsNotPendingLeavesItAndTheQueueAlone) {
  auto* const stranger = new DeleteSet(_group, child());
  _operation->add(_group, child());
  _operation->remove(stranger);
  EXPECT_EQ(_operation->getToCompile().size(), 1U);
  EXPECT_EQ(stranger->referenceCount(), 0);
  const osg::ref_ptr<DeleteSet> destroysIt = stranger;
}

TEST_F(DecrementalCompileOperationTest, aRemovedRequestIsNotProcessed) {
  const osg::ref_ptr<DeleteSet> set = recording("removed");
  _operation->add(set);
  _operation->add(recording("stays"));
  _operation->remove(set);
  EXPECT_EQ(set->referenceCount(), 1);
  run();
  EXPECT_THAT(_record, ElementsAre("stays"));
  EXPECT_TRUE(_group->containsNode(set->_node));
}

TEST_F(DecrementalCompileOperationTest, removalTakesTheFirstPlaceOfASetThatIsQueuedTwice) {
  const osg::ref_ptr<DeleteSet> twice = recording("twice");
  const osg::ref_ptr<DeleteSet> other = recording("other");
  for (const auto& set : {twice, other, twice}) {
    _operation->add(set);
  }
  _operation->remove(twice);
  EXPECT_THAT(_operation->getToCompile(), ElementsAre(other, twice));
}

TEST_F(DecrementalCompileOperationTest, aSetThatIsQueuedTwiceIsProcessedTwiceInOneRun) {
  const osg::ref_ptr<DeleteSet> twice = recording("twice");
  _operation->add(twice);
  _operation->add(twice);
  run();
  EXPECT_THAT(_record, ElementsAre("twice", "twice"));
  EXPECT_TRUE(_operation->isEmpty());
  EXPECT_EQ(_group->getNumChildren(), 0U);
  EXPECT_EQ(twice->referenceCount(), 1);
}

TEST_F(DecrementalCompileOperationTest, aNodeThatIsAChildTwiceIsDetachedOncePerRequest) {
  const osg::ref_ptr<osg::Node> node = child();
  _group->addChild(node);
  _operation->add(_group, node);
  run();
  EXPECT_EQ(_group->getNumChildren(), 1U);
  _operation->add(_group, node);
  run();
  EXPECT_EQ(_group->getNumChildren(), 0U);
}

TEST_F(DecrementalCompileOperationTest, theRequestKeepsTheNodeAndNotTheGroup) {
  _operation->add(_group, child());
  EXPECT_EQ(_group->referenceCount(), 1);
  _group = nullptr;
  EXPECT_EQ(Counted::alive(), _aliveBefore + 1);
  run();
  EXPECT_EQ(Counted::alive(), _aliveBefore);
}

TEST_F(DecrementalCompileOperationTest, aSetOfADestroyedGroupIsDequeuedAndNotifiedAndNoNodeIsChanged) {
  const osg::ref_ptr<osg::Group> elsewhere = new osg::Group;
  const osg::ref_ptr<DeleteSet> set = recording("told");
  elsewhere->addChild(set->_node);
  _operation->add(set);
  _group = nullptr;
  run();
  EXPECT_TRUE(_operation->isEmpty());
  EXPECT_THAT(_record, ElementsAre("told"));
  EXPECT_TRUE(elsewhere->containsNode(set->_node));
}

TEST_F(DecrementalCompileOperationTest, aGroupDestroyedAfterTheSnapshotIsSkipped) {
  osg::ref_ptr<osg::Group> dying = new Counted;
  const osg::ref_ptr<osg::Node> node = child();
  dying->addChild(node);
  _operation->add(setWithCallback(_group, node, [&dying](DeleteSet*) { dying = nullptr; }));
  _operation->add(setWithCallback(dying, node, [this](DeleteSet*) { _record.push_back("told"); }));
  run();
  EXPECT_THAT(_record, ElementsAre("told"));
  EXPECT_EQ(node->getNumParents(), 0U);
  EXPECT_EQ(Counted::alive(), _aliveBefore + 1);
}

TEST_F(DecrementalCompileOperationTest, aSetWithoutGroupOrNodeIsFinishedToo) {
  const auto record = [this](DeleteSet*) { _record.push_back("told"); };
  child();
  _operation->add(setWithCallback(nullptr, _group->getChild(0), record));
  _operation->add(setWithCallback(_group, nullptr, record));
  _operation->add(nullptr, nullptr);
  run();
  EXPECT_THAT(_record, ElementsAre("told", "told"));
  EXPECT_TRUE(_operation->isEmpty());
  EXPECT_EQ(_group->getNumChildren(), 1U);
}

TEST_F(DecrementalCompileOperationTest, aSetWhoseNodeIsNoChildOfTheGroupIsDroppedQuietly) {
  child();
  const osg::ref_ptr<osg::Node> stranger = new Counted;
  _operation->add(_group, stranger);
  run();
  EXPECT_TRUE(_operation->isEmpty());
  EXPECT_EQ(_group->getNumChildren(), 1U);
  EXPECT_EQ(stranger->referenceCount(), 1);
}

TEST_F(DecrementalCompileOperationTest, theRemovalGoesThroughTheGroupsOwnRemoveChild) {
  struct Refusing : osg::Group {
    bool removeChild(osg::Node* node) override {
      asked = node;
      return false;
    }
    osg::Node* asked = nullptr;
  };
  const osg::ref_ptr<Refusing> group = new Refusing;
  const osg::ref_ptr<osg::Node> node = new Counted;
  group->addChild(node);
  _operation->add(group, node);
  run();
  EXPECT_EQ(group->asked, node);
  EXPECT_EQ(group->getNumChildren(), 1U);
  EXPECT_TRUE(_operation->isEmpty());
}

TEST_F(DecrementalCompileOperationTest, duringACallbackItsSetIsDetachedAndNotPendingAndTheMutexIsFree) {
  bool told = false;
  const osg::ref_ptr<DeleteSet> set = setWithCallback(_group, child(), [&](DeleteSet* finished) {
    EXPECT_EQ(finished, set);
    EXPECT_FALSE(isPending(set));
    EXPECT_FALSE(_group->containsNode(set->_node));
    EXPECT_EQ(_operation->getToCompiledMutex()->trylock(), 0);
    _operation->getToCompiledMutex()->unlock();
    told = true;
  });
  _operation->add(set);
  run();
  EXPECT_TRUE(told);
}

TEST_F(DecrementalCompileOperationTest, aSetThatACallbackAddsWaitsForTheNextRun) {
  const osg::ref_ptr<DeleteSet> added = recording("added");
  _operation->add(setWithCallback(_group, child(), [&](DeleteSet*) { _operation->add(added); }));
  run();
  EXPECT_THAT(_record, IsEmpty());
  EXPECT_TRUE(isPending(added));
  run();
  EXPECT_THAT(_record, ElementsAre("added"));
}

TEST_F(DecrementalCompileOperationTest, aCallbackMayAddItsOwnSetAgain) {
  int turns = 0;
  const osg::ref_ptr<DeleteSet> set = setWithCallback(_group, child(), [&](DeleteSet* finished) {
    ++turns;
    _operation->add(finished);
  });
  _operation->add(set);
  run();
  run();
  EXPECT_EQ(turns, 2);
  EXPECT_TRUE(isPending(set));
  _operation->remove(set);
}

TEST_F(DecrementalCompileOperationTest, aSetThatACallbackRemovesIsStillProcessedByTheCurrentRun) {
  const osg::ref_ptr<DeleteSet> removed = recording("removed");
  _operation->add(setWithCallback(_group, child(), [&](DeleteSet*) {
    _operation->remove(removed);
    EXPECT_FALSE(isPending(removed));
  }));
  _operation->add(removed);
  run();
  EXPECT_THAT(_record, ElementsAre("removed"));
  run();
  EXPECT_THAT(_record, ElementsAre("removed"));
}

TEST_F(DecrementalCompileOperationTest, aCallbackMayRunTheOperation) {
  _operation->add(setWithCallback(_group, child(), [this](DeleteSet*) { run(); }));
  _operation->add(recording("second"));
  run();
  EXPECT_THAT(_record, ElementsAre("second", "second"));
  EXPECT_TRUE(_operation->isEmpty());
  EXPECT_EQ(_group->getNumChildren(), 0U);
}

TEST_F(DecrementalCompileOperationTest, aCallbackMayTakeItselfOffItsSet) {
  const osg::ref_ptr<DeleteSet> set = setWithCallback(_group, child(), [this](DeleteSet* finished) {
    finished->_deleteCompletedCallback = nullptr;
    _record.push_back("told");
  });
  _operation->add(set);
  run();
  EXPECT_THAT(_record, ElementsAre("told"));
}

TEST_F(DecrementalCompileOperationTest, aNodeMayUseTheOperationInItsDestructor) {
  const osg::ref_ptr<DeleteSet> added = recording("added");
  const auto useIt = [this, added] {
    _operation->add(added);
    run();
  };
  auto* const node = new Counted(useIt);
  _group->addChild(node);
  _operation->add(_group, node);
  run();
  EXPECT_THAT(_record, ElementsAre("added"));
}

TEST_F(DecrementalCompileOperationTest, aNodeDestroyedWithARemovedRequestMayUseTheOperation) {
  const osg::ref_ptr<DeleteSet> added = recording("added");
  auto* const set = new DeleteSet(nullptr, new Counted([this, added] { _operation->add(added); }));
  _operation->add(set);
  _operation->remove(set);
  EXPECT_TRUE(isPending(added));
}

TEST_F(DecrementalCompileOperationTest, deleteSetsEmptiesTheGivenListAndUnlinksItsSetsFromThePendingOnes) {
  const osg::ref_ptr<DeleteSet> pending = recording("pending");
  const osg::ref_ptr<DeleteSet> stays = recording("stays");
  Removal::DeleteSets given = {pending, recording("given")};
  _operation->add(pending);
  _operation->add(stays);
  _operation->deleteSets(given);
  EXPECT_TRUE(given.empty());
  EXPECT_THAT(_record, ElementsAre("pending", "given"));
  EXPECT_THAT(_operation->getToCompile(), ElementsAre(stays));
}

TEST_F(DecrementalCompileOperationTest, aSetLeavesTheGivenListAfterItsCallback) {
  struct Looking : osg::Group {
    bool removeChild(osg::Node* node) override {
      look();
      return osg::Group::removeChild(node);
    }
    std::function<void()> look;
  };
  Removal::DeleteSets given;
  std::vector<std::size_t> lengths;
  const osg::ref_ptr<Looking> group = new Looking;
  const auto look = [&] { lengths.push_back(given.size()); };
  group->look = look;
  for (int i = 0; i < 2; ++i) {
    const osg::ref_ptr<osg::Node> node = new Counted;
    group->addChild(node);
    given.push_back(setWithCallback(group, node, [&](DeleteSet* finished) {
      EXPECT_EQ(given.front(), finished);
      look();
    }));
  }
  _operation->deleteSets(given);
  EXPECT_THAT(lengths, ElementsAre(2U, 2U, 1U, 1U));
  EXPECT_TRUE(given.empty());
}

TEST_F(DecrementalCompileOperationTest, aCallbackMayEmptyTheGivenList) {
  Removal::DeleteSets given = {setWithCallback(_group, child(),
                                               [&](DeleteSet* finished) {
                                                 given.clear();
                                                 EXPECT_TRUE(finished->_node.valid());
                                                 _record.push_back("first");
                                               }),
                               recording("second")};
  _operation->deleteSets(given);
  EXPECT_THAT(_record, ElementsAre("first"));
  EXPECT_TRUE(given.empty());
}

TEST_F(DecrementalCompileOperationTest, deleteSetsOfThePendingListProcessesARepeatedRequestAgain) {
  const osg::ref_ptr<DeleteSet> twice = recording("twice");
  for (const auto& set : {twice, recording("other"), twice}) {
    _operation->add(set);
  }
  _operation->deleteSets(_operation->getToCompile());
  EXPECT_THAT(_record, ElementsAre("twice", "other", "twice"));
  EXPECT_TRUE(_operation->isEmpty());
}

TEST_F(DecrementalCompileOperationTest, deleteSetsOfThePendingListLeavesWhatACallbackAddsToTheNextRun) {
  int turns = 0;
  const osg::ref_ptr<DeleteSet> set = setWithCallback(_group, child(), [&](DeleteSet* finished) {
    if (++turns < 5) {
      _operation->add(finished);
    }
  });
  _operation->add(set);
  _operation->deleteSets(_operation->getToCompile());
  EXPECT_EQ(turns, 1);
  EXPECT_THAT(_operation->getToCompile(), ElementsAre(set));
  _operation->remove(set);
}

TEST_F(DecrementalCompileOperationTest, aNullThatTheApplicationPutIntoThePendingListIsDropped) {
  _operation->getToCompile().emplace_back();
  _operation->add(recording("after"));
  run();
  EXPECT_THAT(_record, ElementsAre("after"));
  EXPECT_TRUE(_operation->isEmpty());
}

TEST_F(DecrementalCompileOperationTest, aContextThatIsAddedTwiceHoldsTheOperationOnce) {
  const osg::ref_ptr<osg::GraphicsContext> context = plainContext();
  _operation->addGraphicsContext(context);
  _operation->addGraphicsContext(context);
  EXPECT_EQ(queuedIn(*context), 1U);
  EXPECT_THAT(_operation->getContextSet(), ElementsAre(context.get()));
  EXPECT_TRUE(_operation->isActive());
  _operation->removeGraphicsContext(context);
  EXPECT_EQ(queuedIn(*context), 0U);
  EXPECT_FALSE(_operation->isActive());
}

TEST_F(DecrementalCompileOperationTest, removingAnUnassignedContextAndNullDoesNothing) {
  const osg::ref_ptr<osg::GraphicsContext> context = plainContext();
  context->add(_operation);
  _operation->removeGraphicsContext(context);
  _operation->removeGraphicsContext(nullptr);
  _operation->addGraphicsContext(nullptr);
  EXPECT_EQ(queuedIn(*context), 1U);
  EXPECT_FALSE(_operation->isActive());
}

TEST_F(DecrementalCompileOperationTest, severalContextsAreAssignedAndRemovedAtOnce) {
  const osg::ref_ptr<osg::GraphicsContext> one = plainContext();
  const osg::ref_ptr<osg::GraphicsContext> two = plainContext();
  std::vector<osg::GraphicsContext*> contexts = {one, two, one, nullptr};
  _operation->assignContexts(contexts);
  EXPECT_EQ(queuedIn(*one), 1U);
  EXPECT_EQ(queuedIn(*two), 1U);
  EXPECT_EQ(std::as_const(*_operation).getContextSet().size(), 2U);
  _operation->removeContexts(contexts);
  EXPECT_EQ(queuedIn(*one) + queuedIn(*two), 0U);
  EXPECT_FALSE(_operation->isActive());
}

TEST_F(DecrementalCompileOperationTest, everyRunOfTheContextsOperationsProcessesTheRequests) {
  const osg::ref_ptr<osg::GraphicsContext> context = plainContext();
  _operation->addGraphicsContext(context);
  for (int run = 0; run < 3; ++run) {
    _operation->add(_group, child());
    context->runOperations();
    EXPECT_EQ(_group->getNumChildren(), 0U);
  }
}

TEST_F(DecrementalCompileOperationTest, aCallbackMayRemoveTheContextThatRuns) {
  const osg::ref_ptr<osg::GraphicsContext> context = plainContext();
  _operation->addGraphicsContext(context);
  _operation->add(setWithCallback(_group, child(), [&](DeleteSet*) { _operation->removeGraphicsContext(context); }));
  _operation->add(recording("second"));
  context->runOperations();
  EXPECT_THAT(_record, ElementsAre("second"));
  EXPECT_EQ(queuedIn(*context), 0U);
}

TEST_F(DecrementalCompileOperationTest, contextsKeepTheOperationAndTheLastToBeRemovedDestroysIt) {
  std::vector<osg::ref_ptr<osg::GraphicsContext>> owned = {plainContext(), plainContext(), plainContext()};
  std::vector<osg::GraphicsContext*> contexts = {owned[0], owned[1], owned[2]};
  std::vector<osg::GraphicsContext*> firstTwo = {owned[0], owned[1]};
  const osg::observer_ptr<ExposedOperation> observed = _operation;
  ExposedOperation* const operation = _operation;
  operation->assignContexts(firstTwo);
  operation->add(_group, child());
  _operation = nullptr;
  ASSERT_TRUE(observed.valid());
  EXPECT_EQ(Counted::alive(), _aliveBefore + 1);
  operation->removeContexts(contexts);
  EXPECT_FALSE(observed.valid());
}

TEST_F(DecrementalCompileOperationTest, aSetIsCreatedEmptyOrWithItsGroupAndNodeAndWithoutCallback) {
  const osg::ref_ptr<DeleteSet> empty = new DeleteSet;
  EXPECT_FALSE(empty->_group.valid() || empty->_node.valid() || empty->_deleteCompletedCallback.valid());
  EXPECT_TRUE(empty->deleteop());

  const osg::ref_ptr<osg::Node> node = child();
  const osg::ref_ptr<DeleteSet> set = new DeleteSet(_group, node);
  EXPECT_EQ(set->_group.get(), _group);
  EXPECT_EQ(set->_node, node);
  EXPECT_FALSE(set->_deleteCompletedCallback.valid());
  EXPECT_TRUE(set->deleteop());
  EXPECT_FALSE(_group->containsNode(node));
  EXPECT_TRUE(set->deleteop());
}

TEST_F(DecrementalCompileOperationTest, copiesOfASetShareItsNodeAndCallbackAndObserveItsGroup) {
  const osg::ref_ptr<DeleteSet> set = recording("told");
  const osg::ref_ptr<DeleteSet> copy = new DeleteSet(*set);
  const osg::ref_ptr<DeleteSet> assigned = new DeleteSet(nullptr, child());
  *assigned = *set;
  for (const auto& other : {copy, assigned}) {
    EXPECT_EQ(other->_group.get(), _group);
    EXPECT_EQ(other->_node, set->_node);
    EXPECT_EQ(other->_deleteCompletedCallback, set->_deleteCompletedCallback);
    EXPECT_EQ(other->referenceCount(), 2);
  }
  EXPECT_EQ(set->_node->referenceCount(), 4);
  EXPECT_EQ(_group->referenceCount(), 1);
  _group = nullptr;
  EXPECT_FALSE(assigned->_group.valid());
}

TEST_F(DecrementalCompileOperationTest, assigningASetToItselfIsHarmless) {
  const osg::ref_ptr<DeleteSet> set = recording("told");
  const DeleteSet& same = *set;
  *set = same;
  EXPECT_EQ(set->_group.get(), _group);
  EXPECT_EQ(set->_node->referenceCount(), 2);
  EXPECT_TRUE(set->_deleteCompletedCallback.valid());
}

TEST_F(DecrementalCompileOperationTest, onlyReferencesDestroyASet) {
  static_assert(!std::is_destructible_v<DeleteSet>);
  static_assert(std::is_base_of_v<osg::GraphicsOperation, Removal>);
}

namespace {

/// Stays in `pass` for a while and tells whether another thread was there.
class ExclusiveSection {
 public:
  void pass() {
    if (++_inside > 1) {
      _met = true;
    }
    std::this_thread::sleep_for(std::chrono::microseconds(300));
    --_inside;
  }
  bool met() const { return _met; }

 private:
  std::atomic<int> _inside{0};
  std::atomic<bool> _met{false};
};

/// Waits for a limited time, so that a test fails instead of hanging.
template <typename Condition>
bool soon(Condition condition, std::chrono::milliseconds limit = std::chrono::seconds(10)) {
  const auto end = std::chrono::steady_clock::now() + limit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) {
      return false;
    }
    std::this_thread::yield();
  }
  return true;
}

/// Counts the runs of the operations that precede it in a context's queue.
class CountingOperation : public osg::GraphicsOperation {
 public:
  CountingOperation() : osg::Referenced(true), osg::GraphicsOperation("CountingOperation", true) {}
  void operator()(osg::GraphicsContext*) override { ++count; }
  using osg::GraphicsOperation::operator();
  std::atomic<int> count{0};
};

/// A group whose removals call a function first.
class GroupWithHook : public Counted {
 public:
  explicit GroupWithHook(std::function<void()> removing = {}, std::function<void()> destroyed = {})
      : Counted(std::move(destroyed)), _removing(std::move(removing)) {}
  bool removeChild(osg::Node* node) override {
    if (_removing) {
      _removing();
    }
    return Counted::removeChild(node);
  }

 private:
  std::function<void()> _removing;
};

}  // namespace

TEST_F(DecrementalCompileOperationTest, overlappingRunsOfTwoContextsRemoveNodesOneAtATimeWithoutWaiting) {
  constexpr int kSets = 30;
  ExclusiveSection narrows;
  const osg::ref_ptr<CountingOperation> ended = new CountingOperation;
  std::once_flag begun;
  bool otherEnded = false;
  const osg::ref_ptr<osg::Group> group = new GroupWithHook([&] {
    std::call_once(begun, [&] { otherEnded = soon([&] { return ended->count == 1; }); });
    narrows.pass();
  });
  const osg::ref_ptr<osg::BarrierOperation> together = new osg::BarrierOperation(2);
  std::atomic<int> turns{0};
  for (int i = 0; i < kSets; ++i) {
    auto* const node = new Counted([&narrows] { narrows.pass(); });
    group->addChild(node);
    _operation->add(setWithCallback(group, node, [&turns](DeleteSet*) { ++turns; }));
  }
  {
    ContextOnThread one(plainContext());
    ContextOnThread two(plainContext());
    for (ContextOnThread* const context : {&one, &two}) {
      context->get()->add(together);
      _operation->addGraphicsContext(context->get());
      context->get()->add(ended);
    }
    one.startRuns(1);
    two.startRuns(1);
    one.call({});
    two.call({});
  }
  EXPECT_TRUE(otherEnded);
  EXPECT_FALSE(narrows.met());
  EXPECT_EQ(turns, kSets);
  EXPECT_EQ(group->getNumChildren(), 0U);
  EXPECT_EQ(Counted::alive(), _aliveBefore + 1);
}

TEST_F(DecrementalCompileOperationTest, anOverlappingRunLeavesItsRequestsToTheBusyThread) {
  std::atomic<bool> removing{false};
  std::atomic<bool> proceed{false};
  std::atomic<bool> toldFirst{false};
  std::thread::id toldOn;
  const osg::ref_ptr<osg::Group> group = new GroupWithHook([&] {
    removing = true;
    EXPECT_TRUE(soon([&] { return proceed.load(); }, std::chrono::seconds(2)));
  });
  _operation->add(setWithCallback(group, nullptr, [&](DeleteSet*) { toldFirst = true; }));
  std::thread running([this] { run(); });
  const std::thread::id runner = running.get_id();
  EXPECT_TRUE(soon([&] { return removing.load(); }));

  const osg::ref_ptr<DeleteSet> left =
      setWithCallback(_group, child(), [&](DeleteSet*) { toldOn = std::this_thread::get_id(); });
  _operation->add(left);
  run();
  EXPECT_FALSE(toldFirst);
  EXPECT_TRUE(isPending(left));
  EXPECT_EQ(_group->getNumChildren(), 1U);
  proceed = true;
  running.join();
  EXPECT_EQ(toldOn, runner);
  EXPECT_TRUE(_operation->isEmpty());
  EXPECT_EQ(_group->getNumChildren(), 0U);
}

TEST_F(DecrementalCompileOperationTest, anExceptionOfACallbackEndsItsRunAndOtherThreadsMayRun) {
  _operation->add(setWithCallback(_group, child(), [](DeleteSet*) { throw std::runtime_error("callback"); }));
  _operation->add(recording("second"));
  EXPECT_THROW(run(), std::runtime_error);
  onThreads(1, [this](std::size_t) { run(); });
  EXPECT_THAT(_record, ElementsAre("second"));
  EXPECT_TRUE(_operation->isEmpty());
}

namespace {

/// Application code that a run calls and that takes a mutex of the application.
enum class Foreign { RemoveChild, NodeDestructor, GroupDestructor, Callback };
/// What another thread calls while it holds that mutex.
enum class Called { Add, Remove, DeleteOp, Run, OtherOperation };

using LockCase = std::tuple<Foreign, Called>;

std::string lockCaseName(const ::testing::TestParamInfo<LockCase>& info) {
  const char* const foreign[] = {"RemoveChild", "NodeDestructor", "GroupDestructor", "Callback"};
  const char* const called[] = {"Add", "Remove", "DeleteOp", "Run", "OtherOperation"};
  return std::string(foreign[static_cast<std::size_t>(std::get<0>(info.param))]) + "During" +
         called[static_cast<std::size_t>(std::get<1>(info.param))];
}

class DecrementalCompileOperationLocks : public DecrementalCompileOperationTest,
                                         public ::testing::WithParamInterface<LockCase> {
 protected:
  /// Takes the mutex as std::mutex::lock does, but gives up after a while.
  void lockShortly() {
    _inside = true;
    if (!soon([this] { return _applications.try_lock(); }, std::chrono::seconds(2))) {
      _stuck = true;
      return;
    }
    _applications.unlock();
  }

  void queue(Foreign foreign) {
    const auto lockInRun = [this] { lockShortly(); };
    std::function<void()> none;
    auto* const node = new Counted(foreign == Foreign::NodeDestructor ? lockInRun : none);
    _locking = new GroupWithHook(
        [this, foreign] {
          if (foreign == Foreign::RemoveChild) {
            lockShortly();
          }
          if (foreign == Foreign::GroupDestructor) {
            _locking = nullptr;
          }
        },
        foreign == Foreign::GroupDestructor ? lockInRun : none);
    _locking->addChild(node);
    _operation->add(setWithCallback(_locking, node, [this, foreign](DeleteSet*) {
      if (foreign == Foreign::Callback) {
        lockShortly();
      }
    }));
  }

  void call(Called called) {
    const osg::ref_ptr<osg::Group> elsewhere = new osg::Group;
    const osg::ref_ptr<DeleteSet> set = new DeleteSet(elsewhere, nullptr);
    const osg::ref_ptr<Removal> other = new Removal;
    switch (called) {
      case Called::Add:
        return _operation->add(set);
      case Called::Remove:
        return _operation->remove(set);
      case Called::DeleteOp:
        EXPECT_TRUE(set->deleteop());
        return;
      case Called::Run:
        return run();
      case Called::OtherOperation:
        other->add(set);
        (*other)(static_cast<osg::GraphicsContext*>(nullptr));
        EXPECT_TRUE(other->isEmpty());
        return;
    }
  }

  std::mutex _applications;
  std::atomic<bool> _inside{false};
  std::atomic<bool> _stuck{false};
  osg::ref_ptr<osg::Group> _locking;
};

}  // namespace

TEST_P(DecrementalCompileOperationLocks, aRunMayWaitForAMutexWhoseHolderCallsTheOperation) {
  const auto [foreign, called] = GetParam();
  queue(foreign);
  std::unique_lock<std::mutex> held(_applications);
  std::thread running([this] { run(); });
  EXPECT_TRUE(soon([this] { return _inside.load(); }));
  call(called);
  held.unlock();
  running.join();
  EXPECT_FALSE(_stuck);
  EXPECT_EQ(_operation->getToCompile().size(), called == Called::Add ? 1U : 0U);
  _locking = nullptr;
  EXPECT_EQ(Counted::alive(), _aliveBefore);
}

INSTANTIATE_TEST_SUITE_P(EveryCall, DecrementalCompileOperationLocks,
                         ::testing::Combine(::testing::Values(Foreign::RemoveChild, Foreign::NodeDestructor,
                                                              Foreign::GroupDestructor, Foreign::Callback),
                                            ::testing::Values(Called::Add, Called::Remove, Called::DeleteOp,
                                                              Called::Run, Called::OtherOperation)),
                         lockCaseName);

// Removing a node with an update callback decrements a count of its group and of every ancestor.
TEST_F(DecrementalCompileOperationTest, thousandsOfRunsOnTwoContextsKeepGroupsAndTheirAncestorsConsistent) {
  constexpr int kRounds = 3000;
  constexpr unsigned int kGroupsBelow = 2;
  constexpr unsigned int kSets = 8;
  const osg::ref_ptr<osg::Group> root = new osg::Group;
  for (unsigned int i = 0; i < kGroupsBelow; ++i) {
    root->addChild(new osg::Group);
  }
  const osg::ref_ptr<osg::Node> shared = new Counted;
  std::atomic<int> turns{0};
  {
    ContextOnThread one(plainContext());
    ContextOnThread two(plainContext());
    _operation->addGraphicsContext(one.get());
    _operation->addGraphicsContext(two.get());
    for (int round = 0; round < kRounds; ++round) {
      std::array<Removal::DeleteSets, 2> sets;
      for (unsigned int i = 0; i < kSets; ++i) {
        osg::Group* const group = root->getChild(i % kGroupsBelow)->asGroup();
        const osg::ref_ptr<osg::Group> node = new Counted;
        node->setUpdateCallback(new osg::NodeCallback);
        node->addChild(shared);
        group->addChild(node);
        sets[i / 2 % 2].push_back(setWithCallback(group, node, [&turns](DeleteSet*) { ++turns; }));
      }
      queueAll(sets[0]);
      one.startRuns(1);
      queueAll(sets[1]);
      two.startRuns(1);
      one.call({});
      two.call({});
      ASSERT_TRUE(_operation->isEmpty());
    }
    std::vector<osg::GraphicsContext*> contexts = {one.get(), two.get()};
    _operation->removeContexts(contexts);
  }
  EXPECT_EQ(turns, kRounds * static_cast<int>(kSets));
  EXPECT_EQ(root->getNumChildrenRequiringUpdateTraversal(), 0U);
  for (unsigned int i = 0; i < kGroupsBelow; ++i) {
    EXPECT_EQ(root->getChild(i)->asGroup()->getNumChildren(), 0U);
    EXPECT_EQ(root->getChild(i)->asGroup()->getNumChildrenRequiringUpdateTraversal(), 0U);
  }
  EXPECT_EQ(shared->getNumParents(), 0U);
  EXPECT_EQ(Counted::alive(), _aliveBefore + 1);
}

TEST_F(DecrementalCompileOperationTest, twoContextsOnTwoThreadsDetachEachNodeOnceAndDestroyIt) {
  constexpr int kRounds = 20;
  constexpr std::size_t kSets = 200;
  const osg::ref_ptr<osg::Node> shared = new Counted;
  std::vector<std::atomic<int>> told(kSets * kRounds);
  {
    ContextOnThread one(plainContext());
    ContextOnThread two(plainContext());
    _operation->addGraphicsContext(one.get());
    _operation->addGraphicsContext(two.get());
    for (std::size_t round = 0; round < kRounds; ++round) {
      for (std::size_t i = 0; i < kSets; ++i) {
        const osg::ref_ptr<osg::Node> node = child();
        node->asGroup()->addChild(shared);
        std::atomic<int>& count = told[round * kSets + i];
        _operation->add(setWithCallback(_group, node, [&count](DeleteSet*) { ++count; }));
      }
      one.startRuns(1);
      two.startRuns(1);
      one.call({});
      two.call({});
      ASSERT_EQ(_group->getNumChildren(), 0U);
    }
    std::vector<osg::GraphicsContext*> contexts = {one.get(), two.get()};
    _operation->removeContexts(contexts);
  }
  EXPECT_EQ(shared->getNumParents(), 0U);
  EXPECT_EQ(Counted::alive(), _aliveBefore + 1);
  EXPECT_THAT(told, Each(Eq(1)));
}

TEST_F(DecrementalCompileOperationTest, requestsOfSeveralThreadsAreAllFinishedWhileTwoContextsRun) {
  constexpr std::size_t kWriters = 4;
  constexpr std::size_t kSets = 500;
  // Each writer has its own group, since no one may change a group that the operation works on.
  std::vector<osg::ref_ptr<osg::Group>> groups(kWriters);
  std::vector<std::vector<osg::ref_ptr<osg::Node>>> nodes(kWriters);
  for (std::size_t i = 0; i < kWriters; ++i) {
    groups[i] = new osg::Group;
    for (std::size_t k = 0; k < kSets; ++k) {
      nodes[i].emplace_back(new Counted);
      groups[i]->addChild(nodes[i].back());
    }
  }
  std::vector<std::atomic<int>> told(kWriters * kSets);
  {
    ContextOnThread one(plainContext());
    ContextOnThread two(plainContext());
    _operation->addGraphicsContext(one.get());
    _operation->addGraphicsContext(two.get());
    onThreads(kWriters, [&](std::size_t i) {
      for (std::size_t k = 0; k < kSets; ++k) {
        std::atomic<int>& count = told[i * kSets + k];
        _operation->add(setWithCallback(groups[i], nodes[i][k], [&count](DeleteSet*) { ++count; }));
        nodes[i][k] = nullptr;
        if (k % 16 == 0) {
          (i % 2 == 0 ? one : two).startRuns(1);
        }
      }
    });
    one.run();
    two.run();
    std::vector<osg::GraphicsContext*> contexts = {one.get(), two.get()};
    _operation->removeContexts(contexts);
  }
  EXPECT_TRUE(_operation->isEmpty());
  EXPECT_EQ(Counted::alive(), _aliveBefore);
  EXPECT_THAT(told, Each(Eq(1)));
}

namespace {

constexpr int kGroups = 6;
constexpr int kNodes = 12;

/// What a callback does once its set has been finished.
struct Action {
  enum Kind { Nothing, Add, Remove, Destroy } kind = Nothing;
  int target = 0;  // a set, or a group to destroy
};

struct Plan {
  int group = 0;
  int node = 0;
  Action action;
};

/// A model of the rules that works on lists of numbers.
struct Model {
  std::vector<Plan> plans;
  std::vector<bool> groupAlive = std::vector<bool>(kGroups, true);
  std::vector<std::vector<int>> children = std::vector<std::vector<int>>(kGroups);
  std::vector<int> pending;
  std::vector<int> turns;

  template <typename List>
  static void eraseFirst(List& list, int value) {
    const auto place = std::find(list.begin(), list.end(), value);
    if (place != list.end()) {
      list.erase(place);
    }
  }

  void destroy(int group) {
    groupAlive[static_cast<std::size_t>(group)] = false;
    children[static_cast<std::size_t>(group)].clear();
  }

  void act(const Action& action) {
    if (action.kind == Action::Add) {
      pending.push_back(action.target);
    }
    if (action.kind == Action::Remove) {
      eraseFirst(pending, action.target);
    }
    if (action.kind == Action::Destroy) {
      destroy(action.target);
    }
  }

  void run() {
    for (const int set : std::vector<int>(pending)) {
      const Plan& plan = plans[static_cast<std::size_t>(set)];
      eraseFirst(children[static_cast<std::size_t>(plan.group)], plan.node);
      eraseFirst(pending, set);
      turns.push_back(set);
      act(plan.action);
    }
  }
};

/// The same with groups, nodes and sets.
struct World {
  osg::ref_ptr<Removal> operation = new Removal;
  std::vector<osg::ref_ptr<osg::Group>> groups;
  std::vector<osg::ref_ptr<osg::Node>> nodes;
  std::vector<osg::ref_ptr<DeleteSet>> sets;
  std::vector<int> turns;

  World() {
    for (int i = 0; i < kGroups; ++i) {
      groups.emplace_back(new Counted);
    }
    for (int i = 0; i < kNodes; ++i) {
      nodes.emplace_back(new Counted);
    }
  }

  void act(const Action& action) {
    const auto target = static_cast<std::size_t>(action.target);
    if (action.kind == Action::Add) {
      operation->add(sets[target]);
    }
    if (action.kind == Action::Remove) {
      operation->remove(sets[target]);
    }
    if (action.kind == Action::Destroy) {
      groups[target] = nullptr;
    }
  }

  void makeSet(const Plan& plan) {
    const int number = static_cast<int>(sets.size());
    sets.push_back(setWithCallback(groups[static_cast<std::size_t>(plan.group)],
                                   nodes[static_cast<std::size_t>(plan.node)], [this, plan, number](DeleteSet*) {
                                     turns.push_back(number);
                                     act(plan.action);
                                   }));
  }

  template <typename Pointers, typename Pointer>
  static int placeOf(const Pointers& pointers, const Pointer* pointer) {
    return static_cast<int>(std::find(pointers.begin(), pointers.end(), pointer) - pointers.begin());
  }

  std::vector<int> pending() const {
    std::vector<int> numbers;
    for (const auto& set : operation->getToCompile()) {
      numbers.push_back(placeOf(sets, set.get()));
    }
    return numbers;
  }

  std::vector<int> childrenOf(std::size_t group) const {
    std::vector<int> numbers;
    for (unsigned int i = 0; groups[group].valid() && i < groups[group]->getNumChildren(); ++i) {
      numbers.push_back(placeOf(nodes, groups[group]->getChild(i)));
    }
    return numbers;
  }
};

/// One random step in both the model and the real objects.
class Chain {
 public:
  explicit Chain(unsigned int seed) : _random(seed) {
    for (int i = 0; i < 10; ++i) {
      makeSet();
    }
  }

  void step() {
    const auto group = static_cast<std::size_t>(below(kGroups));
    const int node = below(kNodes);
    switch (below(10)) {
      case 0:
        return makeSet();
      case 1:
        return both({Action::Remove, below(static_cast<int>(model.plans.size()))});
      case 2:
        return _random() % 8 == 0 ? both({Action::Destroy, static_cast<int>(group)}) : run();
      case 3:
        return run();
      case 4:
      case 5:
      case 6:
        return addChild(group, node);
      default:
        return both({Action::Add, below(static_cast<int>(model.plans.size()))});
    }
  }

  void expectSame() const {
    ASSERT_EQ(world.turns, model.turns);
    ASSERT_EQ(world.pending(), model.pending);
    for (std::size_t group = 0; group < kGroups; ++group) {
      ASSERT_EQ(world.groups[group].valid(), model.groupAlive[group]);
      ASSERT_EQ(world.childrenOf(group), model.children[group]);
    }
  }

  Model model;
  World world;

 private:
  int below(int limit) { return static_cast<int>(_random() % static_cast<unsigned int>(limit)); }

  void both(const Action& action) {
    model.act(action);
    world.act(action);
  }

  void run() {
    model.run();
    (*world.operation)(static_cast<osg::GraphicsContext*>(nullptr));
  }

  void addChild(std::size_t group, int node) {
    if (!model.groupAlive[group]) {
      return;
    }
    model.children[group].push_back(node);
    world.groups[group]->addChild(world.nodes[static_cast<std::size_t>(node)]);
  }

  // Sets of destroyed groups are left out, since they look the same as sets without a group. Few callbacks destroy a
  // group, otherwise none would be left too soon.
  void makeSet() {
    const int group = below(kGroups);
    if (!model.groupAlive[static_cast<std::size_t>(group)]) {
      return;
    }
    const int number = static_cast<int>(model.plans.size());
    Action action{static_cast<Action::Kind>(below(3)), below(number + 1)};
    if (_random() % 60 == 0) {
      action = {Action::Destroy, below(kGroups)};
    }
    const Plan plan{group, below(kNodes), action};
    model.plans.push_back(plan);
    world.makeSet(plan);
  }

  std::mt19937 _random;
};

}  // namespace

TEST_F(DecrementalCompileOperationTest, randomSequencesOfCallsAgreeWithAModelAndLeaveNothingBehind) {
  std::size_t turns = 0;
  std::size_t groupsLost = 0;
  for (unsigned int seed = 1; seed <= 60; ++seed) {
    auto chain = std::make_unique<Chain>(seed);
    for (int i = 0; i < 150; ++i) {
      chain->step();
      chain->expectSame();
      ASSERT_FALSE(HasFatalFailure()) << "seed " << seed << ", step " << i;
    }
    turns += chain->model.turns.size();
    groupsLost +=
        static_cast<std::size_t>(std::count(chain->model.groupAlive.begin(), chain->model.groupAlive.end(), false));
    chain = nullptr;
    ASSERT_EQ(Counted::alive(), _aliveBefore) << "seed " << seed;
  }
  // Check that the chains did reach the interesting cases.
  EXPECT_GT(turns, 1000U);
  EXPECT_GT(groupsLost, 30U);
}
