#include "viewer/session/NodeRead.h"

#include "scan/index/EvenOrder.h"
#include "viewer/session/WatchedTree.h"

#include <exception>
#include <new>
#include <utility>

namespace QuorViewer {

NodeResult readNode(std::shared_ptr<const NodeRead> read) {
  NodeResult result;
  result.read = std::move(read);
  const std::shared_ptr<PointTree> tree = result.read->tree.lock();
  if (!tree) {
    return result;
  }
  try {
    result.points = tree->read(result.read->node.node);
    if (result.read->inEvenOrder) {
      orderEvenly(*result.points);
    }
  } catch (const std::bad_alloc&) {
    result.error = "not enough memory to load more points";
  } catch (const ScanReadError& error) {
    result.error = error.what();
  } catch (const ScanChanged& change) {
    result.error = change.what();
    result.failure = NodeFailure::Changed;
  } catch (const std::exception& error) {
    result.error = error.what();
    result.failure = NodeFailure::Damaged;
  }
  return result;
}

}  // namespace QuorViewer
