#include <QuorOsgUtils/SManipulatorBase.h>

#include <osg/CopyOp>
#include <osg/Matrixd>

namespace QuorOsgUtils {

namespace {

constexpr int kInteractionFlags =
    osgGA::StandardManipulator::UPDATE_MODEL_SIZE | osgGA::StandardManipulator::PROCESS_MOUSE_WHEEL;

/// 30 degrees. The truncated π is fixed by the interface.
constexpr double kDefaultFovRadians = 3.1415926 / 6.0;

}  // namespace

SManipulatorBase::SManipulatorBase() : osgGA::OrbitManipulator(kInteractionFlags) {}

SManipulatorBase::SManipulatorBase(const SManipulatorBase& other)
    // Bases are initialised here, nothing is sliced: NOLINTBEGIN(cppcoreguidelines-slicing)
    : osg::Object(other, osg::CopyOp()),
      osg::Callback(other, osg::CopyOp()),
      osgGA::OrbitManipulator(other, osg::CopyOp()),
      _viewCenter(other._viewCenter) {
  // NOLINTEND(cppcoreguidelines-slicing)
}

SManipulatorBase::~SManipulatorBase() = default;

double SManipulatorBase::getFov() {
  return kDefaultFovRadians;
}

void SManipulatorBase::setPitchQuat(osg::Quat) {}

void SManipulatorBase::setYawQuat(osg::Quat) {}

void SManipulatorBase::setPitchWithYawQuat(osg::Quat, osg::Quat) {}

osg::Vec3d SManipulatorBase::getViewCenter() {
  return _viewCenter;
}

void SManipulatorBase::setViewCenter(osg::Vec3d center) {
  _viewCenter = center;
}

osg::Vec3d SManipulatorBase::getViewRight() {
  return osg::Matrixd(_rotation).preMult(osg::Vec3d(1.0, 0.0, 0.0));
}

SLidarManipulatorBase::SLidarManipulatorBase() = default;

SLidarManipulatorBase::SLidarManipulatorBase(const SLidarManipulatorBase& other)
    // A virtual base is initialised here, not sliced: NOLINTNEXTLINE(cppcoreguidelines-slicing)
    : osg::Object(other, osg::CopyOp()), osg::Callback(other, osg::CopyOp()), SManipulatorBase(other) {}

SLidarManipulatorBase::SLidarManipulatorBase(SLidarManipulatorBase&& other)
    // NOLINTNEXTLINE(performance-move-constructor-init)
    : SLidarManipulatorBase(static_cast<const SLidarManipulatorBase&>(other)) {}

SLidarManipulatorBase::~SLidarManipulatorBase() = default;

}  // namespace QuorOsgUtils
