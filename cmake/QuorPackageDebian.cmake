# Three packages for Debian, and an archive of all components. scripts/package.sh sets the compiler flags that Debian expects.
set(CPACK_GENERATOR DEB TGZ)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_FILE_NAME quor_osg_utils-${PROJECT_VERSION}-linux-${CMAKE_SYSTEM_PROCESSOR})

# As Debian's own tools do, takes the maintainer's name and address from the environment.
set(maintainer_name "$ENV{DEBFULLNAME}")
set(maintainer_address "$ENV{DEBEMAIL}")
if(maintainer_name STREQUAL "")
  set(maintainer_name "quor_osg_utils maintainers")
endif()
if(maintainer_address STREQUAL "")
  set(maintainer_address "maintainers@quor-osg-utils.example") # an address that cannot exist, until one is given
endif()
set(CPACK_PACKAGE_CONTACT "${maintainer_name} <${maintainer_address}>")
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${CPACK_PACKAGE_CONTACT})
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/src)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

get_target_property(library_type quor_osg_utils TYPE)
set(CPACK_COMPONENTS_ALL development)
set(development libquor-osg-utils-dev)
set(dependencies_of_development "libopenscenegraph-dev (>= 3.6), libgl-dev, libopengl-dev")
if(library_type STREQUAL "SHARED_LIBRARY")
  list(APPEND CPACK_COMPONENTS_ALL runtime)
  set(runtime libquor-osg-utils${PROJECT_VERSION_MAJOR})
  set(version ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})
  string(PREPEND dependencies_of_development "${runtime} (= ${version}), ")
  set(CPACK_DEBIAN_VIEWER_PACKAGE_DEPENDS "${runtime} (= ${version})")
endif()
if(QUOR_BUILD_VIEWER)
  list(APPEND CPACK_COMPONENTS_ALL viewer)
endif()

# The first line of each description is the synopsis; a summary would come before it.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(purpose "OpenSceneGraph utilities for large lidar point clouds")
set(contents
  "quor_osg_utils contains camera manipulators, a clip box, a copy of each frame
for picking, mapped files with a command queue, and removal of subgraphs on
the graphics thread, for applications that display large point clouds.")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${runtime})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/debian/triggers)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "${purpose}\n${contents}\n.\nThis package contains the shared library.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME ${development})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS ${dependencies_of_development})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS cmake)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
  "${purpose} (development)\n${contents}\n.\nThis package contains the headers, the documentation and the examples.")

set(CPACK_DEBIAN_VIEWER_PACKAGE_NAME quor-viewer)
set(CPACK_DEBIAN_VIEWER_PACKAGE_SECTION science)
set(CPACK_DEBIAN_VIEWER_PACKAGE_RECOMMENDS "fonts-dejavu-core, libgl1-mesa-dri")
set(CPACK_COMPONENT_VIEWER_DESCRIPTION
  "viewer for large lidar point clouds
quor_viewer opens LAS, LAZ, COPC, EPT, PLY and text scans of any size. Points
are picked and measured, and clipped with a box whose contents can be saved.
.
This package also contains quor_index, which builds the indexes of scans, and
quor_make_scan, which writes simulated scans.")

# Debian's documents. Each package needs a copyright file and a changelog, which other packages do not contain.
find_program(QUOR_GZIP gzip REQUIRED)
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file(packaging/debian/changelog.in debian/changelog @ONLY)
set(CPACK_QUOR_PACKAGES "runtime=${runtime};development=${development};viewer=quor-viewer")
set(CPACK_QUOR_GZIP ${QUOR_GZIP})
set(CPACK_QUOR_SOURCES ${PROJECT_SOURCE_DIR})
set(CPACK_QUOR_BINARIES ${PROJECT_BINARY_DIR})
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/package/CompleteDebian.cmake)
