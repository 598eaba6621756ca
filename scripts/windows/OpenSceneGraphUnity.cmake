# Read by OpenSceneGraph's own build, at its project command; its targets are known only when all of its folders have been
# read. These of its sources cannot be compiled together with others, since they define the same names or macros.
file(GLOB_RECURSE alone ${CMAKE_CURRENT_SOURCE_DIR}/src/osg/glu/*.cpp)
list(APPEND alone ${CMAKE_CURRENT_SOURCE_DIR}/src/osg/MatrixDecomposition.cpp ${CMAKE_CURRENT_SOURCE_DIR}/src/osg/Matrixf.cpp)
cmake_language(DEFER CALL set_source_files_properties ${alone}
  TARGET_DIRECTORY osg PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)

# The window's sources compare the unsigned answers of Windows with its negative constants.
cmake_language(DEFER CALL target_compile_options osgViewer PRIVATE -Wno-narrowing)
