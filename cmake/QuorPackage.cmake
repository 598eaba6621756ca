# cpack: a zip that runs wherever it is unpacked, with the DLLs that Windows itself does not have.
if(MINGW)
  foreach(dll libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${dll} OUTPUT_VARIABLE file OUTPUT_STRIP_TRAILING_WHITESPACE)
    list(APPEND runtime_dlls ${file})
  endforeach()
endif()

# The engine finds its readers in a folder beside the program.
set(engine_folder ${OSG_INCLUDE_DIR}/../bin)
install(DIRECTORY ${engine_folder}/osgPlugins-${OPENSCENEGRAPH_VERSION} DESTINATION ${CMAKE_INSTALL_BINDIR} FILES_MATCHING PATTERN "*.dll")
foreach(name OpenThreads osg osgDB osgGA osgManipulator osgText osgUtil osgViewer)
  file(GLOB dlls ${engine_folder}/*${name}.dll)
  list(APPEND runtime_dlls ${dlls})
endforeach()
install(FILES ${runtime_dlls} DESTINATION ${CMAKE_INSTALL_BINDIR})

set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_FILE_NAME ${PROJECT_NAME}-${PROJECT_VERSION}-windows-x64)
set(CPACK_VERBATIM_VARIABLES ON)
include(CPack)
