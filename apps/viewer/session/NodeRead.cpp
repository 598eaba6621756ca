#include "viewer/session/NodeRead.h"

#include "scan/index/EvenOrder.h"
#include "viewer/session/WatchedTree.h"

#include <exception>
#include <new>

namespace QuorViewer {
namespace {

void fail(NodeResult& result, NodeFailure failure, const std::exception& error) {
  result.error = error.what();
  result.failure = failure;
}

}  // namespace

NodeReadJob::NodeReadJob(std::shared_ptr<const NodeRead> read, std::shared_ptr<ResultQueue<NodeResult>> results)
    : _results(std::move(results)), _result(1) {
  _result.front().read = std::move(read);
  _result.front().error = "not enough memory to load more points";
}

void NodeReadJob::run() noexcept {
  try {
    _read(_result.front());
  } catch (...) {  // without memory for the node or for a text: the result says so from the start
  }
}

void NodeReadJob::_read(NodeResult& result) {
  const std::shared_ptr<PointTree> tree = result.read->tree.lock();
  if (!tree) {
    return;
  }
  try {
    NodePoints points = tree->read(result.read->node.node);
    if (result.read->inEvenOrder) {
      orderEvenly(points);
    }
    result.points = std::move(points);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const ScanChanged& change) {
    fail(result, NodeFailure::Changed, change);
  } catch (const ScanReadError& error) {
    fail(result, NodeFailure::Postponed, error);
  } catch (const std::exception& error) {
    fail(result, NodeFailure::Damaged, error);
  }
}

}  // namespace QuorViewer
