# SPDX-License-Identifier: Apache-2.0
# What of the tree is built for which target, each a folder or a file of that name; docs/porting.md tells what a further one supplies.
#
# WVAD_SYSTEM         src/platform/<system>, from CMAKE_SYSTEM_NAME
# WVAD_PROCESSOR      src/nn/cpu_features_<processor>.cc and, where it exists, src/platform/<processor>: x86, arm64, or other
# WVAD_KERNEL_FAMILY  src/nn/kernels/<family>, from the processor or the option WVAD_KERNELS
#
# Also runs as a script, which prints the three: cmake -DCMAKE_SYSTEM_NAME=... -DCMAKE_SYSTEM_PROCESSOR=... -P target.cmake
get_filename_component(_wvad_source ${CMAKE_CURRENT_LIST_DIR}/../src ABSOLUTE)

string(TOLOWER "${CMAKE_SYSTEM_NAME}" WVAD_SYSTEM)
if(NOT EXISTS ${_wvad_source}/platform/${WVAD_SYSTEM}/CMakeLists.txt)
  message(FATAL_ERROR "There is no platform layer for the system \"${CMAKE_SYSTEM_NAME}\": src/platform/${WVAD_SYSTEM}/ does not exist. "
                      "docs/porting.md tells what it has to supply.")
endif()

if(EMSCRIPTEN)
  # Its toolchain calls the processor x86.
  set(CMAKE_SYSTEM_PROCESSOR wasm32)
endif()
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64|x86|i[3-6]86)$")
  set(WVAD_PROCESSOR x86)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64|ARM64)$")
  set(WVAD_PROCESSOR arm64)
else()
  set(WVAD_PROCESSOR other)
endif()

set(WVAD_KERNELS auto CACHE STRING "Instruction levels to build in: auto (those of the processor), ref (none), or a family: arm64, wasm, x86")
set_property(CACHE WVAD_KERNELS PROPERTY STRINGS auto ref arm64 wasm x86)
if(NOT WVAD_KERNELS STREQUAL "auto")
  set(WVAD_KERNEL_FAMILY ${WVAD_KERNELS})
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64)$")
  # A 32-bit processor of that family has no registers of 64 bits, which these levels use.
  set(WVAD_KERNEL_FAMILY x86)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64|ARM64)$")
  set(WVAD_KERNEL_FAMILY arm64)
elseif(CMAKE_SYSTEM_PROCESSOR STREQUAL "wasm32")
  set(WVAD_KERNEL_FAMILY wasm)
else()
  set(WVAD_KERNEL_FAMILY ref)
endif()
if(NOT EXISTS ${_wvad_source}/nn/kernels/${WVAD_KERNEL_FAMILY}/CMakeLists.txt)
  message(FATAL_ERROR "WVAD_KERNELS is \"${WVAD_KERNELS}\": src/nn/kernels/${WVAD_KERNEL_FAMILY}/ does not exist. "
                      "Say auto, ref, or the name of a folder there.")
endif()

message(STATUS "wvad: system ${WVAD_SYSTEM}, processor ${WVAD_PROCESSOR}, kernels ${WVAD_KERNEL_FAMILY}")
