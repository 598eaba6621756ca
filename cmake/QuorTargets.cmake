# Settings of every target of this project: C++17 without extensions, hidden symbols unless exported explicitly.
function(quor_target_defaults target)
  target_compile_features(${target} PUBLIC cxx_std_17)
  set_target_properties(${target} PROPERTIES
    CXX_EXTENSIONS OFF
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    POSITION_INDEPENDENT_CODE ON)
  if(QUOR_WARNINGS AND NOT MSVC)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
    if(CMAKE_UNITY_BUILD)
      # Each source is then included in another, where its anonymous namespace looks like that of a header.
      target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
    endif()
  endif()
  # Without these, windows.h defines min and max as macros and includes many other headers.
  if(WIN32)
    target_compile_definitions(${target} PRIVATE NOMINMAX WIN32_LEAN_AND_MEAN
      $<$<CXX_COMPILER_ID:MSVC>:_CRT_SECURE_NO_WARNINGS>)
  endif()
endfunction()

# quor_precompile(TARGET HEADER): precompiles cmake/precompiled/HEADER for the target if QUOR_PRECOMPILED_HEADERS is on.
function(quor_precompile target header)
  if(QUOR_PRECOMPILED_HEADERS)
    target_precompile_headers(${target} PRIVATE ${PROJECT_SOURCE_DIR}/cmake/precompiled/${header})
  endif()
endfunction()

# quor_precompile_examples(): precompiles one header for all examples, whose own projects know nothing of it. Those with Qt are
# left out, because they are compiled with other definitions.
function(quor_precompile_examples)
  get_property(folders DIRECTORY examples PROPERTY SUBDIRECTORIES)
  set(targets)
  foreach(folder IN LISTS folders)
    get_property(programs DIRECTORY ${folder} PROPERTY BUILDSYSTEM_TARGETS)
    list(FILTER programs EXCLUDE REGEX "^quor_qt")
    list(APPEND targets ${programs})
  endforeach()
  list(POP_FRONT targets first)
  quor_precompile(${first} Engine.h)
  if(QUOR_PRECOMPILED_HEADERS)
    foreach(target IN LISTS targets)
      target_precompile_headers(${target} REUSE_FROM ${first})
    endforeach()
  endif()
endfunction()

# quor_share_precompiled_tests(TARGET): uses the precompiled header of quor_test_support. It must be compiled with the same
# options, so the target gets the same setting for position-independent code.
function(quor_share_precompiled_tests target)
  set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE OFF)
  if(QUOR_PRECOMPILED_HEADERS)
    target_precompile_headers(${target} REUSE_FROM quor_test_support)
  endif()
endfunction()

# quor_add_test(NAME LABEL SOURCES... [LIBRARIES ...] [WINDOW]): adds a GoogleTest program and registers each of its tests
# with ctest, under the label. The target LABEL_tests builds all programs with the label. WINDOW means that the tests open windows; those labelled `viewer` always do. Such tests run one
# at a time on each display, because a window would take the pointer and the keys from another.
function(quor_add_test name label)
  cmake_parse_arguments(arg "WINDOW" "" "LIBRARIES" ${ARGN})
  add_executable(${name} ${arg_UNPARSED_ARGUMENTS})
  quor_target_defaults(${name})
  target_link_libraries(${name} PRIVATE quor_test_support ${arg_LIBRARIES} GTest::gmock_main)
  quor_share_precompiled_tests(${name})
  if(NOT TARGET ${label}_tests)
    add_custom_target(${label}_tests)
  endif()
  add_dependencies(${label}_tests ${name})
  set(properties LABELS ${label} TIMEOUT 300)
  if(label STREQUAL "viewer")
    # Drawing ten million points in software takes minutes. Leak detection is off, because the viewer's process unloads the
    # driver before it ends, and the leaks of the driver could no longer be suppressed. The tests labelled `gl` detect leaks.
    list(APPEND properties TIMEOUT 900 ENVIRONMENT ASAN_OPTIONS=detect_leaks=0)
  endif()
  if(arg_WINDOW OR label STREQUAL "viewer")
    # These tests mostly wait, so they start first and the others run beside them. Each waits for a display of its own; on
    # Windows itself there is only the user's desktop.
    list(APPEND properties COST 100)
    if(WIN32 AND NOT CMAKE_CROSSCOMPILING)
      list(APPEND properties RESOURCE_LOCK windows)
    endif()
  endif()
  if(QUOR_TESTS_TOGETHER AND NOT label STREQUAL "viewer")
    set(parts 1)
    if(label STREQUAL "gl")
      set(sources ${arg_UNPARSED_ARGUMENTS})
      list(FILTER sources INCLUDE REGEX "Test\\.cpp$")
      list(LENGTH sources parts)
    endif()
    quor_register_together(${name} "${properties}" ${parts})
    return()
  endif()
  # The first program may have to wait until the emulator has started.
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60 PROPERTIES ${properties})
endfunction()

# quor_register_together(NAME PROPERTIES PARTS): registers the tests of a program as several ctest tests, which can run at the
# same time.
function(quor_register_together name properties parts)
  math(EXPR last "${parts} - 1")
  foreach(part RANGE ${last})
    add_test(NAME ${name}.${part} COMMAND ${name})
    set_tests_properties(${name}.${part} PROPERTIES ${properties} TIMEOUT 900 FAIL_REGULAR_EXPRESSION "Running 0 tests")
    set_property(TEST ${name}.${part} APPEND PROPERTY ENVIRONMENT GTEST_TOTAL_SHARDS=${parts} GTEST_SHARD_INDEX=${part})
  endforeach()
endfunction()
