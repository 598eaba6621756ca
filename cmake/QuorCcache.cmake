# Uses ccache where it is installed and no other compiler launcher is set. Precompiled headers need both settings.
if(PROJECT_IS_TOP_LEVEL AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  find_program(QUOR_CCACHE ccache)
  if(QUOR_CCACHE)
    set(CMAKE_CXX_COMPILER_LAUNCHER
      ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime ${QUOR_CCACHE})
    if(QUOR_PRECOMPILED_HEADERS AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
      add_compile_options(-fpch-preprocess)
    endif()
  endif()
endif()
