#pragma once

#include <QuorOsgUtils/PreciseNavigation.h>

#include <osg/CopyOp>
#include <osgGA/GUIActionAdapter>
#include <osgGA/GUIEventAdapter>
#include <osgViewer/Viewer>

namespace QuorOsgUtils {

/// The common base of `PreciseOrbitManipulator` and `PrecisePivotManipulator`: passes the inputs that
/// `PreciseNavigation` handles to that class, and all others to `Base`. Applications use the derived manipulators.
template <typename Base>
class PreciseManipulator : public Base, public PreciseNavigation {
 public:
  /// Pans precisely, or does what the base class does.
  bool handleMouseDrag(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) override {
    return isPan(ea) ? pan(ea, aa) : Base::handleMouseDrag(ea, aa);
  }

  /// Ends a pan, then does what the base class does.
  bool handleMouseRelease(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) override {
    letGo(ea, aa);
    return Base::handleMouseRelease(ea, aa);
  }

  /// Zooms, or changes the field of view of a station.
  bool handleMouseWheel(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) override { return zoom(ea, aa); }

  /// Looks around with a level horizon.
  bool performStationMovementRightMouseButton(double /*eventTimeDelta*/, double /*dx*/, double /*dy*/) override {
    osgViewer::Viewer* const viewer = this->_osgViewer.get();
    return lookAround(turnOf(this->_ga_t1.get(), this->_ga_t0.get()), viewer ? viewer->getCamera() : nullptr);
  }

 protected:
  /// Observes the viewer, which may be null. Sets the wheel zoom factor to 20 percent.
  explicit PreciseManipulator(osgViewer::Viewer* viewer) : Base(viewer) {
    constexpr double kZoomPercent = 20.0;
    this->setWheelZoomFactor(kZoomPercent);
  }

  /// Memberwise, as the base class copies.
  PreciseManipulator(const PreciseManipulator& other)
      // A virtual base is initialised here, not sliced: NOLINTNEXTLINE(cppcoreguidelines-slicing)
      : osg::Object(other, osg::CopyOp()), osg::Callback(other, osg::CopyOp()), Base(other), PreciseNavigation(other) {}

  /// This manipulator.
  PointCloudNavigation& navigation() override { return *this; }
};

}  // namespace QuorOsgUtils
