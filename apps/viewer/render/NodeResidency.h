#pragma once

#include "viewer/render/ScanNode.h"

#include <QuorOsgUtils/FileCmd.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <list>
#include <optional>
#include <unordered_map>
#include <vector>

namespace QuorViewer {

/// A node that should be drawn, or will probably have to be drawn soon.
struct WantedNode {
  static constexpr std::uint32_t kNone = ~0U;

  ScanNode node;
  std::uint32_t parent = kNone;  ///< index in the list of its nearest ancestor that has points, if any
  std::uint64_t bytes = 0;       ///< memory of its points
  bool prefetch = false;         ///< to be read, but not to be drawn
};

struct NodeRequest {
  ScanNode node;
  QuorOsgUtils::FileCmd::Priority priority = QuorOsgUtils::FileCmd::Normal;
};

struct ResidencyLimits {
  std::uint64_t memoryBytes = 0;      ///< of all loaded and requested nodes
  std::uint64_t drawnBytes = 0;       ///< above this, no nodes are drawn that are not wanted
  std::size_t requestsInFlight = 16;  ///< few, so that the nodes of a new view are not queued behind those of the last
  /// Once this much is drawn for the first time with an update, other nodes wait for the next one. Default: no limit.
  std::uint64_t uploadBytes = std::numeric_limits<std::uint64_t>::max();
};

/// Decides which nodes of point trees are read, kept in memory and drawn. It reads nothing itself: the caller carries
/// out the decisions, and reports what has been read.
///
///     const NodeResidency::Decision& decision = residency.update(wanted);
///     // cancel decision.dropped, delete decision.evicted, read decision.requests, draw decision.drawn
///     ...
///     if (residency.arrived(node, bytes)) { /* keep its points */ }
///
/// A node is absent, requested or loaded. In the order of the wanted list, nodes are planned as far as their bytes fit
/// into the memory limit; a node that does not fit is left out with its descendants. Planned nodes are requested if
/// they are absent, prefetched ones only if no other is missing, and are never evicted. Other loaded nodes stay in
/// memory until it is needed for planned ones. Then those leave first that were wanted least recently, and of the same
/// update, those that were later in the list. So children leave before their parents, and once a view is at rest all
/// planned nodes are loaded, whatever the views before it were.
///
/// A node is drawn if it is wanted, not prefetched and loaded, and its parent is drawn. Many nodes that have not been
/// drawn before are spread over several updates. While wanted nodes are still missing or wait for a later update, nodes
/// that were drawn before stay drawn as well, as long as they are loaded, their parents are drawn, and the limit of
/// drawn bytes is not exceeded; so the picture does not become coarser first when the view moves.
///
/// Units: bytes. Threads: one thread.
class NodeResidency {
 public:
  using Priority = QuorOsgUtils::FileCmd::Priority;

  enum class State { Absent, Requested, Loaded, Failed };

  /// What has changed, to be carried out in the order of the members; `drawn` is complete.
  struct Decision {
    /// Requests that are not needed any more. They do not count as memory from now on. Such a node may be requested
    /// again in the same decision, with another priority.
    std::vector<ScanNode> dropped;
    /// Loaded nodes that leave the memory. None of them is drawn.
    std::vector<ScanNode> evicted;
    /// In the order in which they should be read. High: nothing is drawn in the node's place. Normal: it refines nodes
    /// that are drawn. Low: it is prefetched.
    std::vector<NodeRequest> requests;
    /// Parents precede their children.
    std::vector<ScanNode> drawn;
  };

  explicit NodeResidency(const ResidencyLimits& limits) : _limits(limits) {}
  NodeResidency(const NodeResidency&) = delete;
  NodeResidency& operator=(const NodeResidency&) = delete;

  /// Lower limits take effect in the next update.
  void setLimits(const ResidencyLimits& limits) { _limits = limits; }

  /// Call it in each frame, and between frames to prefetch more. `wanted`: the most important node first, parents
  /// before their children, each node once, no descendants of prefetched nodes that are not prefetched. The decision is
  /// valid until the next update.
  const Decision& update(const std::vector<WantedNode>& wanted);

  /// A node has been read, with `bytes` of points. False if its points are not needed: the request was dropped, or they
  /// are larger than announced and exceed the memory limit. Then the caller deletes them.
  [[nodiscard]] bool arrived(const ScanNode& node, std::uint64_t bytes);
  /// A requested node cannot be read. It is not requested again and counts as drawn for its descendants; if it was
  /// prefetched, it is absent again. Ignored if the request was dropped.
  void failed(const ScanNode& node);
  /// The same, but only until `retryPostponed` is called.
  void postponed(const ScanNode& node);
  /// Nodes that could not be read for the time being are absent from now on.
  void retryPostponed();
  /// Forgets a scan that is closed, with its requests and loaded nodes, which the caller cancels and deletes.
  void forget(unsigned int scan);

  State stateOf(const ScanNode& node) const;
  /// Of all loaded and requested nodes: at most the memory limit.
  std::uint64_t bytes() const { return _bytes; }
  std::size_t requestsInFlight() const { return _inFlight.size(); }
  /// Whether nodes that the last update should have drawn, and that fit into memory, have not been read yet.
  bool isIncomplete() const { return _incomplete; }
  /// Whether loaded nodes wait for the next update to be drawn.
  bool isUploading() const { return _uploading; }

 private:
  struct Entry;
  using Entries = std::unordered_map<ScanNode, Entry, ScanNodeHash>;

  struct Entry {
    ScanNode node;
    std::optional<ScanNode> parent;
    State state = State::Absent;
    std::uint64_t bytes = 0;                 // reserved, or of the loaded points; absent: what it had when it arrived
    Priority priority = Priority::Normal;    // of the request
    std::uint64_t plannedIn = 0;             // number of the last update that planned it
    bool visible = false;                    // it is, as planned: not prefetched
    std::uint64_t shownIn = 0;               // number of the last update that drew it
    bool uploaded = false;                   // it has been drawn since it was loaded
    std::list<Entry*>::iterator recentness;  // valid if it is requested or loaded
  };

  /// A wanted node in the current update.
  struct Item {
    Entry* entry = nullptr;   // null: absent
    std::uint64_t bytes = 0;  // that it needs in memory
    bool planned = false;
    bool shown = false;    // it would be drawn: it and its ancestors are loaded, or have failed
    bool covered = false;  // points are drawn in its place

    State state() const { return entry != nullptr ? entry->state : State::Absent; }
  };

  void _plan(const std::vector<WantedNode>& wanted);
  void _dropRequests();
  void _orderByRecentness();
  void _findShown(const std::vector<WantedNode>& wanted);
  void _findMissing(const std::vector<WantedNode>& wanted);
  void _requestPlanned(const std::vector<WantedNode>& wanted);
  void _request(const std::vector<WantedNode>& wanted, std::size_t index);
  void _makeRoom(std::uint64_t bytes);
  void _leave(Entry& entry);
  void _draw(Entry& entry);
  void _drawWanted();
  /// Whether a node that is to be drawn has been, or may be within the limit. `fresh`: bytes of those that had not
  /// been.
  bool _upload(Entry& entry, std::uint64_t& fresh);
  void _keepDrawn(const std::vector<ScanNode>& drawnBefore);
  void _eraseAbsent();

  static std::uint64_t _bytesOf(const WantedNode& node, const Entry* entry);
  Entry* _find(const ScanNode& node);
  bool _isShown(const std::optional<ScanNode>& node);
  /// False if the node does not count as failed.
  bool _fail(const ScanNode& node);
  /// Releases the reserved bytes of a request. Null if the node is not requested.
  Entry* _endRequest(const ScanNode& node);
  bool _fits(std::uint64_t bytes) const {
    return _bytes <= _limits.memoryBytes && bytes <= _limits.memoryBytes - _bytes;
  }

  ResidencyLimits _limits;
  Entries _entries;
  std::vector<Entry*> _inFlight;
  std::list<Entry*> _recent;  // requested and loaded: by the last update that wanted it, then in the order of its list
  std::uint64_t _bytes = 0;
  std::uint64_t _drawnBytes = 0;
  std::uint64_t _updates = 0;
  bool _incomplete = false;
  bool _uploading = false;
  Decision _decision;
  std::vector<Item> _items;        // parallel to the wanted list
  std::vector<ScanNode> _leaving;  // were dropped or evicted in the current update
  std::vector<ScanNode> _drawnBefore;
  std::vector<ScanNode> _postponed;  // have failed for the time being
};

}  // namespace QuorViewer
