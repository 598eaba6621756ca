#include "support/ExposedBoxCutter.h"

#include <array>
#include <vector>

namespace {

using namespace QuorTests;

/// What the colour setters write, for each handle.
class BoxCutterColorsTest : public ExposedBoxTest {
 protected:
  using Setter = void (QuorOsgUtils::BoxCutterDragger::*)(osg::Vec4f);
  // If they come from a DLL, their addresses are known only at run time.
  const std::array<Setter, 3> kAxisSetters = {&QuorOsgUtils::BoxCutterDragger::setXColor,
                                              &QuorOsgUtils::BoxCutterDragger::setYColor,
                                              &QuorOsgUtils::BoxCutterDragger::setZColor};

  void expectAxisColor(std::size_t number, const osg::Vec4f& color) const {
    EXPECT_EQ(_cutter->_faces[2 * number].cone->getColor(), color);
    EXPECT_EQ(_cutter->_faces[2 * number + 1].cone->getColor(), color);
    EXPECT_EQ(_cutter->_axes[number].head->getColor(), color);
    expectOverallColor(*_cutter->_axes[number].shaft, color);
    expectOverallColor(*_cutter->_rings[number].ring, color);
    const std::array<osg::Vec4f, 3> stored = {_cutter->_xColor, _cutter->_yColor, _cutter->_zColor};
    EXPECT_EQ(stored[number], color);
  }

  void expectBoxColor(const osg::Vec4f& color) const {
    EXPECT_EQ(_cutter->_boxColor, color);
    expectOverallColor(*_cutter->_topOutline, color);
    expectOverallColor(*_cutter->_bottomOutline, color);
    expectOverallColor(*_cutter->_verticalEdges, color);
  }

  void expectPickVolumesAsBuilt() {
    for (unsigned int i = 0; i < 3; ++i) {
      EXPECT_EQ(dynamic_cast<osg::ShapeDrawable&>(*axis(i).getDrawable(1)).getColor(),
                osg::Vec4f(1.0f, 1.0f, 1.0f, 1.0f));
      EXPECT_EQ(dynamic_cast<osg::ShapeDrawable&>(*ring(i).getDrawable(0)).getColor(), kAxisColors[i]);
      EXPECT_EQ(ring(i).getDrawable(1)->asGeometry()->getColorArray(), nullptr);
      EXPECT_EQ(ring(i).getDrawable(2)->asGeometry()->getColorArray(), nullptr);
    }
  }

  static unsigned int modifications(const osg::Geometry& geometry) {
    return geometry.getColorArray()->getModifiedCount();
  }

  const osg::Vec4f _pink = osg::Vec4f(1.0f, 0.5f, 0.75f, 0.5f);
};

TEST_F(BoxCutterColorsTest, anAxisColourReachesConesHeadShaftAndRingOfItsAxisOnly) {
  for (std::size_t number = 0; number < 3; ++number) {
    ((*_cutter).*kAxisSetters[number])(_pink);
    for (std::size_t other = 0; other < 3; ++other) {
      expectAxisColor(other, other == number ? _pink : kAxisColors[other]);
    }
    expectBoxColor(kOutlineColor);
    expectPickVolumesAsBuilt();
    ((*_cutter).*kAxisSetters[number])(kAxisColors[number]);
  }
}

TEST_F(BoxCutterColorsTest, theBoxColourReachesTheOutlineOnly) {
  _cutter->setBoxColor(_pink);
  expectBoxColor(_pink);
  for (std::size_t number = 0; number < 3; ++number) {
    expectAxisColor(number, kAxisColors[number]);
  }
  expectOverallColor(disc(), kDiscColor);
  expectPickVolumesAsBuilt();
}

TEST_F(BoxCutterColorsTest, everyColourArrayThatIsWrittenIsMarkedDirty) {
  const std::vector<osg::Geometry*> geometries = {
      _cutter->_topOutline,    _cutter->_bottomOutline, _cutter->_verticalEdges,
      _cutter->_axes[0].shaft, _cutter->_axes[1].shaft, _cutter->_axes[2].shaft,
      _cutter->_rings[0].ring, _cutter->_rings[1].ring, _cutter->_rings[2].ring};
  std::vector<unsigned int> before;
  for (const osg::Geometry* geometry : geometries) {
    before.push_back(modifications(*geometry));
  }
  _cutter->setBoxColor(_pink);
  for (const Setter setter : kAxisSetters) {
    ((*_cutter).*setter)(_pink);
  }
  for (std::size_t i = 0; i < geometries.size(); ++i) {
    EXPECT_GT(modifications(*geometries[i]), before[i]) << i;
  }
}

TEST_F(BoxCutterColorsTest, colouringKeepsTheArrays) {
  const osg::Array* const outline = _cutter->_topOutline->getColorArray();
  const osg::Array* const shaft = _cutter->_axes[0].shaft->getColorArray();
  _cutter->setBoxColor(_pink);
  _cutter->setXColor(_pink);
  EXPECT_EQ(_cutter->_topOutline->getColorArray(), outline);
  EXPECT_EQ(_cutter->_axes[0].shaft->getColorArray(), shaft);
}

}  // namespace
