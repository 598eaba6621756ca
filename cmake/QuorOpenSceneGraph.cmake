# One imported target for the parts of OpenSceneGraph that the library stands on. CMake's own find module gives
# variables only; this file is used by the build and, installed beside the package configuration, by its consumers.
include(CMakeFindDependencyMacro)
find_dependency(OpenSceneGraph 3.6 COMPONENTS osgDB osgGA osgManipulator osgText osgUtil osgViewer)
find_dependency(OpenGL COMPONENTS OpenGL)

if(NOT TARGET QuorOsgUtils::OpenSceneGraph)
  add_library(QuorOsgUtils::OpenSceneGraph INTERFACE IMPORTED)
  target_include_directories(QuorOsgUtils::OpenSceneGraph SYSTEM INTERFACE ${OPENSCENEGRAPH_INCLUDE_DIRS})
  target_link_libraries(QuorOsgUtils::OpenSceneGraph INTERFACE ${OPENSCENEGRAPH_LIBRARIES} OpenGL::GL)
endif()
