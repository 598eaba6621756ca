#include "viewer/render/NodeResidency.h"

#include <algorithm>
#include <cassert>
#include <iterator>

namespace QuorViewer {

const NodeResidency::Decision& NodeResidency::update(const std::vector<WantedNode>& wanted) {
  ++_updates;
  _drawnBefore.swap(_decision.drawn);
  _decision.dropped.clear();
  _decision.evicted.clear();
  _decision.requests.clear();
  _decision.drawn.clear();
  _plan(wanted);
  _dropRequests();
  _orderByRecentness();
  _findShown(wanted);
  _makeRoom(0);
  _findMissing(wanted);
  _requestPlanned(wanted);
  _orderByRecentness();  // places the new requests among the others
  _drawWanted();
  if (_incomplete || _uploading) {
    _keepDrawn(_drawnBefore);
  }
  _eraseAbsent();
  return _decision;
}

void NodeResidency::_plan(const std::vector<WantedNode>& wanted) {
  std::uint64_t room = _limits.memoryBytes;
  _items.assign(wanted.size(), {});
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    const WantedNode& node = wanted[i];
    assert(node.parent == WantedNode::kNone || node.parent < i);
    Item& item = _items[i];
    item.entry = _find(node.node);
    item.bytes = _bytesOf(node, item.entry);
    item.planned = item.bytes <= room && (node.parent == WantedNode::kNone || _items[node.parent].planned);
    if (!item.planned) {
      continue;
    }
    room -= item.bytes;
    if (item.entry != nullptr) {
      item.entry->plannedIn = _updates;
      item.entry->visible = !node.prefetch;
    }
  }
}

// A prefetched node that is visible now is dropped as well, to be requested with a higher priority.
void NodeResidency::_dropRequests() {
  const auto isNeeded = [this](const Entry* entry) {
    const bool delayed = entry->priority == Priority::Low && entry->visible;
    return entry->plannedIn == _updates && !delayed;
  };
  const auto dropped = std::stable_partition(_inFlight.begin(), _inFlight.end(), isNeeded);
  for (auto entry = dropped; entry != _inFlight.end(); ++entry) {
    _leave(**entry);
    _decision.dropped.push_back((*entry)->node);
  }
  _inFlight.erase(dropped, _inFlight.end());
}

void NodeResidency::_leave(Entry& entry) {
  entry.state = State::Absent;
  _bytes -= entry.bytes;
  _recent.erase(entry.recentness);
  _leaving.push_back(entry.node);
}

void NodeResidency::_orderByRecentness() {
  for (auto item = _items.rbegin(); item != _items.rend(); ++item) {
    if (item->state() == State::Loaded || item->state() == State::Requested) {
      _recent.splice(_recent.begin(), _recent, item->entry->recentness);
    }
  }
}

void NodeResidency::_findShown(const std::vector<WantedNode>& wanted) {
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    Item& item = _items[i];
    const Item* const parent = wanted[i].parent != WantedNode::kNone ? &_items[wanted[i].parent] : nullptr;
    const bool available = item.state() == State::Loaded || item.state() == State::Failed;
    item.shown = available && !wanted[i].prefetch && (parent == nullptr || parent->shown);
    item.covered = (parent != nullptr && parent->covered) || (item.shown && item.state() == State::Loaded);
  }
}

void NodeResidency::_findMissing(const std::vector<WantedNode>& wanted) {
  _incomplete = false;
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    const Item& item = _items[i];
    const bool missing = item.state() == State::Absent || item.state() == State::Requested;
    _incomplete = _incomplete || (item.planned && missing && !wanted[i].prefetch);
  }
}

void NodeResidency::_requestPlanned(const std::vector<WantedNode>& wanted) {
  for (std::size_t i = 0; i < wanted.size() && _inFlight.size() < _limits.requestsInFlight; ++i) {
    const bool due = !wanted[i].prefetch || !_incomplete;
    if (due && _items[i].planned && _items[i].state() == State::Absent) {
      _request(wanted, i);
    }
  }
}

void NodeResidency::_request(const std::vector<WantedNode>& wanted, std::size_t index) {
  const WantedNode& node = wanted[index];
  Item& item = _items[index];
  _makeRoom(item.bytes);
  const Priority refinement = item.covered ? Priority::Normal : Priority::High;
  Entry& entry = _entries[node.node];
  entry.node = node.node;
  entry.parent.reset();
  if (node.parent != WantedNode::kNone) {
    entry.parent = wanted[node.parent].node;
  }
  entry.state = State::Requested;
  entry.bytes = item.bytes;
  entry.priority = node.prefetch ? Priority::Low : refinement;
  entry.plannedIn = _updates;
  entry.recentness = _recent.insert(_recent.end(), &entry);
  item.entry = &entry;
  _bytes += item.bytes;
  _inFlight.push_back(&entry);
  _decision.requests.push_back({node.node, entry.priority});
}

// All planned nodes fit together, so evicting the others makes enough room. All requests are planned here.
void NodeResidency::_makeRoom(std::uint64_t bytes) {
  auto after = _recent.end();
  while (!_fits(bytes) && after != _recent.begin()) {
    const auto candidate = std::prev(after);
    if ((*candidate)->plannedIn == _updates) {
      after = candidate;
      continue;
    }
    Entry& entry = **candidate;
    _leave(entry);
    _decision.evicted.push_back(entry.node);
  }
  assert(_fits(bytes));
}

// Children are evicted before their parents, so a node that was to be shown and is still loaded has its parent.
void NodeResidency::_drawWanted() {
  _drawnBytes = 0;
  _uploading = false;
  std::uint64_t fresh = 0;
  for (const Item& item : _items) {
    if (item.shown && item.state() == State::Loaded && _isShown(item.entry->parent) && _upload(*item.entry, fresh)) {
      _draw(*item.entry);
    }
  }
}

bool NodeResidency::_upload(Entry& entry, std::uint64_t& fresh) {
  if (entry.uploaded) {
    return true;
  }
  _uploading = _uploading || fresh >= _limits.uploadBytes;
  if (!_uploading) {
    fresh += entry.bytes;
    entry.uploaded = true;
  }
  return entry.uploaded;
}

void NodeResidency::_draw(Entry& entry) {
  entry.shownIn = _updates;
  _drawnBytes += entry.bytes;
  _decision.drawn.push_back(entry.node);
}

// These nodes are in the order of recentness, like `_recent`, so parents precede their children.
void NodeResidency::_keepDrawn(const std::vector<ScanNode>& drawnBefore) {
  for (const ScanNode& node : drawnBefore) {
    Entry* const entry = _find(node);
    if (entry == nullptr || entry->state != State::Loaded || entry->shownIn == _updates) {
      continue;
    }
    const bool fits = _drawnBytes <= _limits.drawnBytes && entry->bytes <= _limits.drawnBytes - _drawnBytes;
    if (fits && _isShown(entry->parent)) {
      _draw(*entry);
    }
  }
}

// Descendants of a node that cannot be read are shown in place of its own children.
bool NodeResidency::_isShown(const std::optional<ScanNode>& node) {
  if (!node) {
    return true;
  }
  const Entry* const entry = _find(*node);
  if (entry == nullptr) {
    return false;
  }
  return entry->shownIn == _updates || (entry->state == State::Failed && _isShown(entry->parent));
}

// Entries are erased last, because items refer to them, and a dropped node may have been requested again.
void NodeResidency::_eraseAbsent() {
  for (const ScanNode& node : _leaving) {
    const auto found = _entries.find(node);
    if (found != _entries.end() && found->second.state == State::Absent) {
      _entries.erase(found);
    }
  }
  _leaving.clear();
}

bool NodeResidency::arrived(const ScanNode& node, std::uint64_t bytes) {
  Entry* const entry = _endRequest(node);
  if (entry == nullptr) {
    return false;
  }
  entry->bytes = bytes;
  if (!_fits(bytes)) {
    entry->state = State::Absent;
    _recent.erase(entry->recentness);
    return false;
  }
  entry->state = State::Loaded;
  _bytes += bytes;
  return true;
}

void NodeResidency::failed(const ScanNode& node) {
  _fail(node);
}

void NodeResidency::postponed(const ScanNode& node) {
  if (_fail(node)) {
    _postponed.push_back(node);
  }
}

bool NodeResidency::_fail(const ScanNode& node) {
  Entry* const entry = _endRequest(node);
  if (entry == nullptr) {
    return false;
  }
  _recent.erase(entry->recentness);
  if (entry->priority == Priority::Low) {
    _entries.erase(node);
    return false;
  }
  entry->state = State::Failed;
  entry->bytes = 0;
  return true;
}

void NodeResidency::retryPostponed() {
  for (const ScanNode& node : _postponed) {
    _entries.erase(node);
  }
  _postponed.clear();
}

void NodeResidency::forget(unsigned int scan) {
  const auto isNodeOfScan = [scan](const ScanNode& node) { return node.scan == scan; };
  _postponed.erase(std::remove_if(_postponed.begin(), _postponed.end(), isNodeOfScan), _postponed.end());
  const auto isOfScan = [scan](const Entry* entry) { return entry->node.scan == scan; };
  _inFlight.erase(std::remove_if(_inFlight.begin(), _inFlight.end(), isOfScan), _inFlight.end());
  _recent.remove_if(isOfScan);
  for (auto entry = _entries.begin(); entry != _entries.end();) {
    if (entry->first.scan != scan) {
      ++entry;
      continue;
    }
    const State state = entry->second.state;
    _bytes -= state == State::Requested || state == State::Loaded ? entry->second.bytes : 0;
    entry = _entries.erase(entry);
  }
}

NodeResidency::State NodeResidency::stateOf(const ScanNode& node) const {
  const auto found = _entries.find(node);
  return found != _entries.end() ? found->second.state : State::Absent;
}

NodeResidency::Entry* NodeResidency::_find(const ScanNode& node) {
  const auto found = _entries.find(node);
  return found != _entries.end() ? &found->second : nullptr;
}

NodeResidency::Entry* NodeResidency::_endRequest(const ScanNode& node) {
  Entry* const entry = _find(node);
  if (entry == nullptr || entry->state != State::Requested) {
    return nullptr;
  }
  _inFlight.erase(std::find(_inFlight.begin(), _inFlight.end(), entry));
  _bytes -= entry->bytes;
  return entry;
}

// What an absent node had when it arrived and did not fit is more than what was announced.
std::uint64_t NodeResidency::_bytesOf(const WantedNode& node, const Entry* entry) {
  if (entry == nullptr) {
    return node.bytes;
  }
  return entry->state == State::Absent ? std::max(node.bytes, entry->bytes) : entry->bytes;
}

}  // namespace QuorViewer
