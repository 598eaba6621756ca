#pragma once

#include <QuorOsgUtils/Export.h>

namespace QuorOsgUtils {

/// Queries names, extensions and limits of the GPU and its driver, even before the application has a window.
///
///     std::printf("%s on %s\n", GCTool::getGPURender(), GCTool::getGPUVendor());
///
/// The first call of any function makes all six queries in an off-screen context of its own and closes that context.
/// All later calls return the stored results, even if the driver has changed since.
///
/// The results are strings that stay valid until the process ends; they are never null. If no off-screen context can be
/// created, all are empty; this is not tried again. A string that the driver does not provide is empty, and a limit
/// that it does not know is "0".
///
/// Threads: the first call must return before other threads call; after that, any thread may call at any time.
/// GL: after the first call the thread's previous context is no longer current. Make it current again if you need it.
/// Memory: the off-screen context is closed while it is current. A driver may keep its 4096 × 4096 pixels (64 MiB)
/// until the process ends; the software driver does.
/// Errors: none are reported here; OSG's own messages go to its notifier.
class QUOR_OSG_UTILS_EXPORT GCTool {
 public:
  GCTool() = delete;

  /// The name of the vendor: `GL_VENDOR`.
  static const char* getGPUVendor();
  /// The name of the GPU, or of a software renderer: `GL_RENDERER`.
  static const char* getGPURender();
  /// The version of the shading language: `GL_SHADING_LANGUAGE_VERSION`.
  static const char* getGLSLVersion();

  /// All extensions, separated by spaces, as `glGetString(GL_EXTENSIONS)` returns them.
  static const char* getGPUExt();

  /// The maximum number of uniform components in a vertex shader, in decimal: a `vec4` counts four.
  static const char* getVertexMaxUniform();
  /// The same for a fragment shader.
  static const char* getFragmentMaxUniform();
};

}  // namespace QuorOsgUtils
