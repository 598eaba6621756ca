# A zip with all DLLs that are not part of Windows, so the programs run wherever it is unpacked, and with the licences of what
# it contains.
if(MINGW)
  foreach(dll libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${dll} OUTPUT_VARIABLE file OUTPUT_STRIP_TRAILING_WHITESPACE)
    list(APPEND runtime_dlls ${file})
  endforeach()
endif()

# OpenSceneGraph looks for its plugins in a folder beside the program.
set(osg_folder ${OSG_INCLUDE_DIR}/../bin)
install(DIRECTORY ${osg_folder}/osgPlugins-${OPENSCENEGRAPH_VERSION} DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT viewer
  FILES_MATCHING PATTERN "*.dll")
foreach(name OpenThreads osg osgDB osgGA osgManipulator osgText osgUtil osgViewer)
  file(GLOB dlls ${osg_folder}/*${name}.dll)
  list(APPEND runtime_dlls ${dlls})
endforeach()
if(LASZIP_LIBRARY)
  get_filename_component(laszip_folder ${LASZIP_LIBRARY} DIRECTORY)
  file(GLOB laszip_dll ${laszip_folder}/../bin/*laszip3.dll)
  list(APPEND runtime_dlls ${laszip_dll})
endif()
install(FILES ${runtime_dlls} DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT viewer)

# The texts come from the packages of the distribution that cross-compiles, whose sources the dependencies are built from. A
# text that is missing stops cpack, but not the build.
if(MINGW)
  install(CODE "set(folder \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/licences\")
include(\"${CMAKE_CURRENT_LIST_DIR}/package/CollectLicences.cmake\")" COMPONENT viewer)
endif()

set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_FILE_NAME ${PROJECT_NAME}-${PROJECT_VERSION}-windows-x64)
