#include "viewer/session/LevelOfDetail.h"

#include <osg/Viewport>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numeric>
#include <optional>
#include <utility>

namespace QuorViewer {
namespace {

constexpr std::uint64_t kMostUploadPoints = 600000;  // with one frame
constexpr std::size_t kRequestsInFlight = 16;
constexpr std::chrono::milliseconds kRest(200);  // without a frame
constexpr std::uint64_t kAheadPart = 8;          // of the memory

/// Pixels of a world unit at distance 1; in an orthographic projection everywhere.
double pixelsPerUnitOf(const osg::Camera& camera) {
  return 0.5 * camera.getProjectionMatrix()(1, 1) * camera.getViewport()->height();
}

osg::Vec2d sizeOf(const osg::Camera& camera) {
  return {camera.getViewport()->width(), camera.getViewport()->height()};
}

// Only the third column depends on near and far, which OSG fits to each frame.
bool projectAlike(const osg::Matrixd& a, const osg::Matrixd& b) {
  for (int row = 0; row < 4; ++row) {
    for (const int column : {0, 1, 3}) {
      if (a(row, column) != b(row, column)) {
        return false;
      }
    }
  }
  return true;
}

std::vector<bool> coveringNodes(const std::vector<TreeNode>& nodes) {
  std::vector<bool> covers(nodes.size(), false);
  for (std::size_t node = 0; node < nodes.size(); ++node) {
    covers[node] = covers[node] || node == 0;
    for (const std::uint32_t child : nodes[node].children) {
      if (child != TreeNode::kNone) {
        covers[child] = covers[node] && nodes[node].pointCount == 0;
      }
    }
  }
  return covers;
}

/// Fulfils the promise when it has been destroyed.
std::shared_ptr<PointTree> cloneOf(const PointTree& tree, std::promise<void> destroyed) {
  const auto promise = std::make_shared<std::promise<void>>(std::move(destroyed));
  return {tree.clone().release(), [promise](PointTree* clone) {
            delete clone;
            promise->set_value();
          }};
}

}  // namespace

LevelOfDetail::LevelOfDetail(std::uint64_t memoryBytes, const FrameBudget& budget, Dependencies dependencies)
    : _dependencies(std::move(dependencies)),
      _memoryBytes(memoryBytes),
      _budget(budget),
      _residency({memoryBytes, memoryBytes, kRequestsInFlight}),
      _results(std::make_shared<ResultQueue<NodeResult>>()) {}

LevelOfDetail::~LevelOfDetail() {
  cancelReads();
}

void LevelOfDetail::cancelReads() {
  _jobs.stopAll();
  _reads.clear();
}

void LevelOfDetail::open(unsigned int scan, std::unique_ptr<PointTree> tree, const osg::Vec3d& localOrigin) {
  _localOrigin = localOrigin;
  _isPrepared = false;
  const TreeInfo& info = tree->info();
  const osg::BoundingBoxd bounds = info.bounds.valid() ? info.bounds : info.cube.cubeOf(NodeKey());
  _dependencies.cloud.setBounds(scan, {bounds._min - localOrigin, bounds._max - localOrigin});
  Tree& opened = _trees[scan];
  std::promise<void> released;
  opened.released = released.get_future();
  opened.read = cloneOf(*tree, std::move(released));
  opened.drawables.resize(tree->nodes().size());
  opened.covers = coveringNodes(tree->nodes());
  opened.tree = std::move(tree);
}

std::future<void> LevelOfDetail::close(unsigned int scan) {
  for (auto read = _reads.begin(); read != _reads.end();) {
    const bool isOfScan = read->first.scan == scan;
    if (isOfScan) {
      read->second->stop.requestStop();
    }
    read = isOfScan ? _reads.erase(read) : std::next(read);
  }
  const auto isClosed = [&](const ScanNode& node) { return node.scan == scan; };
  _drawn.erase(std::remove_if(_drawn.begin(), _drawn.end(), isClosed), _drawn.end());
  _drawnPoints = 0;
  for (const ScanNode& node : _drawn) {
    _drawnPoints += _drawnPointsOf(node);
  }
  Tree& tree = _trees.at(scan);
  std::future<void> released = std::move(tree.released);
  for (std::size_t node = 0; node < tree.drawables.size(); ++node) {
    _loadedPoints -= tree.drawables[node] ? tree.tree->nodes()[node].pointCount : 0;
  }
  const auto isEvicted = [&](const auto& evicted) { return evicted.first == scan; };
  _evicted.erase(std::remove_if(_evicted.begin(), _evicted.end(), isEvicted), _evicted.end());
  _mayReadAhead = false;
  _wantsAhead = false;
  _residency.forget(scan);
  _failedScans.erase(scan);
  _trees.erase(scan);
  return released;
}

bool LevelOfDetail::receive() {
  std::uint64_t uploaded = 0;
  bool any = false;
  while (uploaded < kMostUploadPoints) {
    std::optional<NodeResult> result = _results->tryPop();
    if (!result) {
      break;
    }
    const bool isToBeDrawn = !result->read->ahead;
    uploaded += result->points ? result->points->positions->size() : 0;
    any = (_take(std::move(*result)) && isToBeDrawn) || any;
  }
  return any;
}

bool LevelOfDetail::_take(NodeResult result) {
  const ScanNode node = result.read->node;
  const auto read = _reads.find(node);
  if (read == _reads.end() || read->second != result.read) {
    return false;
  }
  _reads.erase(read);
  if (!result.points) {
    _takeFailure(result);
    return true;
  }
  if (!_residency.arrived(node, result.points->positions->size() * kBytesPerPoint)) {
    return true;
  }
  const osg::ref_ptr<osg::Node> drawable = _dependencies.cloud.addNode(node.scan, *result.points, _localOrigin);
  drawable->setNodeMask(0);
  _trees.at(node.scan).drawables[node.node] = drawable;
  _loadedPoints += result.points->positions->size();
  return true;
}

void LevelOfDetail::_takeFailure(const NodeResult& result) {
  const ScanNode node = result.read->node;
  _mayReadAhead = _mayReadAhead && !result.read->ahead;
  switch (result.failure) {
    case NodeFailure::Postponed:
      _residency.postponed(node);
      if (!result.read->ahead && _failedScans.insert(node.scan).second) {
        _dependencies.failed(result.error);
      }
      break;
    case NodeFailure::Changed:
      _residency.postponed(node);
      _dependencies.changed(node.scan, result.error);
      break;
    case NodeFailure::Damaged:
      _residency.failed(node);
      _dependencies.damaged(node.scan, result.error);
      break;
  }
}

void LevelOfDetail::prepareFrame(const osg::Camera& camera, const std::vector<osg::Plane>& clipPlanes) {
  const bool moved = !isPreparedFor(camera, clipPlanes);
  _latestView = camera.getViewMatrix();
  _latestProjection = camera.getProjectionMatrix();
  _latestSize = sizeOf(camera);
  _latestPlanes = clipPlanes;
  _isPrepared = true;
  if (isEmpty()) {
    return;
  }
  _budget.beginFrame(moved);
  if (moved) {
    _residency.retryPostponed();
  }
  _dependencies.cloud.setPixelsPerUnit(_widensPoints ? static_cast<float>(pixelsPerUnitOf(camera)) : 0.0f);
  _preparedAt = std::chrono::steady_clock::now();
  _wantsAhead = _wantsAhead && !moved;
  _mayReadAhead = true;
  _select();
  if (_wantsAhead) {
    _wantAhead();
  }
  _carryOut(_residency.update(_wanted));
  _removeEvicted();
  _reportLeftOut();
}

// Once everything that fits has been read, so that nodes are not reported that are only late.
void LevelOfDetail::_reportLeftOut() {
  if (_residency.isIncomplete() || _residency.requestsInFlight() > 0) {
    return;
  }
  std::size_t count = 0;
  for (const WantedNode& wanted : _wanted) {
    const bool isLeftOut = _trees.at(wanted.node.scan).covers[wanted.node.node] && wanted.bytes > 0 &&
                           !wanted.prefetch && _residency.stateOf(wanted.node) == NodeResidency::State::Absent;
    count += isLeftOut && _failedScans.insert(wanted.node.scan).second ? 1 : 0;
  }
  if (count > 0) {
    _dependencies.failed("not enough memory to show " + std::to_string(count) + " of " + std::to_string(_trees.size()) +
                         " large scans; zoom in, close scans or give more memory");
  }
}

bool LevelOfDetail::readAhead() {
  if (!_mayReadAhead) {
    return !_evicted.empty();
  }
  const bool rests = std::chrono::steady_clock::now() - _preparedAt >= kRest;
  if (!rests || !_reads.empty() || isEmpty() || !isComplete()) {
    return false;
  }
  if (!_wantsAhead) {
    _wantAhead();
    _wantsAhead = true;
  }
  const NodeResidency::Decision& decision = _residency.update(_wanted);
  _carryOut(decision);
  _mayReadAhead = !decision.requests.empty();
  return !_mayReadAhead && !_evicted.empty();
}

void LevelOfDetail::_wantAhead() {
  const std::uint64_t most = _memoryBytes / kAheadPart / kBytesPerPoint;
  for (const SelectedNode& node :
       _prefetch.select(_selectableTrees(), _cubeCamera(), _settings, _selection.selected(), most)) {
    _wanted.push_back({node.node, node.parent, node.pointCount * kBytesPerPoint, true});
  }
}

bool LevelOfDetail::isPreparedFor(const osg::Camera& camera, const std::vector<osg::Plane>& clipPlanes) const {
  return isEmpty() || (_isPrepared && camera.getViewMatrix() == _latestView &&
                       projectAlike(camera.getProjectionMatrix(), _latestProjection) && sizeOf(camera) == _latestSize &&
                       clipPlanes == _latestPlanes);
}

CubeCamera LevelOfDetail::_cubeCamera() const {
  return {_latestView, _latestProjection, _latestSize.y(), _localOrigin};
}

std::vector<SelectableTree> LevelOfDetail::_selectableTrees() const {
  std::vector<SelectableTree> trees;
  for (const auto& [scan, tree] : _trees) {
    trees.push_back({scan, &tree.tree->info(), &tree.tree->nodes()});
  }
  return trees;
}

void LevelOfDetail::_select() {
  _settings.budgetPoints = std::min(_budget.points(), _memoryBytes / kBytesPerPoint);
  _settings.clipPlanes = _latestPlanes;
  _cubes.set(_cubeCamera(), _latestPlanes);
  _wanted.clear();
  _thinned.clear();
  for (const SelectedNode& node : _selection.select(_selectableTrees(), _cubeCamera(), _settings, _drawn)) {
    _wanted.push_back({node.node, node.parent, node.pointCount * kBytesPerPoint, false});
    if (node.drawnPoints < node.pointCount) {
      _thinned[node.node] = node.drawnPoints;
    }
  }
  _residency.setLimits(
      {_memoryBytes, _settings.budgetPoints * kBytesPerPoint, kRequestsInFlight, kMostUploadPoints * kBytesPerPoint});
}

std::uint32_t LevelOfDetail::_drawnPointsOf(const ScanNode& node) const {
  const auto found = _thinned.find(node);
  return found != _thinned.end() ? found->second : _nodeOf(node).pointCount;
}

void LevelOfDetail::_carryOut(const NodeResidency::Decision& decision) {
  std::for_each(decision.dropped.begin(), decision.dropped.end(), [this](const ScanNode& node) { _cancel(node); });
  std::for_each(decision.evicted.begin(), decision.evicted.end(), [this](const ScanNode& node) { _evict(node); });
  std::for_each(decision.requests.begin(), decision.requests.end(),
                [this](const NodeRequest& request) { _request(request); });
  _show(decision.drawn);
}

void LevelOfDetail::_request(const NodeRequest& request) {
  const auto read = std::make_shared<NodeRead>();
  read->node = request.node;
  const Tree& tree = _trees.at(request.node.scan);
  read->tree = tree.read;
  read->ahead = request.priority == NodeResidency::Priority::Low;
  read->inEvenOrder = tree.covers[request.node.node];
  _reads[request.node] = read;
  const auto job = std::make_shared<NodeReadJob>(read, _results);
  _jobs.submit(
      std::string(), request.priority, [job](QuorOsgUtils::FileJob&) { job->run(); }, read->stop.token());
}

void LevelOfDetail::_cancel(const ScanNode& node) {
  const auto read = _reads.find(node);
  if (read != _reads.end()) {
    read->second->stop.requestStop();
    _reads.erase(read);
  }
}

void LevelOfDetail::_evict(const ScanNode& node) {
  Tree& tree = _trees.at(node.scan);
  const osg::ref_ptr<osg::Node> drawable = std::exchange(tree.drawables[node.node], nullptr);
  drawable->setNodeMask(0);
  _loadedPoints -= tree.tree->nodes()[node.node].pointCount;
  _evicted.emplace_back(node.scan, drawable);
}

void LevelOfDetail::_removeEvicted() {
  for (const auto& [scan, drawable] : std::exchange(_evicted, {})) {
    _dependencies.remove(_dependencies.cloud.groupOf(scan), drawable);
  }
}

void LevelOfDetail::_show(std::vector<ScanNode> drawn) {
  for (const ScanNode& node : _drawn) {
    osg::Node* drawable = _drawableOf(node);
    if (drawable != nullptr) {
      drawable->setNodeMask(0);
    }
  }
  _drawn = std::move(drawn);
  _drawnPoints = 0;
  for (const ScanNode& node : _drawn) {
    const std::uint32_t points = _drawnPointsOf(node);
    PointCloud::setDrawnPoints(*_drawableOf(node), points);
    _drawableOf(node)->setNodeMask(~0U);
    _drawnPoints += points;
  }
  _setSpacings(_drawn);
}

// From the leaves up: where all visible children of a node are drawn, its points stand as close as theirs. Points on a
// surface stand further apart by the square root of what is left out.
void LevelOfDetail::_setSpacings(const std::vector<ScanNode>& drawn) {
  std::unordered_map<ScanNode, double, ScanNodeHash> spacings;
  for (auto node = drawn.rbegin(); node != drawn.rend(); ++node) {
    const PointTree& tree = *_trees.at(node->scan).tree;
    const TreeNode& inTree = tree.nodes()[node->node];
    const double thinning = static_cast<double>(inTree.pointCount) / _drawnPointsOf(*node);
    const double own = tree.info().spacingAt(inTree.key.level) * std::sqrt(thinning);
    double spacing = inTree.isLeaf() ? own : 0.0;
    for (const std::uint32_t child : inTree.children) {
      if (child == TreeNode::kNone || tree.nodes()[child].pointCount == 0) {
        continue;
      }
      const auto found = spacings.find({node->scan, child});
      if (found != spacings.end()) {
        spacing = std::max(spacing, found->second);
      } else if (_cubes.isVisible(tree.info().cube.cubeOf(tree.nodes()[child].key))) {
        spacing = own;
      }
    }
    spacings[*node] = spacing;
    PointCloud::setSpacing(*_drawableOf(*node), static_cast<float>(spacing));
  }
}

std::uint64_t LevelOfDetail::heldBytes() const {
  return std::accumulate(_trees.begin(), _trees.end(), std::uint64_t{0},
                         [](std::uint64_t sum, const auto& tree) { return sum + tree.second.tree->heldBytes(); });
}

void LevelOfDetail::endFrame(std::chrono::duration<double> duration) {
  if (!isEmpty()) {
    _budget.endFrame(_drawnPoints, duration);
  }
}

bool LevelOfDetail::mayRefine() const {
  const bool mayGrow = _selection.isLimited() && _budget.mayGrow() && !_residency.isIncomplete();
  return !isEmpty() && _isPrepared && (_residency.isUploading() || mayGrow);
}

bool LevelOfDetail::isComplete() const {
  return isEmpty() || (_isPrepared && !_residency.isIncomplete() && !mayRefine());
}

}  // namespace QuorViewer
