#pragma once

#include "viewer/ui/Hud.h"

#include <string>

namespace QuorViewer {

/// Messages to the user: on the status bar, on the terminal, and always in the log as well. Texts are in the user's
/// encoding, like the file names in them. Use it on one thread.
class Messages {
 public:
  /// `hud` outlives the messages.
  explicit Messages(Hud& hud) : _hud(hud) {}

  /// On the status bar.
  void show(const std::string& message);
  /// On the status bar, for progress that is soon replaced.
  void showProgress(const std::string& message);
  /// On the standard output.
  void print(const std::string& line);
  /// On the standard output, up to once per frame, for scripts and tests that read the viewer's output.
  void printState(const std::string& line);
  /// Only in the log.
  void log(const std::string& line);
  /// On the standard error stream and on the status bar.
  void reportError(const std::string& error);

 private:
  Hud& _hud;
};

/// On the standard error stream and in the log only, for use without a window or when the status bar shows other text.
void printError(const std::string& error);

/// Installs a notify handler that also writes OSG's own messages to the log, from any thread.
void logEngineNotices();

}  // namespace QuorViewer
