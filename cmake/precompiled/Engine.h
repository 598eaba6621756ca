// Precompiled for the library and the viewer if QUOR_PRECOMPILED_HEADERS is on. Each source still includes all headers
// that it uses, because other builds have no precompiled header.
#pragma once

#include <osg/Camera>
#include <osg/Geode>
#include <osg/Geometry>
#include <osg/GraphicsContext>
#include <osg/Group>
#include <osg/MatrixTransform>
#include <osg/Node>
#include <osg/Notify>
#include <osg/StateSet>
#include <osg/ref_ptr>
#include <osgGA/GUIEventAdapter>
#include <osgViewer/Viewer>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>
