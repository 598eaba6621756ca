#pragma once

#include "viewer/ui/Messages.h"

#include <osgGA/GUIEventHandler>

#include <functional>
#include <string>
#include <utility>

namespace QuorViewer {

/// Quits on Ctrl+Q and when the window is to be closed. While work is unfinished the first request only asks: a second
/// one quits, any other key withdraws the question. Must come before all other key handlers.
class QuitHandler : public osgGA::GUIEventHandler {
 public:
  struct Dependencies {
    Messages& messages;                           ///< outlives the handler
    std::function<std::string()> unfinishedWork;  ///< a sentence without a full stop; empty: none
    std::function<void()> quit;
  };

  explicit QuitHandler(Dependencies dependencies) : _dependencies(std::move(dependencies)) {}

  bool handle(const osgGA::GUIEventAdapter& ea, osgGA::GUIActionAdapter& aa) override;

 private:
  void _request();

  Dependencies _dependencies;
  bool _keyHeld = false;
};

}  // namespace QuorViewer
