# Included at the project command of OpenSceneGraph's build. Calls are deferred until all targets exist.
# These sources cannot be part of a unity build, because they define the same names or macros as others.
file(GLOB_RECURSE alone ${CMAKE_CURRENT_SOURCE_DIR}/src/osg/glu/*.cpp)
list(APPEND alone ${CMAKE_CURRENT_SOURCE_DIR}/src/osg/MatrixDecomposition.cpp ${CMAKE_CURRENT_SOURCE_DIR}/src/osg/Matrixf.cpp)
cmake_language(DEFER CALL set_source_files_properties ${alone}
  TARGET_DIRECTORY osg PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)

# The sources of the window compare unsigned results of Windows with negative constants.
cmake_language(DEFER CALL target_compile_options osgViewer PRIVATE -Wno-narrowing)
