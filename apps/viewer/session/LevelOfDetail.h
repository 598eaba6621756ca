#pragma once

#include "scan/index/PointTree.h"
#include "viewer/render/FrameBudget.h"
#include "viewer/render/NodePrefetch.h"
#include "viewer/render/NodeResidency.h"
#include "viewer/render/NodeSelection.h"
#include "viewer/render/PointCloud.h"
#include "viewer/session/NodeRead.h"
#include "viewer/session/ResultQueue.h"

#include <QuorOsgUtils/FileJobs.h>

#include <osg/Camera>
#include <osg/Plane>
#include <osg/Vec2d>

#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace QuorViewer {

/// Draws the point trees of scans: before each frame it selects the nodes that the view needs, has the missing ones
/// read by the file manager, and shows and hides those in memory. Memory and the time of a frame stay bounded, however
/// large the scans are.
///
/// No scan in view disappears while the view moves, and yet the number of points that a frame may draw holds with any
/// number of scans: where it does not suffice for the coarsest node of each scan, these are thinned. All of them stay
/// in memory in full; only if they exceed the memory are the last ones left out. One thread.
class LevelOfDetail {
 public:
  struct Dependencies {
    PointCloud& cloud;  ///< outlives this
    /// As `FrameLoop::removePart`. Called only before a frame, because it requests one.
    std::function<void(osg::Group* parent, osg::Node* child)> remove;
    /// A node of a scan is damaged, with a text for the user.
    std::function<void(unsigned int scan, const std::string& error)> damaged;
    /// A node was not read because the scan's file has changed, likewise.
    std::function<void(unsigned int scan, const std::string& change)> changed;
    /// The first time that there is not enough memory for a node of a scan, or for any node of a scan in view, or that
    /// the system cannot read a node. It is tried again when the view moves.
    std::function<void(const std::string& error)> failed;
  };

  LevelOfDetail(std::uint64_t memoryBytes, const FrameBudget& budget, Dependencies dependencies);
  LevelOfDetail(const LevelOfDetail&) = delete;
  LevelOfDetail& operator=(const LevelOfDetail&) = delete;
  /// Drops all requests.
  ~LevelOfDetail();

  /// Of the points in memory, on the graphics card included.
  static constexpr std::uint64_t kBytesPerPoint = 48;

  /// The memory for points that is left for nodes, at most that of the constructor.
  void setMemory(std::uint64_t bytes) { _memoryBytes = bytes; }
  std::uint64_t memoryBytes() const { return _memoryBytes; }
  /// While the view moves, a frame should take this long.
  void setTargetFrameTime(std::chrono::duration<double> time) { _budget.setTarget(time); }

  /// Whether points are drawn as wide as the spacing of their node, up to four times the point size. Default: true.
  void setWidensPoints(bool widens) { _widensPoints = widens; }

  /// Drops all requests, because no more nodes are taken over.
  void cancelReads();

  /// From now on draws a scan. `localOrigin` is the world point that drawn positions are relative to, the same for all.
  void open(unsigned int scan, std::unique_ptr<PointTree> tree, const osg::Vec3d& localOrigin);
  /// Ends the drawing of a scan. The caller removes the nodes, which are children of `PointCloud::groupOf`. The future
  /// is ready when the tree's file is closed: at once, or when the node that is being read has been read.
  std::future<void> close(unsigned int scan);
  bool isEmpty() const { return _trees.empty(); }
  bool isOpen(unsigned int scan) const { return _trees.count(scan) > 0; }

  /// Takes over nodes that have been read, as many as can be uploaded with a frame. True if there were any to be drawn.
  bool receive();
  /// Before each frame. Clip planes are relative to the local origin.
  void prepareFrame(const osg::Camera& camera, const std::vector<osg::Plane>& clipPlanes);
  /// Whether the latest frame was prepared for this view. If not, it changed meanwhile, and another frame is due.
  bool isPreparedFor(const osg::Camera& camera, const std::vector<osg::Plane>& clipPlanes) const;
  /// Between frames: once the view rests and is complete, reads nodes that the next views will probably need, up to an
  /// eighth of the memory, without any frame being drawn. True if they replaced others, whose memory the next frame
  /// frees.
  bool readAhead();
  /// After each frame, with the time that it took.
  void endFrame(std::chrono::duration<double> duration);
  /// Whether another frame shows more, without anything being read.
  bool mayRefine() const;
  /// Whether the latest frame shows everything that the picture can show and that fits into memory. What is read ahead
  /// does not matter.
  bool isComplete() const;

  /// The memory of indexes that are held in memory.
  std::uint64_t heldBytes() const;
  std::uint64_t drawnPoints() const { return _drawnPoints; }
  std::uint64_t loadedPoints() const { return _loadedPoints; }

 private:
  struct Tree {
    std::unique_ptr<PointTree> tree;                 // nodes and info
    std::shared_ptr<PointTree> read;                 // for the worker
    std::future<void> released;                      // `read` has been destroyed
    std::vector<osg::ref_ptr<osg::Node>> drawables;  // by node; null: not in memory
    std::vector<bool> covers;                        // by node: no ancestor has points
  };

  void _select();
  void _wantAhead();
  CubeCamera _cubeCamera() const;
  std::vector<SelectableTree> _selectableTrees() const;
  void _carryOut(const NodeResidency::Decision& decision);
  void _request(const NodeRequest& request);
  void _cancel(const ScanNode& node);
  void _evict(const ScanNode& node);
  void _removeEvicted();
  void _show(std::vector<ScanNode> drawn);
  /// The spacing of what is drawn in the cubes of drawn nodes.
  void _setSpacings(const std::vector<ScanNode>& drawn);
  /// False if the node is no longer wanted.
  bool _take(NodeResult result);
  void _takeFailure(const NodeResult& result);
  void _reportLeftOut();
  std::uint32_t _drawnPointsOf(const ScanNode& node) const;
  const TreeNode& _nodeOf(const ScanNode& node) const { return _trees.at(node.scan).tree->nodes()[node.node]; }
  osg::Node* _drawableOf(const ScanNode& node) const { return _trees.at(node.scan).drawables[node.node]; }

  Dependencies _dependencies;
  std::uint64_t _memoryBytes;
  bool _widensPoints = true;
  FrameBudget _budget;
  NodeSelection _selection;
  SelectionSettings _settings;  // of the latest selection
  NodePrefetch _prefetch;
  NodeResidency _residency;
  std::map<unsigned int, Tree> _trees;  // by scan
  osg::Vec3d _localOrigin;
  std::unordered_map<ScanNode, std::shared_ptr<NodeRead>, ScanNodeHash> _reads;
  std::shared_ptr<ResultQueue<NodeResult>> _results;
  std::vector<WantedNode> _wanted;
  std::unordered_map<ScanNode, std::uint32_t, ScanNodeHash> _thinned;  // nodes drawn in part: with how many points
  std::vector<ScanNode> _drawn;
  std::vector<std::pair<unsigned int, osg::ref_ptr<osg::Node>>> _evicted;  // hidden, and their scans
  std::uint64_t _drawnPoints = 0;
  std::uint64_t _loadedPoints = 0;
  std::set<unsigned int> _failedScans;
  CubeProjection _cubes;  // of the latest frame
  osg::Matrixd _latestView, _latestProjection;
  osg::Vec2d _latestSize;
  std::vector<osg::Plane> _latestPlanes;
  bool _isPrepared = false;  // for all open scans
  std::chrono::steady_clock::time_point _preparedAt;
  bool _wantsAhead = false;      // `_wanted` has nodes to read ahead
  bool _mayReadAhead = false;    // there may be more of them to request
  QuorOsgUtils::FileJobs _jobs;  // its destructor waits for the job that is running
};

}  // namespace QuorViewer
