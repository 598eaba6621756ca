#pragma once

#include <QuorOsgUtils/DecrementalCompileOperation.h>

#include <OpenThreads/Block>
#include <osg/GraphicsContext>
#include <osg/GraphicsThread>
#include <osg/Group>

#include <atomic>
#include <functional>
#include <utility>

namespace QuorTests {

using Removal = QuorOsgUtils::DecrementalCompileOperation;
using DeleteSet = Removal::DeleteSet;

/// A node that counts its instances and reports its destruction.
class Counted : public osg::Group {
 public:
  explicit Counted(std::function<void()> destroyed = {}) : _destroyed(std::move(destroyed)) { ++alive(); }

  static std::atomic<int>& alive() {
    static std::atomic<int> count{0};
    return count;
  }

 protected:
  ~Counted() override {
    --alive();
    if (_destroyed) {
      _destroyed();
    }
  }

 private:
  std::function<void()> _destroyed;
};

/// An application's callback that calls any function.
class Told : public Removal::DeleteCompletedCallback {
 public:
  explicit Told(std::function<void(DeleteSet*)> function) : _function(std::move(function)) {}
  void deleteCompleted(DeleteSet* set) override { _function(set); }

 private:
  std::function<void(DeleteSet*)> _function;
};

inline osg::ref_ptr<DeleteSet> setWithCallback(osg::Group* group, osg::Node* node,
                                               std::function<void(DeleteSet*)> function) {
  osg::ref_ptr<DeleteSet> set = new DeleteSet(group, node);
  set->_deleteCompletedCallback = new Told(std::move(function));
  return set;
}

/// A context with a graphics thread of its own.
class ContextOnThread {
 public:
  explicit ContextOnThread(osg::GraphicsContext* context) : _context(context) {
    _run->setKeep(false);
    _context->realize();
    _context->createGraphicsThread();
    _context->getGraphicsThread()->startThread();
    // A starting thread may write to the notifier, which is not thread-safe.
    call({});
  }
  ContextOnThread(const ContextOnThread&) = delete;
  ContextOnThread& operator=(const ContextOnThread&) = delete;
  ~ContextOnThread() {
    _context->setGraphicsThread(nullptr);
    _context->close();
  }

  osg::GraphicsContext* get() const { return _context; }

  /// Starts this many runs of the context's operations without waiting for them.
  void startRuns(int count) {
    for (int i = 0; i < count; ++i) {
      _context->getGraphicsThread()->add(_run);
    }
  }

  /// Calls the function on the graphics thread, after all that was started before, and waits for it.
  void call(std::function<void()> function) {
    OpenThreads::Block done;
    _context->getGraphicsThread()->add(new Call([&] {
      if (function) {
        function();
      }
      done.release();
    }));
    done.block();
  }

  void run() {
    startRuns(1);
    call({});
  }

 private:
  class Call : public osg::GraphicsOperation {
   public:
    explicit Call(std::function<void()> function)
        : osg::Referenced(true), osg::GraphicsOperation("Call", false), _function(std::move(function)) {}
    void operator()(osg::GraphicsContext*) override { _function(); }
    using osg::GraphicsOperation::operator();

   private:
    std::function<void()> _function;
  };

  osg::ref_ptr<osg::GraphicsContext> _context;
  osg::ref_ptr<osg::RunOperations> _run = new osg::RunOperations;
};

}  // namespace QuorTests
