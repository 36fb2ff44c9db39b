# quorvane_add_test(NAME SOURCES... [LIBS ...] [LOCKS ...] [PREFIX name] [TIMEOUT seconds] [ENV VAR=value ...])
# One GoogleTest program, registered as one CTest test. LOCKS names what two tests must not use at the same time
# (for instance "registry" for the machine-wide settings of the Wine prefix). PREFIX, "second" to "fifth", runs it in a
# Wine prefix beside the first: long tests that need the registry to themselves, and mostly wait, need not wait for
# each other. Tests that may take longest start first.
enable_testing()
if(WIN32)
    if(NOT EXISTS /usr/src/googletest/CMakeLists.txt)
        message(FATAL_ERROR "The GoogleTest sources are missing; run './dev setup' first.")
    endif()
    set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
    set(gtest_force_shared_crt ON CACHE BOOL "" FORCE)
    add_subdirectory(/usr/src/googletest "${CMAKE_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL SYSTEM)
    quorvane_build_quickly(gtest gmock gmock_main)
else()
    # As Debian has built it: it is not what the sanitizers look at.
    find_package(GTest REQUIRED)
endif()

# GoogleTest's headers are most of what a test file compiles; all test programs share one precompiled copy.
file(WRITE "${CMAKE_BINARY_DIR}/test_headers.cpp" "")
add_library(quorvane_test_headers OBJECT "${CMAKE_BINARY_DIR}/test_headers.cpp")
target_link_libraries(quorvane_test_headers PRIVATE quorvane_options GTest::gmock)
target_precompile_headers(quorvane_test_headers PRIVATE <gmock/gmock.h> <gtest/gtest.h>)
quorvane_build_quickly(quorvane_test_headers)

function(quorvane_add_test name)
    cmake_parse_arguments(ARG "" "PREFIX;TIMEOUT" "SOURCES;LIBS;LOCKS;ENV" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE quorvane_options GTest::gmock_main ${ARG_LIBS})
    target_include_directories(${name} PRIVATE "${CMAKE_SOURCE_DIR}" "${CMAKE_SOURCE_DIR}/Backend/Common" "${CMAKE_SOURCE_DIR}/Backend/Common/Components/Quorvane")
    target_precompile_headers(${name} REUSE_FROM quorvane_test_headers)
    quorvane_build_quickly(${name})
    add_test(NAME ${name} COMMAND ${name})
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 120)
    endif()
    set_tests_properties(${name} PROPERTIES TIMEOUT ${ARG_TIMEOUT} COST ${ARG_TIMEOUT})
    if(ARG_PREFIX)
        list(TRANSFORM ARG_LOCKS APPEND "-${ARG_PREFIX}")
        list(APPEND ARG_ENV "QUORVANE_WINEPREFIX=${CMAKE_SOURCE_DIR}/build/wineprefix-${ARG_PREFIX}")
    endif()
    if(ARG_LOCKS)
        set_tests_properties(${name} PROPERTIES RESOURCE_LOCK "${ARG_LOCKS}")
    endif()
    if(ARG_ENV)
        set_tests_properties(${name} PROPERTIES ENVIRONMENT "${ARG_ENV}")
    endif()
endfunction()

# What only single verbs of ./dev use: not part of the tests' build, but of ./dev build, so that nothing stops compiling
# unnoticed.
add_custom_target(verb_programs)

# quorvane_add_verb_program(NAME SOURCES ... [LIBS ...])
function(quorvane_add_verb_program name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
    add_executable(${name} EXCLUDE_FROM_ALL ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE quorvane_options ${ARG_LIBS})
    target_include_directories(${name} PRIVATE "${CMAKE_SOURCE_DIR}" "${CMAKE_SOURCE_DIR}/Backend/Common")
    quorvane_build_quickly(${name})
    add_dependencies(verb_programs ${name})
endfunction()
