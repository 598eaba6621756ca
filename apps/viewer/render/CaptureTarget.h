#pragma once

#include <QuorOsgUtils/CapturedCamera.h>

#include <osg/Camera>

namespace QuorViewer {

/// The window's captured camera, whose GL errors are counted. The clouds write the attachments:
///
/// | 1 | unsigned: scan (0: background), low and high 32 bits of the point's index, 1                   |
/// | 2 | float: x, y, z relative to the local origin, 1                                                 |
/// | 3 | float: intensity, 0, 0, 1                                                                      |
/// | 4 | signed: low 32 bits of the index, class, return number, number of returns                      |
///
/// Expects one draw thread. The camera keeps what it needs; the target may be destroyed before it.
class CaptureTarget {
 public:
  /// See `CapturedCamera` for what it replaces.
  explicit CaptureTarget(osg::Camera& camera);
  CaptureTarget(const CaptureTarget&) = delete;
  CaptureTarget& operator=(const CaptureTarget&) = delete;
  ~CaptureTarget();

  QuorOsgUtils::SnapshotCaptureTool& tool() { return _captured.tool(); }
  /// Number of errors that GL has reported in the frames drawn so far.
  unsigned int glErrorCount() const;

 private:
  class CountErrors;

  QuorOsgUtils::CapturedCamera _captured;
  osg::ref_ptr<CountErrors> _errors;
};

}  // namespace QuorViewer
