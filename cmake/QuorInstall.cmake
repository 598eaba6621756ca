# Install rules, the CMake package and the pkg-config file.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/QuorOsgUtils)

install(TARGETS quor_osg_utils EXPORT QuorOsgUtilsTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/ ${PROJECT_BINARY_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
install(EXPORT QuorOsgUtilsTargets NAMESPACE QuorOsgUtils:: DESTINATION ${package_dir})

configure_package_config_file(cmake/QuorOsgUtilsConfig.cmake.in QuorOsgUtilsConfig.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(QuorOsgUtilsConfigVersion.cmake COMPATIBILITY SameMinorVersion)
# A relative path, so that the installed files can be moved.
file(RELATIVE_PATH pkgconfig_to_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
get_target_property(library_type quor_osg_utils TYPE)
if(library_type STREQUAL "STATIC_LIBRARY")
  set(pkgconfig_definitions " -DQUOR_OSG_UTILS_STATIC")
endif()
configure_file(cmake/quor_osg_utils.pc.in quor_osg_utils.pc @ONLY)

install(FILES
  ${PROJECT_BINARY_DIR}/QuorOsgUtilsConfig.cmake
  ${PROJECT_BINARY_DIR}/QuorOsgUtilsConfigVersion.cmake
  cmake/QuorOpenSceneGraph.cmake
  DESTINATION ${package_dir})
install(FILES ${PROJECT_BINARY_DIR}/quor_osg_utils.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(FILES README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/quor_osg_utils)
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/quor_osg_utils)
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DATADIR}/quor_osg_utils PATTERN ".*" EXCLUDE)

if(QUOR_BUILD_VIEWER)
  install(TARGETS quor_viewer quor_make_scan RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(FILES data/haystack_rock.las data/haystack_rock.LICENSE data/README.md
    DESTINATION ${CMAKE_INSTALL_DATADIR}/quor_osg_utils)
endif()
