// The library in a Qt application, with Qt 5 or Qt 6: a widget that shows a hill of points.
#include "CloudWidget.h"

#include <osg/Geometry>
#include <osg/Point>

#include <QApplication>
#include <QSurfaceFormat>
#include <cmath>

namespace {

osg::ref_ptr<osg::Geometry> createHill() {
  constexpr int kSide = 300;
  osg::ref_ptr<osg::Vec3Array> places = new osg::Vec3Array;
  osg::ref_ptr<osg::Vec4Array> colours = new osg::Vec4Array(osg::Array::BIND_PER_VERTEX);
  for (int number = 0; number < kSide * kSide; ++number) {
    const int column = number % kSide - kSide / 2, row = number / kSide - kSide / 2;
    const float x = 0.1f * static_cast<float>(column), y = 0.1f * static_cast<float>(row);
    const float height = std::exp(-0.02f * (x * x + y * y));
    places->push_back(osg::Vec3f(x, y, 5.0f * height));
    colours->push_back(osg::Vec4f(0.2f + 0.7f * height, 0.3f + 0.5f * height, 0.6f - 0.4f * height, 1.0f));
  }
  osg::ref_ptr<osg::Geometry> hill = new osg::Geometry;
  hill->setVertexArray(places);
  hill->setColorArray(colours);
  hill->addPrimitiveSet(new osg::DrawArrays(GL_POINTS, 0, static_cast<int>(places->size())));
  hill->getOrCreateStateSet()->setMode(GL_LIGHTING, osg::StateAttribute::OFF);
  hill->getOrCreateStateSet()->setAttribute(new osg::Point(3.0f));
  return hill;
}

}  // namespace

//! [format]
int main(int argc, char** argv) {
  // OSG needs the compatibility profile. The version stays unset: with 3.3 some drivers return a core profile anyway.
  QSurfaceFormat format = QSurfaceFormat::defaultFormat();
  format.setProfile(QSurfaceFormat::CompatibilityProfile);
  format.setDepthBufferSize(24);
  QSurfaceFormat::setDefaultFormat(format);  // before the application object
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
  QApplication::setAttribute(Qt::AA_EnableHighDpiScaling);  // always on in Qt 6
#endif
  QApplication application(argc, argv);
  //! [format]

  osg::ref_ptr<osg::Group> scene = new osg::Group;
  scene->addChild(createHill());
  CloudWidget widget(scene);
  widget.setWindowTitle("quor_qt");
  widget.resize(1000, 700);
  widget.show();
  return QApplication::exec();
}
