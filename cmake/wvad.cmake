# SPDX-License-Identifier: Apache-2.0
# Interface targets for flags, and the two functions that every folder uses: wvad_component and wvad_test.

add_library(wvad_flags INTERFACE)
target_compile_features(wvad_flags INTERFACE cxx_std_20)
# Results are defined by single roundings: no fused multiply-add, no fast-math, wherever the code is compiled.
target_compile_options(wvad_flags INTERFACE -ffp-contract=off)
target_compile_options(
  wvad_flags
  INTERFACE -Wall -Wextra -Wshadow -Wcast-align $<$<COMPILE_LANGUAGE:CXX>:-Wconversion -Wsign-conversion -Wnon-virtual-dtor>
            $<$<BOOL:${WVAD_WERROR}>:-Werror>)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # At -O3 g++ 12 sees overlapping copies in `"text" + string` and strings in records that have none; both are known defects of its checks.
  target_compile_options(wvad_flags INTERFACE "$<$<AND:$<COMPILE_LANGUAGE:CXX>,$<CONFIG:Release>>:-Wno-restrict;-Wno-array-bounds>")
endif()
if(WVAD_SANITIZE)
  target_compile_options(wvad_flags INTERFACE -fsanitize=${WVAD_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(wvad_flags INTERFACE -fsanitize=${WVAD_SANITIZE})
endif()
if(WVAD_BUILD_FUZZ AND CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  # Coverage for libFuzzer, without its main.
  target_compile_options(wvad_flags INTERFACE -fsanitize=fuzzer-no-link)
  target_link_options(wvad_flags INTERFACE -fsanitize=fuzzer-no-link)
endif()

set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)

# wvad_component(<folder> [SOURCES ...] [DEPS other folders ...] [LIBS ...])
# One static library wvad_<folder>, with src/ and include/ on its include path. DEPS are the folders it may include.
function(wvad_component name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS;LIBS" ${ARGN})
  set(deps)
  foreach(dep IN LISTS ARG_DEPS)
    list(APPEND deps wvad_${dep})
  endforeach()
  if(ARG_SOURCES)
    add_library(wvad_${name} STATIC ${ARG_SOURCES})
    set(scope PUBLIC)
    target_link_libraries(wvad_${name} PRIVATE wvad_flags)
  else()
    add_library(wvad_${name} INTERFACE)
    set(scope INTERFACE)
  endif()
  target_include_directories(wvad_${name} ${scope} ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/include)
  target_link_libraries(wvad_${name} ${scope} ${deps} ${ARG_LIBS})
endfunction()

# wvad_test(<name> SOURCES ... LIBS ... [LABELS ...]) : one GoogleTest program wvad_<name>_test, each of its tests a CTest test of its own.
function(wvad_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS;LABELS" ${ARGN})
  add_executable(wvad_${name}_test ${ARG_SOURCES})
  target_include_directories(wvad_${name}_test PRIVATE ${PROJECT_SOURCE_DIR}/tests ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/include
                                                   ${PROJECT_SOURCE_DIR}/tools)
  target_compile_definitions(wvad_${name}_test PRIVATE WVAD_TEST_DATA_DIR="${WVAD_TEST_ROOT}${PROJECT_SOURCE_DIR}/tests/data")
  target_link_libraries(wvad_${name}_test PRIVATE wvad_flags ${ARG_LIBS} GTest::gmock GTest::gtest GTest::gtest_main)
  # What tests are made of takes compilers as long again when it is optimised with the sanitizers' checks in it; the code under test is.
  if(WVAD_SANITIZE)
    target_compile_options(wvad_${name}_test PRIVATE -O0)
  endif()
  gtest_discover_tests(wvad_${name}_test TEST_PREFIX "${name}." DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 120
                       PROPERTIES TIMEOUT 300 LABELS "${ARG_LABELS}")
  # All that the thread sanitizer runs, as one target.
  if("threads" IN_LIST ARG_LABELS)
    if(NOT TARGET wvad_threaded_tests)
      add_custom_target(wvad_threaded_tests)
    endif()
    add_dependencies(wvad_threaded_tests wvad_${name}_test)
  endif()
endfunction()
