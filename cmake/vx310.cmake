# SPDX-License-Identifier: MIT
# What every target of this project has in common.

# The same layout as an installed tree, so that programs find their resources from where they are.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)

add_library(vx310_common INTERFACE)
target_compile_features(vx310_common INTERFACE cxx_std_20)
target_include_directories(vx310_common INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(vx310_common INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor -Wold-style-cast
  -Wcast-qual -Wformat=2 -Wundef $<$<BOOL:${VX310_WERROR}>:-Werror>)

# What users run is hardened; docs/security.md says against what. The sanitizers' builds are left alone:
# they find more without, and their build type is none of these.
add_library(vx310_hardened INTERFACE)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)
if(CMAKE_BUILD_TYPE MATCHES "^(Release|RelWithDebInfo|MinSizeRel)$" AND NOT VX310_FUZZ)
  target_compile_options(vx310_hardened INTERFACE
    -fstack-protector-strong -fstack-clash-protection -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3)
  include(CheckCXXCompilerFlag)
  foreach(flag IN ITEMS -fcf-protection=full -mbranch-protection=standard)
    string(MAKE_C_IDENTIFIER VX310_HAS${flag} has)
    check_cxx_compiler_flag(${flag} ${has})  # the one is for x86, the other for ARM
    if(${has})
      target_compile_options(vx310_hardened INTERFACE ${flag})
    endif()
  endforeach()
  target_link_options(vx310_hardened INTERFACE LINKER:-z,relro,-z,now,-z,noexecstack)
endif()

# vx310_library(NAME SOURCES file... [LINK library...])
function(vx310_library name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LINK")
  add_library(${name} STATIC ${arg_SOURCES})
  target_link_libraries(${name} PUBLIC vx310_common ${arg_LINK} PRIVATE vx310_hardened)
endfunction()

# vx310_program(NAME SOURCES file... [LINK library...]); the libraries of the logic come before the
# back ends that carry out their platform operations.
function(vx310_program name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LINK")
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE vx310_common vx310_hardened ${arg_LINK})
endfunction()

include(GoogleTest)
# Builds the tests with the label unit and no more.
add_custom_target(unit_tests)

# GoogleMock's header is nearly all that a test file consists of: it is compiled once, for all of them.
# A precompiled header serves only files that are compiled with the same options, so every test takes
# those that Qt's (-fPIC) and PipeWire's (-pthread) users need. Optimising the tests themselves would
# double the time that building them takes.
set(vx310_test_options -O0 -g1 -fPIC -pthread)
if(BUILD_TESTING)
  file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/test_headers.cpp CONTENT "")
  add_library(test_headers OBJECT ${PROJECT_BINARY_DIR}/test_headers.cpp)
  target_link_libraries(test_headers PRIVATE vx310_common GTest::gmock)
  target_compile_options(test_headers PRIVATE ${vx310_test_options})
  target_precompile_headers(test_headers PRIVATE <gmock/gmock.h> <gtest/gtest.h>)
endif()

# vx310_test(NAME SOURCES file... [LINK library...] [LABEL label])
# A GoogleTest program whose every test is one ctest test. Label: unit (the default) needs no
# PipeWire and no display; integration starts what it needs. Nothing without BUILD_TESTING.
function(vx310_test name)
  if(NOT BUILD_TESTING)
    return()
  endif()
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "LABEL" "SOURCES;LINK")
  if(NOT arg_LABEL)
    set(arg_LABEL unit)
  endif()
  add_executable(${name} ${arg_SOURCES})
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tests)
  target_link_libraries(${name} PRIVATE vx310_common ${arg_LINK} GTest::gmock_main)
  target_compile_options(${name} PRIVATE ${vx310_test_options})
  target_precompile_headers(${name} REUSE_FROM test_headers)
  if(arg_LABEL STREQUAL unit)
    add_dependencies(unit_tests ${name})
  endif()
  # The program's name tells apart the runs of one contract suite against several back ends.
  gtest_discover_tests(${name} TEST_PREFIX ${name}. DISCOVERY_TIMEOUT 60
    PROPERTIES LABELS ${arg_LABEL} TIMEOUT 120)
endfunction()
