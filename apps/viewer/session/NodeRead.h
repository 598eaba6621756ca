#pragma once

#include "scan/index/PointTree.h"
#include "viewer/render/ScanNode.h"
#include "viewer/session/ResultQueue.h"

#include <QuorOsgUtils/StopToken.h>

#include <list>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace QuorViewer {

/// A node that is to be read, shared by the job and the one who wants the node.
struct NodeRead {
  ScanNode node;
  std::weak_ptr<PointTree> tree;  ///< used only by the file manager's worker; its file is open only as long as the scan
  QuorOsgUtils::StopSource stop;  ///< the node is no longer wanted
  bool ahead = false;             ///< it is not to be drawn yet
  bool inEvenOrder = false;       ///< the points are passed through `orderEvenly`
};

/// Why a node could not be read.
enum class NodeFailure {
  Postponed,  ///< not enough memory, or the system cannot read the file: it may succeed later
  Changed,    ///< the scan's file has changed
  Damaged     ///< the tree cannot be read
};

/// A node that has been read, or not.
struct NodeResult {
  std::shared_ptr<const NodeRead> read;
  std::optional<NodePoints> points;              ///< nothing if the node could not be read
  NodeFailure failure = NodeFailure::Postponed;  ///< if it could not be read
  std::string error;                             ///< for the user, likewise
};

/// The job that reads a node. Its result is posted when it is destroyed, whatever has become of it: it may have been
/// stopped before it ran, or refused, or run without memory. All that this needs is allocated when it is created.
class NodeReadJob {
 public:
  NodeReadJob(std::shared_ptr<const NodeRead> read, std::shared_ptr<ResultQueue<NodeResult>> results);
  NodeReadJob(const NodeReadJob&) = delete;
  NodeReadJob& operator=(const NodeReadJob&) = delete;
  ~NodeReadJob() { _results->push(std::move(_result)); }

  /// Reads the node. On the worker.
  void run() noexcept;

 private:
  static void _read(NodeResult& result);

  std::shared_ptr<ResultQueue<NodeResult>> _results;
  std::list<NodeResult> _result;  // one, from the start
};

}  // namespace QuorViewer
