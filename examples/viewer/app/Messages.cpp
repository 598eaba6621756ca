#include "Messages.h"

#include <QuorOsgUtils/LogFile.h>

#include <iostream>

namespace QuorViewer {
namespace {

QuorOsgUtils::LogFile& log() {
  return *QuorOsgUtils::LogFile::getInstance();
}

// Scripts and tests follow the viewer line by line, so each line leaves at once.
void writeLine(const std::string& line) {
  std::cout << line << std::endl;
}

}  // namespace

void Messages::show(const std::string& message) {
  log().info(message.c_str());
  _hud.setMessage(message);
}

void Messages::showProgress(const std::string& message) {
  log().debug(message.c_str());
  _hud.setMessage(message);
}

void Messages::say(const std::string& line) {
  log().info(line.c_str());
  writeLine(line);
}

void Messages::report(const std::string& line) {
  log().debug(line.c_str());
  writeLine(line);
}

void Messages::note(const std::string& line) {
  log().info(line.c_str());
}

void Messages::complain(const std::string& error) {
  complainOnTerminal(error);
  _hud.setMessage(error);
}

void complainOnTerminal(const std::string& error) {
  log().error(error.c_str());
  std::cerr << "quor_viewer: " << error << std::endl;
}

}  // namespace QuorViewer
