#include "viewer/tour/TourRecord.h"

#include <nlohmann/json.hpp>

#include <cmath>

namespace QuorViewer {
namespace {

using Json = nlohmann::ordered_json;

// To decimals that matter: 1e-6 world units, 1e-9 in the projection matrix.
constexpr double kStepsPerUnit = 1e6;
constexpr double kStepsPerMatrixUnit = 1e9;
constexpr double kStepsOfDepth = 1e7;

double rounded(double value, double stepsPerUnit) {
  return std::round(value * stepsPerUnit) / stepsPerUnit;
}

Json json(const osg::Vec2i& pixel) {
  return {pixel.x(), pixel.y()};
}

Json json(const osg::Vec3d& vector) {
  return {rounded(vector.x(), kStepsPerUnit), rounded(vector.y(), kStepsPerUnit), rounded(vector.z(), kStepsPerUnit)};
}

Json json(const osg::Matrixd& matrix) {
  Json values = Json::array();
  for (int i = 0; i < 16; ++i) {
    values.push_back(rounded(matrix.ptr()[i], kStepsPerMatrixUnit));
  }
  return values;
}

Json json(const std::optional<TourPick>& pick) {
  if (!pick) {
    return nullptr;
  }
  return {{"scan", pick->scan},
          {"point", pick->point},
          {"coordinates", json(pick->coordinates)},
          {"classification", pick->classification},
          {"intensity", pick->intensity}};
}

Json json(const TourStepRecord& step) {
  const Json camera = {{"eye", json(step.eye)},
                       {"centre", json(step.centre)},
                       {"up", json(step.up)},
                       {"projection", json(step.projection)}};
  return {{"name", step.name},
          {"picture", step.picture},
          {"pointer", json(step.pointer)},
          {"depth", rounded(step.depth, kStepsOfDepth)},
          {"camera", camera},
          {"pick", json(step.pick)}};
}

}  // namespace

std::string toJson(const TourRecord& record) {
  constexpr int kIndentation = 2;
  Json steps = Json::array();
  for (const TourStepRecord& step : record.steps) {
    steps.push_back(json(step));
  }
  const Json all = {{"window", json(record.windowPixels)}, {"points", record.points}, {"steps", steps}};
  return all.dump(kIndentation, ' ', false, Json::error_handler_t::replace) + '\n';
}

}  // namespace QuorViewer
