# SPDX-License-Identifier: Apache-2.0
# What stands in for Debian's libraries where the target is WebAssembly: Boost's headers alone, libsoxr from its sources, no threads.
#
# WVAD_SOXR_SOURCE   libsoxr unpacked (scripts/soxr_source.sh)
# WVAD_BOOST         the folder that holds the folder boost of headers
set(WVAD_SOXR_SOURCE ${PROJECT_SOURCE_DIR}/build-soxr-source CACHE PATH "The sources of libsoxr, as scripts/soxr_source.sh unpacks them")
set(WVAD_BOOST /usr/include CACHE PATH "The folder with Boost's headers in boost/")
if(NOT WVAD_FFT STREQUAL "builtin")
  message(FATAL_ERROR "WVAD_FFT is \"${WVAD_FFT}\": only builtin can be had in WebAssembly.")
endif()
if(NOT EXISTS ${WVAD_SOXR_SOURCE}/src/soxr.c)
  message(FATAL_ERROR "${WVAD_SOXR_SOURCE} does not hold the sources of libsoxr: run scripts/soxr_source.sh ${WVAD_SOXR_SOURCE}")
endif()

# One file, linked once, where every address is known.
set(CMAKE_POSITION_INDEPENDENT_CODE OFF)

# Exceptions by the processor itself; everything in one 128-bit vector where the kernels are those of the family wasm.
add_compile_options(-fwasm-exceptions)
add_link_options(-fwasm-exceptions)
if(WVAD_KERNEL_FAMILY STREQUAL "wasm")
  add_compile_options(-msimd128)
endif()

# Nothing else of the folder may come along: it is the host's.
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/boost)
file(CREATE_LINK ${WVAD_BOOST}/boost ${PROJECT_BINARY_DIR}/boost/boost SYMBOLIC)
foreach(name headers boost thread)
  add_library(Boost::${name} INTERFACE IMPORTED GLOBAL)
  target_include_directories(Boost::${name} SYSTEM INTERFACE ${PROJECT_BINARY_DIR}/boost)
endforeach()

# libsoxr: its engine of single precision in the form with vectors of four, as on other processors, on those of the compiler
# (js/native/soxr/xmmintrin.h): the same sums in the same order give the same bits, with vectors in the processor and without.
add_library(
  wvad_soxr STATIC
  ${WVAD_SOXR_SOURCE}/src/cr.c
  ${WVAD_SOXR_SOURCE}/src/cr32s.c
  ${WVAD_SOXR_SOURCE}/src/data-io.c
  ${WVAD_SOXR_SOURCE}/src/dbesi0.c
  ${WVAD_SOXR_SOURCE}/src/fft4g64.c
  ${WVAD_SOXR_SOURCE}/src/filter.c
  ${WVAD_SOXR_SOURCE}/src/pffft32s.c
  ${WVAD_SOXR_SOURCE}/src/soxr.c
  ${WVAD_SOXR_SOURCE}/src/util32s.c)
target_include_directories(
  wvad_soxr SYSTEM
  PRIVATE ${PROJECT_SOURCE_DIR}/js/native/soxr ${WVAD_SOXR_SOURCE}/src
  INTERFACE ${WVAD_SOXR_SOURCE}/src)
target_compile_definitions(wvad_soxr PRIVATE SOXR_LIB NDEBUG)
target_compile_options(wvad_soxr PRIVATE -w -ffp-contract=off)
# The name of the processor whose intrinsics xmmintrin.h stands for.
set_source_files_properties(${WVAD_SOXR_SOURCE}/src/cr32s.c ${WVAD_SOXR_SOURCE}/src/pffft32s.c ${WVAD_SOXR_SOURCE}/src/util32s.c
                            PROPERTIES COMPILE_DEFINITIONS i386)
add_library(PkgConfig::SOXR ALIAS wvad_soxr)
