# Common settings of every target of this project: C++17 without extensions, nothing exported that is not marked.
function(quor_target_defaults target)
  target_compile_features(${target} PUBLIC cxx_std_17)
  set_target_properties(${target} PROPERTIES
    CXX_EXTENSIONS OFF
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    POSITION_INDEPENDENT_CODE ON)
  if(QUOR_WARNINGS AND NOT MSVC)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
  endif()
  # Else the system's header makes macros of min and max, and brings the half of the system that nobody asked for.
  if(WIN32)
    target_compile_definitions(${target} PRIVATE NOMINMAX WIN32_LEAN_AND_MEAN
      $<$<CXX_COMPILER_ID:MSVC>:_CRT_SECURE_NO_WARNINGS>)
  endif()
endfunction()

# quor_precompile(TARGET HEADER): precompiles cmake/precompiled/HEADER for the target, where that is on.
function(quor_precompile target header)
  if(QUOR_PRECOMPILED_HEADERS)
    target_precompile_headers(${target} PRIVATE ${PROJECT_SOURCE_DIR}/cmake/precompiled/${header})
  endif()
endfunction()

# The precompiled header of the tests is that of quor_test_support. Only code compiled with the same options can use it,
# and a compiler distinguishes position-independent code for libraries from that for programs.
function(quor_share_precompiled_tests target)
  set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE OFF)
  if(QUOR_PRECOMPILED_HEADERS)
    target_precompile_headers(${target} REUSE_FROM quor_test_support)
  endif()
endfunction()

# quor_add_test(NAME LABEL SOURCES... [LIBRARIES ...] [WINDOW]): a GoogleTest program, each of its tests known to ctest
# under the label. WINDOW tells that its tests open windows, as those of the label `viewer` always do: one such test at a
# time, or a window would take pointer and keys from that of another test. Under an emulator, where the start of a program
# takes longer than most tests, those of the label `unit` share one start and are known by their program.
function(quor_add_test name label)
  cmake_parse_arguments(arg "WINDOW" "" "LIBRARIES" ${ARGN})
  add_executable(${name} ${arg_UNPARSED_ARGUMENTS})
  quor_target_defaults(${name})
  target_link_libraries(${name} PRIVATE quor_test_support ${arg_LIBRARIES} GTest::gmock_main)
  quor_share_precompiled_tests(${name})
  set(properties LABELS ${label} TIMEOUT 300)
  if(label STREQUAL "viewer")
    # Drawing ten million points in software takes minutes. The viewer's processes end with the driver unloaded, whose
    # memory a leak checker could then not tell from ours; their leaks show in the tests of the label `gl`.
    list(APPEND properties TIMEOUT 900 ENVIRONMENT ASAN_OPTIONS=detect_leaks=0)
  endif()
  if(arg_WINDOW OR label STREQUAL "viewer")
    # They wait more than they work: begun first, they leave processors to all others meanwhile.
    list(APPEND properties RESOURCE_LOCK windows COST 100)
  endif()
  if(CMAKE_CROSSCOMPILING_EMULATOR AND label STREQUAL "unit")
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES ${properties} TIMEOUT 900 FAIL_REGULAR_EXPRESSION "Running 0 tests")
    return()
  endif()
  # The first program of all may wait for an emulated system to start.
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60 PROPERTIES ${properties})
endfunction()
