#include "viewer/ui/Messages.h"

#include "scan/platform/Platform.h"

#include <QuorOsgUtils/LogFile.h>

#include <osg/Notify>
#include <osg/ref_ptr>

#include <algorithm>
#include <iostream>
#include <sstream>

namespace QuorViewer {
namespace {

QuorOsgUtils::LogFile& logFile() {
  return *QuorOsgUtils::LogFile::getInstance();
}

// Scripts and tests follow the viewer line by line, so each line is flushed.
void writeLine(const std::string& line) {
  std::cout << line << std::endl;
}

bool isProgress(std::size_t topic) {
  return topic <= static_cast<std::size_t>(Standing::Saving);
}

class LoggedNotices : public osg::StandardNotifyHandler {
 public:
  void notify(osg::NotifySeverity severity, const char* message) override {
    osg::StandardNotifyHandler::notify(severity, message);
    std::string text = message;
    text.erase(text.find_last_not_of("\r\n") + 1);
    if (severity <= osg::WARN) {
      logFile().error(text.c_str());
    } else {
      logFile().debug(text.c_str());
    }
  }
};

}  // namespace

void Messages::show(const std::string& message) {
  logFile().info(message.c_str());
  _showPassing(message, Clock::now() + kNoticeDuration);
}

void Messages::ask(const std::string& question) {
  logFile().info(question.c_str());
  _showPassing(question, std::nullopt, true);
}

void Messages::showResult(const std::string& message) {
  logFile().info(message.c_str());
  _showPassing(message, std::nullopt);
}

void Messages::setStanding(Standing topic, const std::string& message) {
  const auto index = static_cast<std::size_t>(topic);
  if (!message.empty() && !isProgress(index)) {
    logFile().info(message.c_str());
  }
  _standing.at(index) = message;
  _update();
}

void Messages::beginAction() {
  _standing.at(static_cast<std::size_t>(Standing::Hint)).clear();
  _showPassing({}, std::nullopt);
}

bool Messages::expire(Clock::time_point now) {
  if (!_end || now < *_end) {
    return false;
  }
  _showPassing({}, std::nullopt);
  return true;
}

void Messages::_showPassing(const std::string& message, std::optional<Clock::time_point> end, bool asking) {
  _passing = message;
  _end = end;
  _asking = asking;
  _update();
}

void Messages::_update() {
  const auto standing =
      std::find_if(_standing.begin(), _standing.end(), [](const std::string& message) { return !message.empty(); });
  const bool passes = !_passing.empty();
  const std::string text = passes ? _passing : standing != _standing.end() ? *standing : std::string();
  if (text == _shown) {
    return;
  }
  _shown = text;
  _hud.setMessage(utf8Of(text), _asking);
  const bool progress = !passes && isProgress(static_cast<std::size_t>(standing - _standing.begin()));
  if (_verbose && !progress) {
    printState(text.empty() ? "message" : "message " + text);
  }
}

void Messages::print(const std::string& line) {
  logFile().info(line.c_str());
  writeLine(line);
}

void Messages::printState(const std::string& line) {
  logFile().debug(line.c_str());
  writeLine(line);
}

void Messages::log(const std::string& line) {
  logFile().info(line.c_str());
}

void Messages::reportError(const std::string& error) {
  printError(error);
  _showPassing(error, std::nullopt);
}

void printError(const std::string& error) {
  std::istringstream lines(error);
  for (std::string line; std::getline(lines, line);) {
    logFile().error(line.c_str());
    std::cerr << "quor_viewer: " << line << std::endl;
  }
}

void logEngineNotices() {
  const osg::ref_ptr<osg::NotifyHandler> handler = new LoggedNotices;
  osg::setNotifyHandler(handler);
}

}  // namespace QuorViewer
