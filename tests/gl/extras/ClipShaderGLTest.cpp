#include "support/CaptureContext.h"

#include <QuorOsgUtils/ClipShader.h>

#include <osg/ClipNode>
#include <osg/Geometry>
#include <osg/MatrixTransform>
#include <osg/Point>
#include <osg/Program>

#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <utility>
#include <vector>

namespace QuorTests {
namespace {

using QuorOsgUtils::ClipBoxControl;
using QuorOsgUtils::ClipShader;
using Keep = ClipShader::Keep;

constexpr int kImageSize = 400;
constexpr int kColumns = 20;
constexpr int kRows = 20;

constexpr const char* kCloudVertexShader = R"(#version 330 compatibility
void clipCloud(vec4 eyePosition);
flat out uint number;
void main() {
  clipCloud(gl_ModelViewMatrix * gl_Vertex);
  number = uint(gl_VertexID) + 1u;
  gl_Position = gl_ModelViewProjectionMatrix * gl_Vertex;
}
)";
constexpr const char* kCloudFragmentShader = R"(#version 330 compatibility
flat in uint number;
layout(location = 0) out vec4 colour;
layout(location = 1) out uvec4 item;
layout(location = 2) out vec4 itemFloat;
layout(location = 3) out vec4 pointFloat;
layout(location = 4) out ivec4 point;
void main() {
  colour = itemFloat = pointFloat = vec4(1.0);
  item = uvec4(number);
  point = ivec4(0);
}
)";

/// A grid of points in the plane y = 0, one unit apart, whose middle is the origin.
osg::Vec3d placeOf(int point) {
  return {point % kColumns - 9.5, 0.0, point / kColumns - 9.5};
}

/// The rule of the class, by the test's own arithmetic: the axes of each box, and the signed distances along them.
struct OracleBox {
  osg::Vec3d centre, half;
  double degrees;  // about Y
  bool keepsInside;

  bool contains(const osg::Vec3d& point) const {
    const double radians = degrees * std::acos(-1.0) / 180.0;
    const osg::Vec3d x(std::cos(radians), 0.0, -std::sin(radians));
    const osg::Vec3d z(std::sin(radians), 0.0, std::cos(radians));
    const osg::Vec3d from = point - centre;
    return std::abs(from * x) < half.x() && std::abs(from.y()) < half.y() && std::abs(from * z) < half.z();
  }
  ClipShader::Box box() const {
    return {osg::BoundingBoxd(centre - half, centre + half),
            osg::Quat(osg::DegreesToRadians(degrees), osg::Vec3d(0.0, 1.0, 0.0)),
            keepsInside ? Keep::Inside : Keep::Outside};
  }
};

bool isKept(const std::vector<OracleBox>& boxes, const osg::Vec3d& point) {
  bool any = false;
  bool inside = false;
  for (const OracleBox& box : boxes) {
    if (!box.keepsInside && box.contains(point)) {
      return false;
    }
    any = any || box.keepsInside;
    inside = inside || (box.keepsInside && box.contains(point));
  }
  return inside || !any;
}

class ClipShaderGLTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(_context.valid()) << "no off-screen context; is there a display?";
    _context.setBackground({});
    osg::Camera& camera = _context.camera();
    camera.setComputeNearFarMode(osg::CullSettings::DO_NOT_COMPUTE_NEAR_FAR);
    camera.setProjectionMatrixAsOrtho(-10.0, 10.0, -10.0, 10.0, 1.0, 100.0);
    _program->addShader(new osg::Shader(osg::Shader::VERTEX, kCloudVertexShader));
    _program->addShader(new osg::Shader(osg::Shader::FRAGMENT, kCloudFragmentShader));
    osg::StateSet& state = *_cloud->getOrCreateStateSet();
    state.setAttribute(_program);
    state.setAttribute(new osg::Point(3.0f));
    const osg::ref_ptr<osg::Vec3Array> places = new osg::Vec3Array;
    for (int point = 0; point < kColumns * kRows; ++point) {
      places->push_back(osg::Vec3f(placeOf(point)));
    }
    _cloud->setVertexArray(places);
    _cloud->addPrimitiveSet(new osg::DrawArrays(GL_POINTS, 0, kColumns * kRows));
    _cloud->setUseDisplayList(false);
    _cloud->setUseVertexBufferObjects(true);
    lookAt({});
  }

  void lookAt(const osg::Vec3d& place) {
    _context.camera().setViewMatrixAsLookAt(place - osg::Vec3d(0.0, 30.0, 0.0), place, {0.0, 0.0, 1.0});
  }
  void addCutCloud(osg::Group& to) {
    _program->addShader(ClipShader::createShader());
    _group->addCullCallback(_clip);
    _group->addChild(_cloud);
    to.addChild(_group);
  }

  /// The numbers of the points that are visible.
  std::set<int> drawn() {
    _context.draw();
    _context.draw();
    std::set<int> points;
    const std::vector<unsigned int>& items = _context.frame().getItemIDBuffer();
    for (std::size_t pixel = 0; pixel < items.size(); pixel += 4) {
      if (items[pixel] != 0) {
        points.insert(static_cast<int>(items[pixel]) - 1);
      }
    }
    return points;
  }
  static std::set<int> expected(const std::vector<OracleBox>& boxes) {
    std::set<int> points;
    for (int point = 0; point < kColumns * kRows; ++point) {
      if (isKept(boxes, placeOf(point))) {
        points.insert(point);
      }
    }
    return points;
  }
  void setBoxes(const std::vector<OracleBox>& boxes) {
    std::vector<ClipShader::Box> set;
    for (const OracleBox& box : boxes) {
      set.push_back(box.box());
    }
    ASSERT_TRUE(_clip->setBoxes(set));
  }

  CaptureContext _context{kImageSize, kImageSize};
  osg::ref_ptr<osg::Program> _program = new osg::Program;
  osg::ref_ptr<osg::Geometry> _cloud = new osg::Geometry;
  osg::ref_ptr<osg::Group> _group = new osg::Group;
  osg::ref_ptr<ClipShader> _clip = new ClipShader;
};

const OracleBox kLeft{{-4.0, 0.0, 0.0}, {4.2, 1.0, 6.2}, 0.0, true};
const OracleBox kTilted{{3.0, 0.0, 2.0}, {5.0, 1.0, 2.4}, 30.0, true};
const OracleBox kHole{{0.0, 0.0, 1.0}, {2.2, 2.0, 2.2}, 20.0, false};
const OracleBox kCorner{{9.0, 0.0, 9.0}, {3.1, 1.0, 3.1}, 0.0, false};

}  // namespace

TEST_F(ClipShaderGLTest, boxesKeepTheirInsideOrTheirOutsideAloneAndTogether) {
  addCutCloud(_context.scene());
  const std::vector<std::vector<OracleBox>> sets = {
      {}, {kLeft}, {kTilted}, {kHole}, {kLeft, kTilted}, {kHole, kCorner}, {kHole, kLeft, kTilted, kCorner}};
  std::set<std::size_t> counts;
  for (const std::vector<OracleBox>& boxes : sets) {
    SCOPED_TRACE(boxes.size());
    setBoxes(boxes);
    const std::set<int> points = expected(boxes);
    EXPECT_EQ(drawn(), points);
    counts.insert(points.size());
    for (int point = 0; point < kColumns * kRows; ++point) {
      EXPECT_EQ(_clip->keeps(placeOf(point)), points.count(point) > 0) << point;
    }
  }
  EXPECT_EQ(counts.size(), sets.size()) << "two sets of boxes keep the same number of points";
}

TEST_F(ClipShaderGLTest, boxesFarFromTheOriginCutExactly) {
  const osg::Vec3d middle(432100.3, 5123400.7, 100.1);
  const osg::ref_ptr<osg::MatrixTransform> place = new osg::MatrixTransform(osg::Matrixd::translate(middle));
  const osg::ref_ptr<osg::Group> inWorld = new osg::Group;
  inWorld->addChild(place);
  _program->addShader(ClipShader::createShader());
  place->addChild(_cloud);
  inWorld->addCullCallback(_clip);  // so the boxes are in world coordinates
  _context.scene().addChild(inWorld);
  lookAt(middle);
  const std::vector<OracleBox> boxes = {kLeft, kTilted, kHole};
  std::vector<OracleBox> moved = boxes;
  for (OracleBox& box : moved) {
    box.centre += middle;
  }
  setBoxes(moved);
  EXPECT_EQ(drawn(), expected(boxes));
}

TEST_F(ClipShaderGLTest, aChangeOfTheBoxesTakesEffectInTheNextFrame) {
  addCutCloud(_context.scene());
  setBoxes({kLeft});
  EXPECT_EQ(drawn(), expected({kLeft}));
  setBoxes({kHole});
  _context.draw();
  EXPECT_EQ(drawn(), expected({kHole}));
  setBoxes({});
  EXPECT_EQ(drawn().size(), static_cast<std::size_t>(kColumns * kRows));
}

TEST_F(ClipShaderGLTest, thePlanesShaderCutsByTheBoxOfAControl) {
  _program->addShader(ClipShader::createPlanesShader());
  const osg::ref_ptr<osg::ClipNode> clipNode = new osg::ClipNode;
  clipNode->addChild(_cloud);
  _context.scene().addChild(clipNode);
  const ClipShader::Box box = kTilted.box();
  const osg::ref_ptr<ClipBoxControl> control = new ClipBoxControl(box.box, clipNode);
  ASSERT_TRUE(control->setBox(box.box, box.rotation));
  EXPECT_EQ(drawn(), expected({kTilted}));
  control->uncut();
  EXPECT_EQ(drawn().size(), static_cast<std::size_t>(kColumns * kRows));
}

TEST_F(ClipShaderGLTest, tooManyBoxesAreRefused) {
  std::vector<ClipShader::Box> boxes(ClipShader::kMostBoxes, kHole.box());
  EXPECT_TRUE(_clip->setBoxes(boxes));
  boxes.push_back(kLeft.box());
  EXPECT_FALSE(_clip->setBoxes(boxes));
  EXPECT_EQ(_clip->boxes().size(), ClipShader::kMostBoxes);
}

TEST_F(ClipShaderGLTest, boxesThatAControlRefusesAreRefused) {
  ASSERT_TRUE(_clip->setBoxes({kHole.box()}));
  const osg::BoundingBoxd possible(0.0, 0.0, 0.0, 1.0, 1.0, 1.0);
  const std::vector<std::pair<osg::BoundingBoxd, osg::Quat>> impossible = {
      {{0.0, 0.0, 0.0, 1.0, 1.0, 0.0009}, {}},
      {{0.0, 0.0, 0.0, -1.0, 1.0, 1.0}, {}},
      {{0.0, 0.0, 0.0, 1.0, std::nan(""), 1.0}, {}},
      {{0.0, 0.0, 0.0, 1.0, INFINITY, 1.0}, {}},
      {{}, {}},
      {possible, {0.0, 0.0, 0.0, 0.0}},
      {possible, {0.0, 0.0, 0.0, 1e-160}}};
  for (const auto& [box, rotation] : impossible) {
    EXPECT_FALSE(_clip->setBoxes({kLeft.box(), {box, rotation, Keep::Inside}}));
    EXPECT_EQ(_clip->boxes().size(), 1U);
  }
}

TEST_F(ClipShaderGLTest, theBoxOfAStateIsThatOfTheControl) {
  QuorOsgUtils::ClipBoxState state;
  state.box = kTilted.box().box;
  state.rotation = kTilted.box().rotation;
  const ClipShader::Box box = ClipShader::boxOf(state, Keep::Outside);
  EXPECT_EQ(box.box._min, state.box._min);
  EXPECT_EQ(box.rotation, state.rotation);
  EXPECT_EQ(box.keep, Keep::Outside);
}

}  // namespace QuorTests
