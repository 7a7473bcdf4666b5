# Helpers for the lists of the folders. Warnings belong to our own targets, so that code of others built along is left alone.

# Where reading the headers takes longer than what is asked of the compiler, the files of a library are compiled together.
if(QV_SANITIZE OR QV_TIDY)
  set(QV_LIBRARIES_TOGETHER ON)
endif()

add_library(qv_flags INTERFACE)
target_include_directories(qv_flags INTERFACE ${PROJECT_SOURCE_DIR})
# 64-bit file offsets and times: on 32-bit ARM, glibc's defaults end in 2038.
target_compile_definitions(qv_flags INTERFACE _FILE_OFFSET_BITS=64 _TIME_BITS=64 $<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>)
target_compile_options(qv_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wold-style-cast -Wnon-virtual-dtor
  -Woverloaded-virtual -Wcast-qual -Wformat=2 -Wundef
  $<$<NOT:$<BOOL:$<TARGET_PROPERTY:UNITY_BUILD>>>:-Wshadow> # together, files see names that others keep to themselves
  $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety -Wthread-safety-beta>)
target_link_libraries(qv_flags INTERFACE Threads::Threads)

# Warns where the C library has no 64-bit times, as glibc before 2.34 on 32 bits: everything works, until 2038.
include(CheckCXXSourceCompiles)
function(qv_check_time)
  get_target_property(CMAKE_REQUIRED_DEFINITIONS qv_flags INTERFACE_COMPILE_DEFINITIONS)
  list(FILTER CMAKE_REQUIRED_DEFINITIONS INCLUDE REGEX "_BITS=")
  list(TRANSFORM CMAKE_REQUIRED_DEFINITIONS PREPEND -D)
  check_cxx_source_compiles("#include <ctime>
    static_assert(sizeof(std::time_t) == 8, \"\");
    int main() {}" QV_TIME_OUTLIVES_2038)
  if(NOT QV_TIME_OUTLIVES_2038)
    message(WARNING "time_t has 32 bits with this C library: the programs work until January 2038.")
  endif()
endfunction()

# clang-tidy with the list of .clang-tidy, where the preset asks for it.
function(qv_tidy name)
  if(QV_TIDY)
    set_target_properties(${name} PROPERTIES CXX_CLANG_TIDY clang-tidy)
  endif()
endfunction()

# A board pays for a program's size, so only the files that every frame passes through, which qv_fast(LEVEL file...) names, are compiled for
# speed.
function(qv_small name)
  target_compile_options(${name} PRIVATE $<$<CONFIG:Release>:-Os>)
endfunction()

function(qv_fast level)
  if(QV_LIBRARIES_TOGETHER)
    return() # a file with options of its own is compiled by itself
  endif()
  set_property(SOURCE ${ARGN} APPEND PROPERTY COMPILE_OPTIONS $<$<CONFIG:Release>:${level}>)
endfunction()

# Compiles the files of a target so many at a time. No other file includes them, so gcc's -Wsubobject-linkage does not apply.
function(qv_together name files)
  set_target_properties(${name} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE ${files}
    UNITY_BUILD_CODE_BEFORE_INCLUDE "// NOLINTNEXTLINE(bugprone-suspicious-include)")
  target_compile_options(${name} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
endfunction()

# qv_library(NAME SOURCES file... [LINK library...]): one folder, one static library.
function(qv_library name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LINK")
  add_library(${name} STATIC ${arg_SOURCES})
  target_link_libraries(${name} PUBLIC qv_flags ${arg_LINK})
  qv_small(${name})
  qv_tidy(${name})
  if(QV_LIBRARIES_TOGETHER)
    qv_together(${name} 12)
  endif()
endfunction()

# qv_program(NAME SOURCES file... LINK library...): an installed program.
function(qv_program name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LINK")
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE qv_flags ${arg_LINK})
  qv_small(${name})
  qv_tidy(${name})
  install(TARGETS ${name} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  if(QV_SIZES)
    add_custom_command(TARGET ${name} POST_BUILD VERBATIM
      COMMAND ${CMAKE_COMMAND} -DSTRIP=${CMAKE_STRIP} -DPROGRAM=$<TARGET_FILE:${name}> -P ${PROJECT_SOURCE_DIR}/cmake/stripped_size.cmake)
  endif()
endfunction()

# Builds code of tests fast where the preset optimises or looks for undefined behaviour: both belong to the libraries and programs, and
# would take three times as long with GoogleTest's templates.
function(qv_unoptimised)
  foreach(name IN LISTS ARGV)
    target_compile_options(${name} PRIVATE -O0 -g1 -U_FORTIFY_SOURCE)
    if("undefined" IN_LIST QV_SANITIZE)
      target_compile_options(${name} PRIVATE -fno-sanitize=undefined)
    endif()
  endforeach()
endfunction()

# qv_unit_test(NAME SOURCES file... LINK library...): a GoogleTest program. In the plain build each file is compiled and each case run by
# itself; where compiling or starting takes a multiple, with a sanitizer or an emulator, they go together.
function(qv_unit_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LINK")
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE qv_flags ${arg_LINK} GTest::gmock GTest::gtest_main)
  # GoogleTest's headers are half of what the compiler reads. The first program's are good for all.
  get_property(first GLOBAL PROPERTY QV_TEST_HEADERS)
  if(first)
    target_precompile_headers(${name} REUSE_FROM ${first})
  else()
    target_precompile_headers(${name} PRIVATE <gmock/gmock.h> <gtest/gtest.h>)
    set_property(GLOBAL PROPERTY QV_TEST_HEADERS ${name})
  endif()
  qv_unoptimised(${name})
  if(QV_TESTS_TOGETHER)
    qv_together(${name} 10)
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES TIMEOUT 600 LABELS unit FAIL_REGULAR_EXPRESSION "SKIPPED")
  else()
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 120 PROPERTIES TIMEOUT 120 LABELS unit)
  endif()
endfunction()
