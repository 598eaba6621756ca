#include "cutter/DragLineProjector.h"

#include <QuorOsgUtils/BoxCutterDragger.h>

#include <osg/Light>
#include <osg/LightSource>
#include <osgGA/EventVisitor>

#include <initializer_list>

namespace QuorOsgUtils {

namespace {

osg::ref_ptr<osgManipulator::LineProjector> createProjector(const osg::Vec3d& lineEnd) {
  return new osgManipulator::LineProjector(osg::Vec3d(), lineEnd);
}

osg::ref_ptr<osg::LightSource> createLight(const osg::BoundingBoxf& box) {
  const osg::Vec3f center = box.center();
  osg::ref_ptr<osg::Light> light = new osg::Light(0);
  light->setAmbient(osg::Vec4(1.0f, 1.0f, 1.0f, 1.0f));
  light->setDiffuse(osg::Vec4(1.0f, 1.0f, 1.0f, 1.0f));
  light->setPosition(osg::Vec4(center.x(), center.y(), center.z() + box.radius(), 1.0f));
  light->setDirection(osg::Vec3(0.0f, 0.0f, -1.0f));
  light->setConstantAttenuation(1.0f);
  light->setLinearAttenuation(0.0f);
  light->setQuadraticAttenuation(0.0f);
  light->setSpotExponent(0.0f);
  osg::ref_ptr<osg::LightSource> source = new osg::LightSource;
  source->setLight(light);
  return source;
}

// Bits 0, 1 and 2 of the mask are X, Y and Z.
void showInMask(osg::Node& node, int mask, std::size_t axis) {
  const bool shown = (static_cast<unsigned int>(mask) >> axis & 1U) != 0;
  node.setNodeMask(shown ? ~0U : 0U);
}

// By default geometry is drawn from display lists, which do not notice changes of the array.
void setOverallColor(osg::Geometry& geometry, const osg::Vec4f& color) {
  auto& colors = static_cast<osg::Vec4Array&>(*geometry.getColorArray());
  colors[0] = color;
  colors.dirty();
  geometry.dirtyGLObjects();
}

}  // namespace

BoxCutterDragger::BoxCutterDragger(osg::BoundingBoxf box, osg::ref_ptr<osg::ClipNode> clipNode)
    : _xProjector(createProjector(osg::Vec3d(1.0, 0.0, 0.0))),
      _yProjector(createProjector(osg::Vec3d(0.0, 1.0, 0.0))),
      _zProjector(createProjector(osg::Vec3d(0.0, 0.0, 1.0))),
      _lineProjector(new DragLineProjector(osg::Vec3d(), osg::Vec3d(0.0, 0.0, 1.0))),
      _cylinderProjector(new osgManipulator::CylinderPlaneProjector),
      _clipNode(clipNode),
      _box(box),
      _transformCallback(
          new osgManipulator::DraggerTransformCallback(this, osgManipulator::DraggerTransformCallback::HANDLE_ALL)),
      _shiftCommand(new osgManipulator::TranslateInLineCommand),
      _turnCommand(new osgManipulator::Rotate3DCommand) {
  BoxCutterDragger::setupDefaultGeometry();
  setType(CUTTER_SCALE, 0);
  osg::StateSet& state = *getOrCreateStateSet();
  for (const GLenum mode : std::initializer_list<GLenum>{GL_DEPTH_TEST, GL_LIGHTING, GL_RESCALE_NORMAL}) {
    state.setMode(mode, osg::StateAttribute::ON | osg::StateAttribute::PROTECTED);
  }
  state.setMode(GL_BLEND, osg::StateAttribute::ON);
  addChild(createLight(_box));
}

// The base is initialised here, not sliced: NOLINTNEXTLINE(cppcoreguidelines-slicing)
BoxCutterDragger::BoxCutterDragger(const BoxCutterDragger& other) = default;

// As above; and the base can only be copied, which allocates.
// NOLINTNEXTLINE(cppcoreguidelines-slicing,performance-noexcept-move-constructor)
BoxCutterDragger::BoxCutterDragger(BoxCutterDragger&& other) = default;

BoxCutterDragger::~BoxCutterDragger() = default;

void BoxCutterDragger::setType(CutterType type, int axisMask) {
  constexpr int kBeforeTheScene = -100;
  constexpr int kAfterTheScene = 100;
  struct Mode {
    osg::Switch& handles;
    void (BoxCutterDragger::*showAxes)(int mask);
    int renderBin;
  };
  const Mode modes[] = {{*_rotateSwitch, &BoxCutterDragger::switchRotaeAxis, kBeforeTheScene},
                        {*_translateSwitch, &BoxCutterDragger::switchAxis, kAfterTheScene},
                        {*_scaleSwitch, &BoxCutterDragger::switchConeAxis, kAfterTheScene}};
  _type = type;
  if (type < CUTTER_ROTATE || type > CUTTER_SCALE) {
    return;
  }
  const Mode& chosen = modes[type];
  for (const Mode& mode : modes) {
    mode.handles.setValue(0, &mode == &chosen);
  }
  (this->*chosen.showAxes)(axisMask);
  getOrCreateStateSet()->setRenderBinDetails(chosen.renderBin, "RenderBin");
}

void BoxCutterDragger::switchConeAxis(int mask) {
  for (std::size_t face = 0; face < _faces.size(); ++face) {
    showInMask(*_faces[face].transform, mask, face / 2);
  }
}

void BoxCutterDragger::switchAxis(int mask) {
  for (std::size_t axis = 0; axis < _axes.size(); ++axis) {
    showInMask(*_axes[axis].transform, mask, axis);
  }
}

void BoxCutterDragger::switchRotaeAxis(int mask) {
  for (std::size_t axis = 0; axis < _rings.size(); ++axis) {
    showInMask(*_rings[axis].transform, mask, axis);
  }
}

void BoxCutterDragger::setHandleEvents(bool on) {
  if (on == _handleEvents) {
    return;
  }
  _handleEvents = on;
  const unsigned int count = getNumChildrenRequiringEventTraversal();
  if (on) {
    setNumChildrenRequiringEventTraversal(count + 1);
  } else if (count != 0) {
    setNumChildrenRequiringEventTraversal(count - 1);
  }
}

void BoxCutterDragger::traverse(osg::NodeVisitor& visitor) {
  osgGA::EventVisitor* const events = visitor.asEventVisitor();
  if (!_handleEvents || events == nullptr) {
    osg::MatrixTransform::traverse(visitor);
    return;
  }
  osgGA::GUIActionAdapter* const actions = events->getActionAdapter();
  for (const osg::ref_ptr<osgGA::Event>& event : events->getEvents()) {
    osgGA::GUIEventAdapter* const ea = event->asGUIEventAdapter();
    if (ea != nullptr && actions != nullptr && handle(*ea, *actions)) {
      ea->setHandled(true);
    }
  }
}

void BoxCutterDragger::setBoxColor(osg::Vec4f color) {
  _boxColor = color;
  for (osg::Geometry* outline : {_topOutline.get(), _bottomOutline.get(), _verticalEdges.get()}) {
    setOverallColor(*outline, color);
  }
}

void BoxCutterDragger::setXColor(osg::Vec4f color) {
  _xColor = color;
  _setAxisColor(0, color);
}

void BoxCutterDragger::setYColor(osg::Vec4f color) {
  _yColor = color;
  _setAxisColor(1, color);
}

void BoxCutterDragger::setZColor(osg::Vec4f color) {
  _zColor = color;
  _setAxisColor(2, color);
}

void BoxCutterDragger::_setAxisColor(std::size_t axis, const osg::Vec4f& color) {
  _faces[2 * axis].cone->setColor(color);
  _faces[2 * axis + 1].cone->setColor(color);
  _axes[axis].head->setColor(color);
  setOverallColor(*_axes[axis].shaft, color);
  setOverallColor(*_rings[axis].ring, color);
}

}  // namespace QuorOsgUtils
