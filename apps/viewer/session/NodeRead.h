#pragma once

#include "scan/index/PointTree.h"
#include "viewer/render/ScanNode.h"

#include <QuorOsgUtils/StopToken.h>

#include <memory>
#include <optional>
#include <string>

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

/// Reads a node on the worker.
NodeResult readNode(std::shared_ptr<const NodeRead> read);

}  // namespace QuorViewer
