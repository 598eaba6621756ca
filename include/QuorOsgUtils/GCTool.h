#pragma once

#include <QuorOsgUtils/Export.h>

namespace QuorOsgUtils {

/// Tells what the graphics card and its driver are and can do, before the host has any window.
///
///     std::printf("%s on %s\n", GCTool::getGPURender(), GCTool::getGPUVendor());
///
/// The first call, whichever it is, asks all six questions at once in an off-screen context of its own and closes that
/// context; all later calls answer from memory, also when the driver has changed since.
///
/// The answers are texts that live as long as the process; never null. All are empty where no off-screen context is to
/// be had, and that is not tried again. A single text that the driver refuses is empty, too, and a limit that it does
/// not know is "0".
///
/// Threads: let the first call return before other threads ask; after it they may ask at any time.
/// GL: the first call takes away the thread's current context. Make one that is still needed current again afterwards.
/// Memory: that context is closed while it is current, and a driver may keep its 4096 × 4096 pixels (64 MiB) to the end
/// of the process; the software driver does.
/// Errors: nothing is written here; what the scene graph has to say goes to its own notifier.
class QUOR_OSG_UTILS_EXPORT GCTool {
 public:
  GCTool() = delete;

  static const char* getGPUVendor();
  static const char* getGPURender();
  static const char* getGLSLVersion();

  /// All extensions, separated by blanks, as an old-style context lists them.
  static const char* getGPUExt();

  /// The uniform components that a vertex and a fragment shader may have, as decimal numbers: a `vec4` counts four.
  static const char* getVertexMaxUniform();
  static const char* getFragmentMaxUniform();
};

}  // namespace QuorOsgUtils
