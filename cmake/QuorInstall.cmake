# Install rules, the CMake package and the pkg-config files. Components: runtime (the shared library), development, viewer
# (the programs).
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/QuorOsgUtils)

set(libraries quor_osg_utils)
if(QUOR_STATIC_LIBRARY_TOO)
  list(APPEND libraries quor_osg_utils_static)
endif()
install(TARGETS ${libraries} EXPORT QuorOsgUtilsTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/ ${PROJECT_BINARY_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
  FILES_MATCHING PATTERN "*.h")
install(EXPORT QuorOsgUtilsTargets NAMESPACE QuorOsgUtils:: DESTINATION ${package_dir} COMPONENT development)

configure_package_config_file(cmake/QuorOsgUtilsConfig.cmake.in QuorOsgUtilsConfig.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(QuorOsgUtilsConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/QuorOsgUtilsConfig.cmake
  ${PROJECT_BINARY_DIR}/QuorOsgUtilsConfigVersion.cmake
  cmake/QuorOpenSceneGraph.cmake
  DESTINATION ${package_dir} COMPONENT development)

# quor_install_pkgconfig(LIBRARY TYPE): with a relative path, so that the installed files can be moved. Programs also link what
# a static library uses.
function(quor_install_pkgconfig library type)
  if(type STREQUAL "STATIC_LIBRARY")
    set(pkgconfig_definitions " -DQUOR_OSG_UTILS_STATIC")
    set(pkgconfig_private "")
  else()
    set(pkgconfig_definitions "")
    set(pkgconfig_private "\nRequires.private:")
  endif()
  file(RELATIVE_PATH pkgconfig_to_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
  string(REGEX REPLACE "/$" "" pkgconfig_to_prefix ${pkgconfig_to_prefix})
  configure_file(cmake/quor_osg_utils.pc.in ${library}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${library}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endfunction()
foreach(library IN LISTS libraries)
  get_target_property(type ${library} TYPE)
  quor_install_pkgconfig(${library} ${type})
endforeach()

include(QuorInstallDocuments)
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DATADIR}/quor_osg_utils COMPONENT development PATTERN ".*" EXCLUDE)

if(QUOR_BUILD_VIEWER)
  install(TARGETS quor_viewer quor_index quor_make_scan RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT viewer)
  install(FILES data/haystack_rock.las data/haystack_rock.LICENSE data/README.md
    DESTINATION ${CMAKE_INSTALL_DATADIR}/quor_osg_utils COMPONENT viewer)
  if(UNIX AND NOT APPLE)
    include(QuorDesktop)
  endif()
endif()
