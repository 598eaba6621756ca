#pragma once

#include "scan/index/PointTree.h"
#include "viewer/render/CubeProjection.h"
#include "viewer/render/ScanNode.h"

#include <osg/Plane>

#include <cstdint>
#include <utility>
#include <vector>

namespace QuorViewer {

/// The point tree of an open scan. What it refers to is only used during `NodeSelection::select`.
struct SelectableTree {
  unsigned int scan = 0;  ///< the scan's number, different for each tree
  const TreeInfo* info = nullptr;
  const std::vector<TreeNode>* nodes = nullptr;  ///< as `PointTree::nodes`
};

struct SelectionSettings {
  std::uint64_t budgetPoints = 0;
  /// A node is refined only where its points are further apart than this in the image.
  double leastSpacingPixels = 1.0;
  /// The spacing of nodes drawn in the last frame counts this many times: at least 1. Values from 1.1 to 1.5 prevent
  /// that nodes flicker at the edge of the budget while the camera moves slowly.
  double drawnBonus = 1.2;
  /// Nodes wholly on the negative side of one of them are skipped. See `CubeProjection::set`.
  std::vector<osg::Plane> clipPlanes;
};

struct SelectedNode {
  static constexpr std::uint32_t kNone = ~0U;

  ScanNode node;
  std::uint32_t parent = kNone;  ///< index in the selection of the nearest ancestor that has points, if any
  std::uint32_t pointCount = 0;  ///< above 0
  /// How many of its points to draw, the first ones: fewer than all only if nothing else covers the node. Above 0.
  std::uint32_t drawnPoints = 0;
  float weight = 0.0f;  ///< projected spacing in pixels, up to 30% less away from the middle of the view
};

/// Selects the nodes of point trees to draw in a view. A node's points are drawn together with those of its ancestors,
/// so each selected node makes the picture finer in its cube.
///
/// Order: first the nodes that nothing else covers, which are those without an ancestor that has points: every scan in
/// view is shown before any is refined. Then refinements, those with the widest points first: by projected spacing
/// (`CubeProjection::pixelsOf`), which is slightly reduced away from the middle of the view. A node's children become
/// candidates when the node is selected, so parents precede children. Nodes without points are traversed, but not
/// listed.
///
/// Limits: nodes out of view or clipped are skipped with their descendants. A refinement is skipped if the points of
/// its parent are no further apart, at the node, than the least spacing. The first refinement that does not fit into
/// what is left of the budget ends the selection: filling the rest with small nodes of low weight would make them come
/// and go with each movement of the camera. But a large node with more than 1/16 of the budget is only skipped with its
/// descendants, so that it leaves the budget to others.
///
/// Nodes that nothing else covers are never skipped, so that no scan disappears (unless the budget is less than a point
/// for each of them). If they exceed the budget together, each is thinned: it needs as many points as are the least
/// spacing apart in the image, or all, and gets the same share of them as the others. The caller draws the first points
/// of such a node, so its points must be in an order of which every beginning is an even sample (`orderEvenly`).
///
/// A view at rest keeps its selection when it is passed as the nodes drawn in the last frame.
///
/// Units: world units, pixels. Buffers are kept from call to call. One thread.
class NodeSelection {
 public:
  /// Expects different scan numbers and, in each tree, children with larger indices than their parent. `drawn`: the
  /// nodes drawn in the last frame, in any order; unknown ones are ignored. The result is valid until the next call.
  const std::vector<SelectedNode>& select(const std::vector<SelectableTree>& trees, const CubeCamera& camera,
                                          const SelectionSettings& settings, const std::vector<ScanNode>& drawn = {});

  /// The result of the last call.
  const std::vector<SelectedNode>& selected() const { return _selected; }
  /// Of the last selection; at most its budget.
  std::uint64_t pointCount() const { return _pointCount; }
  /// Whether a larger budget would have selected more.
  bool isLimited() const { return _limited; }

 private:
  struct IsAfter;
  class Pass;

  struct Candidate {
    float priority;  // the weight, with the bonus
    float weight;
    std::uint32_t tree;  // index into the trees
    std::uint32_t node;
    std::uint32_t parent;  // as in `SelectedNode`

    bool covers() const { return parent == SelectedNode::kNone; }
  };

  void _markDrawn(const std::vector<SelectableTree>& trees, const std::vector<ScanNode>& drawn);

  CubeProjection _projection;
  std::vector<SelectedNode> _selected;
  std::uint64_t _pointCount = 0;
  bool _limited = false;
  std::vector<Candidate> _candidates;                           // a heap
  std::vector<Candidate> _covering;                             // those with points that nothing else covers
  std::vector<std::pair<unsigned int, std::uint32_t>> _treeOf;  // scan number and index of its tree, sorted
  std::vector<std::vector<std::uint32_t>> _drawnInCall;         // for each tree and node: a number of a call
  std::uint32_t _call = 0;
};

}  // namespace QuorViewer
