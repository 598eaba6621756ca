#include "viewer/render/CaptureTarget.h"

namespace QuorViewer {

// After the draw, the capture and the copy to the window.
class CaptureTarget::CountErrors : public osg::Camera::DrawCallback {
 public:
  void operator()(osg::RenderInfo& /*renderInfo*/) const override {
    while (glGetError() != GL_NO_ERROR) {
      ++_count;
    }
  }

  unsigned int count() const { return _count; }

 private:
  mutable unsigned int _count = 0;
};

CaptureTarget::CaptureTarget(osg::Camera& camera) : _captured(camera), _errors(new CountErrors) {
  camera.addFinalDrawCallback(_errors);
}

CaptureTarget::~CaptureTarget() = default;

unsigned int CaptureTarget::glErrorCount() const {
  return _errors->count();
}

}  // namespace QuorViewer
