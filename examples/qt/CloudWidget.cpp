#include "CloudWidget.h"

#include <QuorOsgUtils/CapturedCamera.h>
#include <QuorOsgUtils/PreciseOrbitManipulator.h>

#include <QMouseEvent>
#include <QWheelEvent>

namespace {

// 1 to 3 from the left, as in OSG's events.
unsigned int buttonOf(const QMouseEvent& event) {
  return event.button() == Qt::LeftButton ? 1U : event.button() == Qt::MiddleButton ? 2U : 3U;
}

}  // namespace

//! [create]
CloudWidget::CloudWidget(osg::Group* scene) {
  _window = _viewer.setUpViewerAsEmbeddedInWindow(0, 0, 1, 1);   // resizeGL sets the size
  _viewer.setThreadingModel(osgViewer::Viewer::SingleThreaded);  // Qt draws on its own thread only
  _viewer.setKeyEventSetsDone(0);
  _viewer.setSceneData(scene);
  const QuorOsgUtils::CapturedCamera captured(*_viewer.getCamera());  // depths for the manipulator
  auto* const manipulator = new QuorOsgUtils::PreciseOrbitManipulator(&_viewer);
  manipulator->setScrollUnitsPerNotch(120.0);  // of Qt's angleDelta
  _viewer.setCameraManipulator(manipulator);
}
//! [create]

//! [resize]
// Sizes and positions of Qt count device-independent pixels, those of OSG the pixels of the image.
void CloudWidget::resizeGL(int width, int height) {
  const int columns = qRound(width * devicePixelRatioF()), rows = qRound(height * devicePixelRatioF());
  _window->resized(0, 0, columns, rows);
  _window->getEventQueue()->windowResize(0, 0, columns, rows);
}
//! [resize]

//! [paint]
// Qt draws into a frame-buffer object of its own, which may be another one at each paint.
void CloudWidget::paintGL() {
  _window->setDefaultFboId(defaultFramebufferObject());
  _viewer.frame();
}
//! [paint]

//! [events]
osgGA::EventQueue& CloudWidget::_movePointer(const QPointF& place) {
  osgGA::EventQueue& queue = *_window->getEventQueue();
  queue.mouseMotion(float(place.x() * devicePixelRatioF()), float(place.y() * devicePixelRatioF()));
  update();
  return queue;
}

void CloudWidget::mousePressEvent(QMouseEvent* event) {
  osgGA::EventQueue& queue = _movePointer(event->pos());
  queue.mouseButtonPress(queue.getCurrentEventState()->getX(), queue.getCurrentEventState()->getY(), buttonOf(*event));
}

void CloudWidget::mouseMoveEvent(QMouseEvent* event) {
  _movePointer(event->pos());
}

void CloudWidget::mouseReleaseEvent(QMouseEvent* event) {
  osgGA::EventQueue& queue = _movePointer(event->pos());
  queue.mouseButtonRelease(queue.getCurrentEventState()->getX(), queue.getCurrentEventState()->getY(),
                           buttonOf(*event));
}

void CloudWidget::wheelEvent(QWheelEvent* event) {
  _movePointer(event->position()).mouseScroll2D(float(event->angleDelta().x()), float(event->angleDelta().y()));
}
//! [events]
