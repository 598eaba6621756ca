#pragma once

#include "viewer/ui/Hud.h"

#include <string>

namespace QuorViewer {

/// Messages to the user: on the status bar, on the terminal, and always in the log as well. Texts are in the user's
/// encoding, like the file names in them. One thread.
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
  /// On the standard output, up to once per frame: for programs that follow the viewer.
  void printState(const std::string& line);
  /// Only in the log.
  void log(const std::string& line);
  /// On the standard error stream and on the status bar.
  void reportError(const std::string& error);

 private:
  Hud& _hud;
};

/// On the standard error stream and in the log: for use without a window, or if the status bar shows more.
void printError(const std::string& error);

/// From now on OSG's own notices on the terminal are also written to the log. Any thread may cause them.
void logEngineNotices();

}  // namespace QuorViewer
