#pragma once

#include <osg/Group>
#include <osgViewer/GraphicsWindow>
#include <osgViewer/Viewer>

#include <QOpenGLWidget>

/// A Qt widget that shows a scene and passes its events to a manipulator of the library. It draws on demand.
class CloudWidget : public QOpenGLWidget {
 public:
  explicit CloudWidget(osg::Group* scene);

 protected:
  void resizeGL(int width, int height) override;
  void paintGL() override;
  void mousePressEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;
  void wheelEvent(QWheelEvent* event) override;

 private:
  osgGA::EventQueue& _movePointer(const QPointF& place);

  osgViewer::Viewer _viewer;
  osg::ref_ptr<osgViewer::GraphicsWindowEmbedded> _window;
};
