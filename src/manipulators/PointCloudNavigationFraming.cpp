#include "manipulators/FramingDistance.h"

#include <QuorOsgUtils/PointCloudNavigation.h>

#include <osg/ComputeBoundsVisitor>
#include <osg/Notify>
#include <osg/Transform>

#include <algorithm>
#include <optional>

namespace QuorOsgUtils {

namespace {

osg::BoundingSphere boundsOf(osg::Node& node, bool useBoundingBox) {
  if (!useBoundingBox) {
    return node.getBound();
  }
  osg::ComputeBoundsVisitor visitor;
  node.accept(visitor);
  if (!visitor.getBoundingBox().valid()) {
    return node.getBound();
  }
  osg::BoundingSphere bounds;
  bounds.expandBy(visitor.getBoundingBox());
  return bounds;
}

}  // namespace

void PointCloudNavigation::computeHomePosition(const osg::Camera* camera, bool useBoundingBox) {
  if (!getNode()) {
    return;
  }
  OSG_INFO << " CameraManipulator::computeHomePosition(" << camera << ", " << useBoundingBox << ")" << std::endl;
  const osg::BoundingSphere bounds = boundsOf(*getNode(), useBoundingBox);
  const double radius = bounds.radius();
  const double distance = camera ? framingDistance(radius, _fov) : framingDistance(radius);
  const osg::Vec3f eye = bounds.center() + osg::Vec3f(0.0f, static_cast<float>(-distance), 0.0f);
  setHomePosition(eye, bounds.center(), osg::Vec3d(0.0, 0.0, 1.0), _autoComputeHomePosition);
}

bool PointCloudNavigation::collectParent(std::vector<osg::ref_ptr<osg::Node>>& path, osg::Node* node) {
  if (!node) {
    return false;
  }
  path.push_back(node);
  if (node == getNode()) {
    return true;
  }
  for (unsigned int i = 0; i < node->getNumParents(); ++i) {
    if (collectParent(path, node->getParent(i))) {
      return true;
    }
  }
  path.pop_back();
  return false;
}

osg::BoundingSphere PointCloudNavigation::getWorldBoundingBox(std::vector<osg::ref_ptr<osg::Node>>& path,
                                                              osg::Node* node) {
  std::reverse(path.begin(), path.end());
  if (!node) {
    return {};
  }
  std::optional<osg::Matrixd> toWorld;
  for (const osg::ref_ptr<osg::Node>& step : path) {
    if (step == node) {
      break;
    }
    osg::Transform* transform = step ? step->asTransform() : nullptr;
    if (!transform) {
      continue;
    }
    if (!toWorld) {
      toWorld.emplace();
    }
    transform->computeLocalToWorldMatrix(*toWorld, nullptr);
  }
  const osg::BoundingSphere& bound = node->getBound();
  return toWorld ? osg::BoundingSphere(bound.center() * *toWorld, bound.radius()) : bound;
}

}  // namespace QuorOsgUtils
