#include "viewer/ui/Messages.h"

#include "scan/platform/Platform.h"

#include <QuorOsgUtils/LogFile.h>

#include <osg/Notify>

#include <iostream>

namespace QuorViewer {
namespace {

QuorOsgUtils::LogFile& logFile() {
  return *QuorOsgUtils::LogFile::getInstance();
}

// Scripts and tests follow the viewer line by line, so each line is flushed.
void writeLine(const std::string& line) {
  std::cout << line << std::endl;
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
  _hud.setMessage(utf8Of(message));
}

void Messages::showProgress(const std::string& message) {
  logFile().debug(message.c_str());
  _hud.setMessage(utf8Of(message));
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
  _hud.setMessage(utf8Of(error));
}

void printError(const std::string& error) {
  logFile().error(error.c_str());
  std::cerr << "quor_viewer: " << error << std::endl;
}

void logEngineNotices() {
  osg::setNotifyHandler(new LoggedNotices);
}

}  // namespace QuorViewer
