# Uses ccache if it is installed and no other compiler launcher is set. Not with precompiled headers: ccache would hash their
# 100 MB for every source, which takes longer than it saves.
if(PROJECT_IS_TOP_LEVEL AND NOT CMAKE_CXX_COMPILER_LAUNCHER AND NOT QUOR_PRECOMPILED_HEADERS)
  find_program(QUOR_CCACHE ccache)
  if(QUOR_CCACHE)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${QUOR_CCACHE})
  endif()
endif()
