#pragma once

#include "viewer/clip/ClipBox.h"
#include "viewer/measure/Picker.h"
#include "viewer/navigate/ViewControl.h"
#include "viewer/render/Screenshot.h"
#include "viewer/session/ScanSet.h"
#include "viewer/tour/TourRecord.h"

#include <QuorOsgUtils/FrameSnapshot.h>

#include <osg/Vec2f>
#include <osg/Vec2i>
#include <osgViewer/Viewer>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace QuorViewer {

struct TourStep;

/// Runs a scripted tour of the viewer, with the mouse and key events that a user would send to its window. Writes a
/// numbered screenshot of each step and `tour.json`: for each step the camera, the picked point and the depth under the
/// pointer. Expects an open window and loaded scans.
class Tour {
 public:
  struct Dependencies {
    osgViewer::Viewer& viewer;
    const QuorOsgUtils::SnapshotSource& frames;
    Picker& picker;
    const ViewControl& view;
    const ClipBox& clip;
    Screenshot& screenshot;
    const ScanSet& scans;
    std::function<void()> drawFrame;
    std::function<void()> refine;  ///< draws frames until the view shows all that it can show
  };

  explicit Tour(Dependencies dependencies) : _dependencies(std::move(dependencies)) {}

  /// False, with a message on the standard error stream, if the folder or a file in it cannot be written. Closing the
  /// window ends the tour early and still returns true.
  bool run(const std::string& folder);
  unsigned int pictureCount() const { return _pictures; }

 private:
  void _perform(const TourStep& step);
  void _drag(const TourStep& step);
  void _dragHandle(const TourStep& step);
  void _release(int button);
  void _turnWheel(const TourStep& step);
  void _click(const osg::Vec2i& pixel);
  void _movePointer(const osg::Vec2i& pixel);
  bool _takePicture(const std::string& path);
  TourStepRecord _record(const TourStep& step, const std::string& picture);
  std::optional<TourPick> _pickRecord() const;
  float _depthAtPointer();
  osg::Vec2f _fractionOf(const osg::Vec3d& place) const;
  osg::Vec2i _pixelAt(const osg::Vec2f& fraction) const;
  float _windowX() const;
  float _windowY() const;
  osg::Vec2i _windowSize() const;
  osgGA::EventQueue& _events();

  Dependencies _dependencies;
  osg::Vec2i _pointer;   // pixel, from the bottom left
  bool _picked = false;  // by the current step
  unsigned int _pictures = 0;
};

}  // namespace QuorViewer
