#pragma once

#include <QuorOsgUtils/Export.h>
#include <QuorOsgUtils/PreciseOrbitManipulator.h>
#include <QuorOsgUtils/PrecisePivotManipulator.h>

#include <osg/ref_ptr>
#include <osgGA/GUIActionAdapter>
#include <osgGA/GUIEventAdapter>
#include <osgViewer/Viewer>

namespace QuorOsgUtils {

/// Lets a manipulator that needs an `osgViewer::Viewer` work on any `osgViewer::View`: while an event is handled, its
/// viewer has the camera and scene of the view. Applications use `ViewManipulator`.
class QUOR_OSG_UTILS_EXPORT ViewAdapter {
 public:
  ViewAdapter();
  ViewAdapter(const ViewAdapter&) = delete;
  ViewAdapter& operator=(const ViewAdapter&) = delete;
  ~ViewAdapter();

  /// For the constructor of a manipulator. It has a camera of its own except during `handle`.
  osgViewer::Viewer* viewer() const;

  /// While it exists, `viewer` has the camera and the scene of the view that sent an event, and passes requests
  /// (redraw, continuous update, pointer warp) on to it.
  class QUOR_OSG_UTILS_EXPORT Following {
   public:
    /// Expects that no other one of the same adapter exists.
    Following(ViewAdapter& adapter, const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa);
    Following(const Following&) = delete;
    Following& operator=(const Following&) = delete;
    ~Following();

    /// A copy of the event whose input range is the camera's viewport, so that drags are measured in its size; the
    /// event itself if there is no viewport. Positions are still those in the window.
    const osgGA::GUIEventAdapter& event() const { return *_event; }
    /// The adapted viewer, or the sender of the event if that is no `osgViewer::View`.
    osgGA::GUIActionAdapter& actions() const { return *_actions; }

   private:
    ViewAdapter& _adapter;
    osg::ref_ptr<const osgGA::GUIEventAdapter> _event;
    osgGA::GUIActionAdapter* _actions;
  };

 private:
  class AdaptedViewer;
  osg::ref_ptr<AdaptedViewer> _viewer;
};

/// A manipulator for a view of an `osgViewer::CompositeViewer`, or for any other `osgViewer::View`, whose viewport may
/// start anywhere in the window. `Base` is `PreciseOrbitManipulator` or `PrecisePivotManipulator`, and everything else
/// is as for these: inputs, options, depth from the capture of the view's camera.
///
///     osg::ref_ptr<osgViewer::View> view = new osgViewer::View;
///     view->getCamera()->setViewport(640, 0, 640, 720);
///     const QuorOsgUtils::CapturedCamera captured(*view->getCamera());
///     view->setCameraManipulator(new QuorOsgUtils::ViewOrbitManipulator);
///     compositeViewer.addView(view);
///
/// A drag of half the width of the view, not of the window, rotates by the rotation speed. Use one manipulator for each
/// view, and one `CapturedCamera` for each camera. A `ScreenCaptureTool` without it works only in a viewport that
/// starts at (0, 0). Threads: the viewer's event thread only. GL: none is used.
template <typename Base>
class ViewManipulator : private ViewAdapter, public Base {
 public:
  /// For any view: it follows the one that sends it events.
  ViewManipulator() : Base(ViewAdapter::viewer()) {}
  ViewManipulator(const ViewManipulator&) = delete;
  ViewManipulator& operator=(const ViewManipulator&) = delete;

  /// Passes the event on to `Base` as one of an `osgViewer::Viewer` that has the camera of the view.
  bool handle(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) override {
    const Following following(*this, ea, aa);
    return Base::handle(following.event(), following.actions());
  }

 protected:
  ~ViewManipulator() override = default;
};

/// `PreciseOrbitManipulator` for any view.
using ViewOrbitManipulator = ViewManipulator<PreciseOrbitManipulator>;
/// `PrecisePivotManipulator` for any view.
using ViewPivotManipulator = ViewManipulator<PrecisePivotManipulator>;

}  // namespace QuorOsgUtils
