#pragma once

#include <QuorOsgUtils/GCTool.h>

#include <osg/GraphicsContext>
#include <osg/ref_ptr>

#include <array>
#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace QuorTests {

/// The six answers, in the order of the getters.
using Six = std::array<std::string, 6>;

// If the functions come from a DLL, these are unknown before the program is loaded.
inline const std::array<const char* (*)(), 6> kGetters = {
    QuorOsgUtils::GCTool::getGPUVendor,        QuorOsgUtils::GCTool::getGPURender,
    QuorOsgUtils::GCTool::getGLSLVersion,      QuorOsgUtils::GCTool::getGPUExt,
    QuorOsgUtils::GCTool::getVertexMaxUniform, QuorOsgUtils::GCTool::getFragmentMaxUniform};

inline Six answers() {
  Six six;
  for (std::size_t i = 0; i < six.size(); ++i) {
    six[i] = kGetters[i]();
  }
  return six;
}

/// Replaces the system's windowing interface for the rest of the process and records the traits of requested contexts.
/// Creates them with the given function or, without one, with the system's own interface.
class RecordedWindowing : public osg::GraphicsContext::WindowingSystemInterface {
 public:
  using Traits = osg::GraphicsContext::Traits;
  using Screen = osg::GraphicsContext::ScreenIdentifier;
  using Create = std::function<osg::GraphicsContext*(Traits*)>;

  static osg::ref_ptr<RecordedWindowing> install(Create create = {}) {
    auto& interfaces = osg::GraphicsContext::getWindowingSystemInterfaces()->getInterfaces();
    if (interfaces.empty()) {
      return nullptr;
    }
    osg::ref_ptr<RecordedWindowing> recorded = new RecordedWindowing(interfaces.front(), std::move(create));
    interfaces.insert(interfaces.begin(), recorded);
    return recorded;
  }

  const std::vector<osg::ref_ptr<Traits>>& asked() const { return _asked; }

  osg::GraphicsContext* createGraphicsContext(Traits* traits) override {
    _asked.emplace_back(traits);
    return _create ? _create(traits) : _system->createGraphicsContext(traits);
  }

  unsigned int getNumScreens(const Screen& screen) override { return _system->getNumScreens(screen); }
  void getScreenSettings(const Screen& screen, osg::GraphicsContext::ScreenSettings& settings) override {
    _system->getScreenSettings(screen, settings);
  }
  void enumerateScreenSettings(const Screen& screen, osg::GraphicsContext::ScreenSettingsList& list) override {
    _system->enumerateScreenSettings(screen, list);
  }

 private:
  RecordedWindowing(WindowingSystemInterface* system, Create create) : _system(system), _create(std::move(create)) {}

  osg::ref_ptr<WindowingSystemInterface> _system;
  Create _create;
  std::vector<osg::ref_ptr<Traits>> _asked;
};

}  // namespace QuorTests
