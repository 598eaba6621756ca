#pragma once

#include "viewer/ui/Hud.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

namespace QuorViewer {

/// What a standing message is about, the most important first.
enum class Standing { Loading, Saving, Pick, NoScan, Hint };
constexpr std::size_t kStandingCount = 5;

/// Messages to the user: on the status bar, on the terminal, and always in the log as well. Texts are in the user's
/// encoding, like the file names in them. Use it on one thread.
///
/// The status bar shows the latest notice, result or error; if there is none, the most important standing message.
///
/// | message          | disappears                                                      |
/// |------------------|-----------------------------------------------------------------|
/// | notice           | after some seconds, with the next action, or with the next one  |
/// | result, error    | with the next action or the next one                            |
/// | standing         | when it no longer applies: who sets it also removes it          |
///
/// An action is a key with an effect, or a pick.
class Messages {
 public:
  using Clock = std::chrono::steady_clock;
  static constexpr std::chrono::seconds kNoticeDuration{8};

  /// `hud` outlives the messages. `verbose`: each text that the status bar shows, except the progress of
  /// loading and saving, is also printed on
  /// the standard output, as "message …".
  explicit Messages(Hud& hud, bool verbose = false) : _hud(hud), _verbose(verbose) {}

  /// Shows a notice.
  void show(const std::string& message);
  /// Shows a result, which the user may have been waiting for elsewhere.
  void showResult(const std::string& message);
  /// Shows a question, until another message is shown or the next action.
  void ask(const std::string& question);
  /// Whether a question is on the status bar.
  bool isAsking() const { return _asking; }
  /// Whether this notice is still on the status bar.
  bool isShown(const std::string& notice) const { return _passing == notice; }
  /// Sets the standing message on a topic; an empty one removes it.
  void setStanding(Standing topic, const std::string& message);
  void clearStanding(Standing topic) { setStanding(topic, {}); }
  /// The user does something: removes what refers to the time before.
  void beginAction();
  /// Removes a notice whose time is over. True if the status bar changed; draw a frame then.
  bool expire(Clock::time_point now = Clock::now());

  /// On the standard output.
  void print(const std::string& line);
  /// On the standard output, up to once per frame, for scripts and tests that read the viewer's output.
  void printState(const std::string& line);
  /// Only in the log.
  void log(const std::string& line);
  /// On the standard error stream and, as an error, on the status bar.
  void reportError(const std::string& error);

 private:
  void _showPassing(const std::string& message, std::optional<Clock::time_point> end, bool asking = false);
  void _update();

  Hud& _hud;
  bool _verbose;
  std::string _passing;                               // notice, result or error
  std::optional<Clock::time_point> _end;              // of the notice
  bool _asking = false;                               // the passing message is a question
  std::array<std::string, kStandingCount> _standing;  // by topic
  std::string _shown;
};

/// On the standard error stream and in the log only, for use without a window or when the status bar shows other text.
/// Each line of the text is an error of its own.
void printError(const std::string& error);

/// Installs a notify handler that also writes OSG's own messages to the log, from any thread.
void logEngineNotices();

}  // namespace QuorViewer
