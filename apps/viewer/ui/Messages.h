#pragma once

#include "viewer/ui/Hud.h"

#include <string>

namespace QuorViewer {

/// What the viewer tells the user: on the status bar, on the terminal, and always in the log as well. Texts in the
/// user's encoding, as the names of files in them are. One thread.
class Messages {
 public:
  /// `hud` outlives the messages.
  explicit Messages(Hud& hud) : _hud(hud) {}

  /// On the status bar.
  void show(const std::string& message);
  /// On the status bar for a moment; the next follows soon.
  void showProgress(const std::string& message);
  /// On the standard output.
  void say(const std::string& line);
  /// On the standard output, up to once a frame: for programs that follow the viewer.
  void report(const std::string& line);
  /// Nowhere but in the log.
  void note(const std::string& line);
  /// On the standard error stream and on the status bar.
  void complain(const std::string& error);

 private:
  Hud& _hud;
};

/// On the standard error stream and in the log: where there is no window, or where the status bar says more.
void complainOnTerminal(const std::string& error);

/// From now on what the engine itself has to say on the terminal is in the log, too. Any thread may cause it.
void logEngineNotices();

}  // namespace QuorViewer
