#include "benchmarks/Comparison.h"
#include "benchmarks/Program.h"

#include <QuorOsgUtils/DecrementalCompileOperation.h>

#include <osg/Group>
#include <osg/ref_ptr>
#include <osgUtil/IncrementalCompileOperation>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <vector>

namespace {

using namespace QuorBenchmarks;
using QuorOsgUtils::DecrementalCompileOperation;

/// Of each group: removing many children of one group takes quadratic time in OpenSceneGraph itself.
constexpr std::size_t kChildrenOfGroup = 10;
/// So many removals that a round can be timed.
constexpr std::size_t kLeastRemovals = 1000;

/// Several scenes with the same number of nodes to be removed.
class Scenes {
 public:
  explicit Scenes(std::size_t nodes) : _nodes(nodes), _scenes(std::max<std::size_t>(1, kLeastRemovals / nodes)) {}

  std::size_t removals() const { return _nodes * _scenes.size(); }

  void build() {
    for (Groups& groups : _scenes) {
      groups.clear();
      for (std::size_t i = 0; i < _nodes; i += kChildrenOfGroup) {
        groups.push_back(new osg::Group);
        for (std::size_t child = 0; child < kChildrenOfGroup; ++child) {
          groups.back()->addChild(new osg::Node);
        }
      }
    }
  }

  /// Calls `visit(scene, group, node)` for each node, last child first, so that the children may be removed meanwhile.
  template <typename Visit>
  void forEach(const Visit& visit) {
    for (std::size_t scene = 0; scene < _scenes.size(); ++scene) {
      for (const osg::ref_ptr<osg::Group>& group : _scenes[scene]) {
        for (unsigned int child = group->getNumChildren(); child > 0; --child) {
          visit(scene, group.get(), group->getChild(child - 1));
        }
      }
    }
  }

  std::size_t size() const { return _scenes.size(); }

 private:
  using Groups = std::vector<osg::ref_ptr<osg::Group>>;

  std::size_t _nodes;
  std::vector<Groups> _scenes;
};

/// Ours, and the same calls without it. Each of our operations has the requests of one scene.
class Removals {
 public:
  explicit Removals(std::size_t nodes) : _scenes(nodes) {
    for (std::size_t i = 0; i < _scenes.size(); ++i) {
      _operations.push_back(new DecrementalCompileOperation);
    }
  }

  std::size_t count() const { return _scenes.removals(); }
  void build() { _scenes.build(); }

  void queue() {
    _scenes.forEach(
        [this](std::size_t scene, osg::Group* group, osg::Node* node) { _operations[scene]->add(group, node); });
  }

  void run() {
    for (const osg::ref_ptr<DecrementalCompileOperation>& operation : _operations) {
      (*operation)(static_cast<osg::GraphicsContext*>(nullptr));
    }
  }

  void removeDirectly() {
    _scenes.forEach([](std::size_t, osg::Group* group, osg::Node* node) { group->removeChild(node); });
  }

 private:
  Scenes _scenes;
  std::vector<osg::ref_ptr<DecrementalCompileOperation>> _operations;
};

Variant directly(Removals& removals, double goal) {
  return {"removeChild", [&] { removals.removeDirectly(); }, [&] { removals.build(); }, removals.count(), goal};
}

/// What the graphics thread does.
void run(benchmark::State& state) {
  Removals removals(static_cast<std::size_t>(state.range(0)));
  const auto prepare = [&] {
    removals.build();
    removals.queue();
  };
  compare(state, {"DecrementalCompileOperation", [&] { removals.run(); }, prepare, removals.count()},
          {directly(removals, 1.1)});
}

/// What both threads do.
void queueAndRun(benchmark::State& state) {
  Removals removals(static_cast<std::size_t>(state.range(0)));
  const auto queueAndRun = [&] {
    removals.queue();
    removals.run();
  };
  compare(state, {"DecrementalCompileOperation", queueAndRun, [&] { removals.build(); }, removals.count()},
          {directly(removals, 0.0)});
}

/// Pending requests of one operation, which are withdrawn in their order.
template <typename Operation, typename Request>
class Pending {
 public:
  explicit Pending(std::size_t count) : _requests(count) {}

  template <typename Add>
  void queue(const Add& add) {
    for (osg::ref_ptr<Request>& request : _requests) {
      request = new Request;
      add(*_operation, request.get());
    }
  }
  void withdraw() {
    for (const osg::ref_ptr<Request>& request : _requests) {
      _operation->remove(request.get());
    }
  }

 private:
  osg::ref_ptr<Operation> _operation = new Operation;
  std::vector<osg::ref_ptr<Request>> _requests;
};

void withdraw(benchmark::State& state) {
  using Theirs = osgUtil::IncrementalCompileOperation;
  const auto count = static_cast<std::size_t>(state.range(0));
  Pending<DecrementalCompileOperation, DecrementalCompileOperation::DeleteSet> ours(count);
  Pending<Theirs, Theirs::CompileSet> theirs(count);
  const auto queueOurs = [&] { ours.queue([](auto& operation, auto* request) { operation.add(request); }); };
  const auto queueTheirs = [&] { theirs.queue([](auto& operation, auto* request) { operation.add(request, false); }); };
  compare(state, {"DecrementalCompileOperation", [&] { ours.withdraw(); }, queueOurs, count},
          {{"IncrementalCompileOperation", [&] { theirs.withdraw(); }, queueTheirs, count, 1.1}});
}

void allSizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->Arg(10)->Arg(1000)->Arg(100000)->ArgName("requests")->Unit(benchmark::kMicrosecond);
}

BENCHMARK(run)->Apply(allSizes);
BENCHMARK(queueAndRun)->Apply(allSizes);
BENCHMARK(withdraw)->Apply(allSizes);

}  // namespace

const QuorBenchmarks::Program QuorBenchmarks::program = {
    "Removal on the graphics thread",
    "`DecrementalCompileOperation` with pending requests for nodes of groups of ten, beside the same calls of "
    "`removeChild` made "
    "directly: the run alone, which is the part of the graphics thread, and queueing and run together. Withdrawing "
    "pending "
    "requests is compared with `remove` of `osgUtil::IncrementalCompileOperation`. Times are those of one request."};
