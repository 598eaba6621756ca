#include "viewer/measure/Picker.h"

#include "viewer/render/PointClasses.h"
#include "viewer/ui/Format.h"

#include <QuorOsgUtils/SnapshotPick.h>

#include <algorithm>

namespace QuorViewer {
namespace {

using QuorOsgUtils::FrameSnapshot;
using QuorOsgUtils::SnapshotPick;

// How far from the pointer a point may be: sparse points would otherwise be hard to hit.
constexpr int kPickRadiusPixels = 6;

// The first channels of the identifiers are the scan and the low and high half of the point's index.
std::uint64_t indexOf(const SnapshotPick& pick) {
  return (static_cast<std::uint64_t>(pick.itemID[2]) << 32U) | pick.itemID[1];
}

int decimalsOf(const ScanInfo& info) {
  return std::max({decimalsOfScale(info.scale.x()), decimalsOfScale(info.scale.y()), decimalsOfScale(info.scale.z())});
}

std::string distanceText(const PickedPoint& pick) {
  return fixed(*pick.distance, std::max(pick.decimals, 2));
}

}  // namespace

std::optional<PickedPoint> Picker::pick(int x, int y) {
  std::optional<PickedPoint> picked = _readCapturedPoint(x, y);
  if (!picked) {
    return picked;
  }
  picked->coordinates = _scans.reader(picked->scan).coordinates(picked->point);
  picked->decimals = decimalsOf(_scans.info(picked->scan));
  if (_latest) {
    picked->distance = (picked->coordinates - _latest->coordinates).length();
  }
  _latest = picked;
  ++_count;
  return picked;
}

std::optional<unsigned int> Picker::scanAt(int x, int y) {
  const std::optional<PickedPoint> point = _readCapturedPoint(x, y);
  return point ? std::optional(point->scan) : std::nullopt;
}

std::optional<PickedPoint> Picker::_readCapturedPoint(int x, int y) {
  const osg::ref_ptr<const FrameSnapshot> frame = _frames.latest();
  const std::optional<SnapshotPick> pick = frame ? nearest(*frame, x, y, kPickRadiusPixels) : std::nullopt;
  if (!pick || !_scans.isOpen(pick->itemID[0])) {
    return std::nullopt;
  }
  PickedPoint point;
  point.scan = pick->itemID[0];
  point.point = indexOf(*pick);
  point.localPosition = osg::Vec3d(pick->itemFloat[0], pick->itemFloat[1], pick->itemFloat[2]);
  point.intensity = static_cast<unsigned int>(pick->pcFloat[0]);
  point.classification = static_cast<unsigned int>(pick->pcInt[1]);
  point.returnNumber = static_cast<unsigned int>(pick->pcInt[2]);
  point.returns = static_cast<unsigned int>(pick->pcInt[3]);
  return point;
}

std::optional<osg::Vec2i> Picker::pixelOfAnyPointNear(const osg::Vec2f& fraction) {
  const osg::ref_ptr<const FrameSnapshot> frame = _frames.latest();
  if (!frame) {
    return std::nullopt;
  }
  const int x = static_cast<int>(fraction.x() * static_cast<float>(frame->region.width));
  const int y = static_cast<int>(fraction.y() * static_cast<float>(frame->region.height));
  const int farthest = 2 * std::max(frame->region.width, frame->region.height);
  for (int radius = kPickRadiusPixels; radius < farthest; radius *= 2) {
    if (const std::optional<SnapshotPick> pick = nearest(*frame, x, y, radius)) {
      return osg::Vec2i(pick->x, pick->y);
    }
  }
  return std::nullopt;
}

std::string statusText(const PickedPoint& pick) {
  std::string text = coordinates(pick.coordinates, pick.decimals, "   ") + "      " +
                     std::to_string(pick.classification) + " " + classificationName(pick.classification) +
                     "      intensity " + std::to_string(pick.intensity);
  if (pick.distance) {
    text += "      distance " + distanceText(pick);
  }
  return text;
}

std::string outputText(const PickedPoint& pick, const std::string& file) {
  std::string text = "picked " + coordinates(pick.coordinates, pick.decimals) + " class " +
                     std::to_string(pick.classification) + " " + classificationName(pick.classification) +
                     " intensity " + std::to_string(pick.intensity) + " return " + std::to_string(pick.returnNumber) +
                     " of " + std::to_string(pick.returns) + " point " + std::to_string(pick.point) + " of " + file;
  if (pick.distance) {
    text += " distance " + distanceText(pick);
  }
  return text;
}

}  // namespace QuorViewer
