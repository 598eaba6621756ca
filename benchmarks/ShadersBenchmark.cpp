#include "benchmarks/BenchmarkScans.h"
#include "benchmarks/Comparison.h"
#include "benchmarks/DecodeScan.h"
#include "benchmarks/Program.h"
#include "support/CaptureContext.h"
#include "support/PixelBuffer.h"
#include "viewer/render/EyeDomeLighting.h"
#include "viewer/render/PointCloud.h"

#include <osg/ClipNode>
#include <osg/Geometry>
#include <osg/Point>
#include <osg/Viewport>
#include <osgViewer/Viewer>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using QuorBenchmarks::Variant;
using QuorViewer::PointChunk;

constexpr int kWidth = 1280;
constexpr int kHeight = 720;
constexpr float kPointSizePixels = 2.0f;

struct Finish : osg::Camera::DrawCallback {
  using osg::Camera::DrawCallback::operator();
  void operator()(osg::RenderInfo&) const override { glFinish(); }
};

/// Shows all of the box. A frame then returns once the picture is complete.
void aim(osgViewer::Viewer& viewer, const osg::BoundingBox& box) {
  const osg::Vec3d centre = box.center();
  const double radius = box.radius();
  osg::Camera& camera = *viewer.getCamera();
  camera.setViewport(0, 0, kWidth, kHeight);
  camera.setProjectionMatrixAsPerspective(40.0, double{kWidth} / kHeight, 1.0, 10.0 * radius);
  camera.setViewMatrixAsLookAt(centre + osg::Vec3d(0.0, -1.2, 0.8) * radius, centre, osg::Vec3d(0.0, 0.0, 1.0));
  camera.setCullingMode(camera.getCullingMode() & ~osg::CullSettings::SMALL_FEATURE_CULLING);
  camera.setFinalDrawCallback(new Finish);
}

/// The cloud as the viewer draws it, in its clip box and with eye-dome lighting.
class CloudScene {
 public:
  explicit CloudScene(const std::vector<PointChunk>& chunks) {
    for (const PointChunk& chunk : chunks) {
      _cloud.add(1, chunk);
    }
    _cloud.setColourMode(QuorViewer::ColourMode::Rgb);
    _cloud.setPointSizePixels(kPointSizePixels);
    _clip->addChild(_cloud.node());
    _node->addChild(_clip);
    _node->addChild(_lighting.node());
  }

  osg::Group* node() { return _node; }
  osg::BoundingBox bounds() const { return _cloud.bounds(); }

  /// The clip planes surround all points, so that the same ones are drawn.
  void show(bool lit, bool clipped) {
    _lighting.setOn(lit);
    _clip->getClipPlaneList().clear();
    if (clipped) {
      _clip->createClipBox(bounds());
    }
    _clip->setLocalStateSetModes(clipped ? osg::StateAttribute::ON : osg::StateAttribute::OFF);
  }

 private:
  QuorViewer::PointCloud _cloud;
  QuorViewer::EyeDomeLighting _lighting;
  osg::ref_ptr<osg::ClipNode> _clip = new osg::ClipNode;
  osg::ref_ptr<osg::Group> _node = new osg::Group;
};

/// The points as OpenSceneGraph draws them without a shader.
osg::ref_ptr<osg::Group> barePoints(const std::vector<PointChunk>& chunks) {
  osg::ref_ptr<osg::Group> group = new osg::Group;
  for (const PointChunk& chunk : chunks) {
    osg::ref_ptr<osg::Geometry> geometry = new osg::Geometry;
    geometry->setUseDisplayList(false);
    geometry->setUseVertexBufferObjects(true);
    geometry->setVertexArray(chunk.positions);
    chunk.colours->setNormalize(true);
    geometry->setColorArray(chunk.colours, osg::Array::BIND_PER_VERTEX);
    geometry->addPrimitiveSet(new osg::DrawArrays(GL_POINTS, 0, static_cast<int>(chunk.positions->size())));
    group->addChild(geometry);
  }
  group->getOrCreateStateSet()->setAttribute(new osg::Point(kPointSizePixels));
  group->getOrCreateStateSet()->setMode(GL_LIGHTING, osg::StateAttribute::OFF);
  return group;
}

std::vector<PointChunk> chunksOf(std::uint64_t points) {
  std::vector<PointChunk> chunks;
  const auto take = [&chunks](PointChunk chunk) { chunks.push_back(std::move(chunk)); };
  QuorBenchmarks::decodeScan(QuorBenchmarks::lasScan(points), 1, take);
  return chunks;
}

osg::ref_ptr<osgViewer::Viewer> offscreenViewer() {
  osg::ref_ptr<osgViewer::Viewer> viewer = new osgViewer::Viewer;
  viewer->getCamera()->setGraphicsContext(QuorTests::pixelBuffer(kWidth, kHeight));
  viewer->setThreadingModel(osgViewer::Viewer::SingleThreaded);
  return viewer;
}

/// The scene in a frame with the five attachments, and in one with colour and depth alone.
class Views {
 public:
  explicit Views(std::uint64_t points)
      : _captured(kWidth, kHeight),
        _plain(offscreenViewer()),
        _withAttributes(chunksOf(points)),
        _withoutAttributes(chunksOf(points)),
        _bare(barePoints(chunksOf(points))) {}

  /// False if there is no context.
  bool start() {
    if (!_captured.valid() || !_plain->getCamera()->getGraphicsContext()) {
      return false;
    }
    _captured.camera().setPostDrawCallback(nullptr);  // reads nothing
    _captured.scene().addChild(_withAttributes.node());
    osg::ref_ptr<osg::Group> root = new osg::Group;
    root->addChild(_withoutAttributes.node());
    root->addChild(_bare);
    _plain->setSceneData(root);
    aim(_captured.viewer(), _withAttributes.bounds());
    aim(*_plain, _withAttributes.bounds());
    _plain->realize();
    return true;
  }

  Variant withAttributes(const std::string& name, bool lit, bool clipped) {
    return _variant(name, _captured.viewer(), [this, lit, clipped] { _withAttributes.show(lit, clipped); });
  }

  Variant withoutAttributes(const std::string& name, bool lit, bool clipped) {
    return _variant(name, *_plain, [this, lit, clipped] {
      _withoutAttributes.node()->setNodeMask(~0U);
      _bare->setNodeMask(0U);
      _withoutAttributes.show(lit, clipped);
    });
  }

  Variant bare(const std::string& name) {
    return _variant(name, *_plain, [this] {
      _withoutAttributes.node()->setNodeMask(0U);
      _bare->setNodeMask(~0U);
    });
  }

 private:
  static Variant _variant(const std::string& name, osgViewer::Viewer& viewer, const std::function<void()>& show) {
    const auto prepare = [show, &viewer] {
      show();
      viewer.frame();  // sends what has changed to the driver
    };
    return {name, [&viewer] { viewer.frame(); }, prepare};
  }

  QuorTests::CaptureContext _captured;
  osg::ref_ptr<osgViewer::Viewer> _plain;
  CloudScene _withAttributes;
  CloudScene _withoutAttributes;
  osg::ref_ptr<osg::Group> _bare;
};

void frame(benchmark::State& state) {
  try {
    Views views(static_cast<std::uint64_t>(state.range(0)));
    if (!views.start()) {
      return state.SkipWithError("there is no OpenGL context");
    }
    QuorBenchmarks::compare(state, views.withAttributes("all features", true, true),
                            {views.withAttributes("without eye-dome lighting", false, true),
                             views.withAttributes("without clipping", true, false),
                             views.withoutAttributes("without attributes", true, true),
                             views.withoutAttributes("without all three", false, false), views.bare("bare points")});
  } catch (const std::exception& error) {
    state.SkipWithError(error.what());
  }
}

BENCHMARK(frame)->Arg(200000)->Arg(1000000)->ArgName("points")->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace

const QuorBenchmarks::Program QuorBenchmarks::program = {
    "Shaders of the viewer",
    "One frame of 1280 × 720 with all points in view, 2 pixels wide, drawn by Mesa's software renderer and not read "
    "back. A ratio is the cost of a feature: all features / the same without it. Clip planes surround all points. "
    "Attributes are the four attachments beside the colour. Bare points are square, and are drawn without a shader of "
    "ours."};
