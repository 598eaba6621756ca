# Imported target for the parts of OpenSceneGraph that the library uses; CMake's find module sets variables only. Included
# by the build and, installed beside the package configuration, by projects that use the library.
include(CMakeFindDependencyMacro)
find_dependency(OpenSceneGraph 3.6 COMPONENTS osgDB osgGA osgManipulator osgText osgUtil osgViewer)
find_dependency(OpenGL COMPONENTS OpenGL)

if(NOT TARGET QuorOsgUtils::OpenSceneGraph)
  add_library(QuorOsgUtils::OpenSceneGraph INTERFACE IMPORTED)
  target_include_directories(QuorOsgUtils::OpenSceneGraph SYSTEM INTERFACE ${OPENSCENEGRAPH_INCLUDE_DIRS})
  target_link_libraries(QuorOsgUtils::OpenSceneGraph INTERFACE ${OPENSCENEGRAPH_LIBRARIES} OpenGL::GL)
endif()
