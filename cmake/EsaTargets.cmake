# What every target shares: warnings, and the restrictions of code that runs on the controller.

add_library(esa_warnings INTERFACE)
target_compile_options(esa_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow
  # Part of -Wconversion with clang only.
  -Wno-sign-conversion
  # The voltage conversions must give the same doubles on every processor.
  -ffp-contract=off)
# Another compiler, or other options than our presets', may find a new thing to warn of: that must not stop a build.
if(ESA_WERROR)
  target_compile_options(esa_warnings INTERFACE -Werror)
endif()
# 64-bit file offsets and times on the 32-bit processor too.
target_compile_definitions(esa_warnings INTERFACE _FILE_OFFSET_BITS=64 _TIME_BITS=64)

include(${CMAKE_CURRENT_LIST_DIR}/Hardening.cmake)

# Several sources at a time mean memory anyway: g++ saves a tenth of its time where it need not give any back.
if(ESA_QUICKLY AND CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  add_compile_options("SHELL:--param ggc-min-heapsize=1048576")
endif()

# Code of the controller: no exceptions, no run-time type information.
add_library(esa_firmware INTERFACE)
target_link_libraries(esa_firmware INTERFACE esa_warnings)
target_compile_options(esa_firmware INTERFACE -fno-exceptions -fno-rtti)

# esa_header_package(NAME PATH): an interface target for a header-only Debian package under /usr/include. The
# headers are reached through a link of their own, so that a cross compiler never sees the host's C library headers.
function(esa_header_package name path)
  set(dir ${CMAKE_BINARY_DIR}/packages/${name})
  file(MAKE_DIRECTORY ${dir})
  file(CREATE_LINK /usr/include/${path} ${dir}/${path} SYMBOLIC)
  add_library(${name} INTERFACE)
  target_include_directories(${name} SYSTEM INTERFACE ${dir})
endfunction()

esa_header_package(cli11 CLI)
esa_header_package(nlohmann_json nlohmann)

# What every test target compiles with. g++ 12 takes some insertions into strings and vectors for overflows, and a source
# that is compiled together with others for a header.
add_library(esa_test_options INTERFACE)
target_link_libraries(esa_test_options INTERFACE esa_warnings)
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  target_compile_options(esa_test_options INTERFACE
    -Wno-array-bounds -Wno-stringop-overflow -Wno-stringop-overread -Wno-restrict -Wno-subobject-linkage)
endif()

# GoogleTest: the prebuilt package natively, its source package for any other processor, as one source: most of it is headers.
function(esa_find_googletest)
  if(CMAKE_CROSSCOMPILING)
    set(root /usr/src/googletest/googletest)
    add_library(gtest_main STATIC EXCLUDE_FROM_ALL ${root}/src/gtest-all.cc ${root}/src/gtest_main.cc)
    target_include_directories(gtest_main SYSTEM PUBLIC ${root}/include
      PRIVATE ${root})
    target_compile_options(gtest_main PRIVATE -w -O0)
    set_target_properties(gtest_main PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 0)
    add_library(GTest::gtest_main ALIAS gtest_main)
    add_library(GTest::gtest ALIAS gtest_main)
  else()
    find_package(GTest REQUIRED)
  endif()
  # GoogleTest's headers, and what every test makes of their templates, are most of a test's compile time.
  file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/empty.cpp CONTENT "")
  add_library(esa_test_headers OBJECT EXCLUDE_FROM_ALL ${CMAKE_BINARY_DIR}/empty.cpp)
  target_link_libraries(esa_test_headers PRIVATE esa_test_options GTest::gtest_main)
  target_precompile_headers(esa_test_headers PRIVATE <gtest/gtest.h>)
  if(CMAKE_CXX_COMPILER_ID STREQUAL Clang)
    set_target_properties(esa_test_headers PROPERTIES PCH_INSTANTIATE_TEMPLATES ON)
  endif()
endfunction()

# esa_test(NAME SOURCES... [LIBRARIES...] [PROGRAMS...] [LABELS...] [TIMEOUT seconds]): one GoogleTest program, whose
# tests may share a process. PROGRAMS are the targets of the programs that its tests start.
function(esa_test name)
  cmake_parse_arguments(ARG "" "TIMEOUT" "SOURCES;LIBRARIES;PROGRAMS;LABELS" ${ARGN})
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 120)
  endif()
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE esa_test_options ${ARG_LIBRARIES} GTest::gtest_main)
  target_precompile_headers(${name} REUSE_FROM esa_test_headers)
  if(ARG_PROGRAMS)
    add_dependencies(${name} ${ARG_PROGRAMS})
  endif()
  if(CMAKE_CXX_FLAGS MATCHES "-fcoverage-mapping")
    target_sources(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests/support/keep_counts.cpp)
    target_link_options(${name} PRIVATE -Wl,--wrap=_exit)
  endif()
  gtest_discover_tests(${name}
    TEST_PREFIX ${name}.
    DISCOVERY_MODE PRE_TEST
    DISCOVERY_TIMEOUT 60
    PROPERTIES TIMEOUT ${ARG_TIMEOUT} LABELS "${ARG_LABELS}")
endfunction()
