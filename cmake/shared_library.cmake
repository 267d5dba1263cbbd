# SPDX-License-Identifier: Apache-2.0
# The shared libraries: the exported functions' objects with everything below them, and only the names of a list to be seen from outside.

# wvad_exports(<target> <list>): shows the names of the list `cmake/<list>` alone, one a line behind its ordinal.
function(wvad_exports target list)
  set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/${list})
  file(STRINGS ${PROJECT_SOURCE_DIR}/cmake/${list} lines REGEX "^[0-9]+ ")
  set_target_properties(${target} PROPERTIES LINKER_LANGUAGE CXX)
  target_include_directories(${target} INTERFACE $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  if(WIN32)
    wvad_exports_of_dll(${target} "${lines}")
    return()
  endif()
  set(text "{\n  global:\n")
  foreach(line IN LISTS lines)
    string(REGEX REPLACE "^[0-9]+ " "" name "${line}")
    string(APPEND text "    ${name};\n")
  endforeach()
  # No version name: the node itself would be one more exported symbol.
  string(APPEND text "  local:\n    *;\n};\n")
  set(map ${PROJECT_BINARY_DIR}/${target}.map)
  file(CONFIGURE OUTPUT ${map} CONTENT "${text}" @ONLY)
  set_target_properties(${target} PROPERTIES LINK_DEPENDS ${map})
  target_link_options(${target} PRIVATE -Wl,--version-script=${map} -Wl,--exclude-libs,ALL)
  if(NOT WVAD_SANITIZE)
    target_link_options(${target} PRIVATE -Wl,-z,defs)
  endif()
endfunction()

if(WIN32)
  include(${CMAKE_CURRENT_LIST_DIR}/windows_dll.cmake)
endif()

add_library(wvad SHARED $<TARGET_OBJECTS:wvad_api>)
add_library(wvad::wvad ALIAS wvad)
set_target_properties(wvad PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
# The parts below are inside the library; a client links nothing of them.
target_link_libraries(wvad PRIVATE $<BUILD_INTERFACE:wvad_flags> $<BUILD_INTERFACE:wvad_api>)
wvad_exports(wvad exports.txt)

# libwvad-stream, whose ABI has a number of its own.
file(STRINGS ${PROJECT_SOURCE_DIR}/include/wvad_stream.h _wvad_stream_abi REGEX "^#define WVAD_STREAM_ABI [0-9]+")
string(REGEX REPLACE ".* " "" _wvad_stream_abi "${_wvad_stream_abi}")
add_library(wvad-stream SHARED $<TARGET_OBJECTS:wvad_stream_api>)
add_library(wvad::stream ALIAS wvad-stream)
set_target_properties(
  wvad-stream PROPERTIES VERSION ${_wvad_stream_abi}.${PROJECT_VERSION_MINOR}.${PROJECT_VERSION_PATCH} SOVERSION ${_wvad_stream_abi}
                         EXPORT_NAME stream)
target_link_libraries(wvad-stream PRIVATE $<BUILD_INTERFACE:wvad_flags> $<BUILD_INTERFACE:wvad_stream_api>)
wvad_exports(wvad-stream stream_exports.txt)
if(NOT WIN32)
  # FFTW keeps what its planner has learnt, some 200 KB, and cannot be told to forget it while somebody else in the process has plans. A host that
  # loads and unloads a library again and again would lose that much each time, so this one stays once it is loaded, with the transform of this tree too.
  target_link_options(wvad-stream PRIVATE -Wl,-z,nodelete)
endif()

# The bundled models lie where the library looks for them by default: in the folder "vad" beside its own file.
set(_wvad_library_folder ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
if(WIN32)
  set(_wvad_library_folder ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
endif()
file(GLOB _wvad_models CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/models/*.bin)
set(_wvad_copied_models)
foreach(_model IN LISTS _wvad_models)
  get_filename_component(_name ${_model} NAME)
  set(_copy ${_wvad_library_folder}/vad/${_name})
  add_custom_command(OUTPUT ${_copy} COMMAND ${CMAKE_COMMAND} -E copy_if_different ${_model} ${_copy} DEPENDS ${_model})
  list(APPEND _wvad_copied_models ${_copy})
endforeach()
add_custom_target(wvad_models ALL DEPENDS ${_wvad_copied_models})
