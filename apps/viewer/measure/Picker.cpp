#include "viewer/measure/Picker.h"

#include "viewer/measure/Pick.h"
#include "viewer/render/PointClasses.h"
#include "viewer/ui/Format.h"

#include <algorithm>
#include <mutex>

namespace QuorViewer {
namespace {

using FrameBuffer = QuorOsgUtils::ScreenCaptureTool::FrameBuffer;

IdentifierImage identifiers(FrameBuffer& frame) {
  int x = 0, y = 0, width = 0, height = 0;
  frame.getViewPort(x, y, width, height);
  return {frame.getItemIDBuffer(), width, height};
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
  FrameBuffer& frame = _tool.getFrameBuffer();
  const std::lock_guard<FrameBuffer> held(frame);
  const IdentifierImage image = identifiers(frame);
  const std::optional<PickedPixel> pixel = pickNearest(image, x, y);
  if (!pixel || !_scans.isOpen(pixel->scan)) {
    return std::nullopt;
  }
  const std::size_t first = (static_cast<std::size_t>(pixel->y) * static_cast<std::size_t>(image.width) +
                             static_cast<std::size_t>(pixel->x)) *
                            4;
  const float* position = &frame.getItemFloatBuffer()[first];
  const int* codes = &frame.getPCUIntBuffer()[first];
  PickedPoint point;
  point.scan = pixel->scan;
  point.point = pixel->point;
  point.localPosition = osg::Vec3d(position[0], position[1], position[2]);
  point.intensity = static_cast<unsigned int>(frame.getPCFloatBuffer()[first]);
  point.classification = static_cast<unsigned int>(codes[1]);
  point.returnNumber = static_cast<unsigned int>(codes[2]);
  point.returns = static_cast<unsigned int>(codes[3]);
  return point;
}

std::optional<osg::Vec2i> Picker::pixelOfAnyPointNear(const osg::Vec2f& fraction) {
  FrameBuffer& frame = _tool.getFrameBuffer();
  const std::lock_guard<FrameBuffer> held(frame);
  const IdentifierImage image = identifiers(frame);
  const int x = static_cast<int>(fraction.x() * static_cast<float>(image.width));
  const int y = static_cast<int>(fraction.y() * static_cast<float>(image.height));
  for (int radius = kPickRadiusPixels; radius < 2 * std::max(image.width, image.height); radius *= 2) {
    if (const std::optional<PickedPixel> pixel = pickNearest(image, x, y, radius)) {
      return osg::Vec2i(pixel->x, pixel->y);
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
