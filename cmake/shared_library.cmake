# SPDX-License-Identifier: Apache-2.0
# The shared library: the exported functions' objects with everything below them, and only the names of exports.txt to be seen from outside.
file(STRINGS ${PROJECT_SOURCE_DIR}/cmake/exports.txt _wvad_export_lines REGEX "^[0-9]+ ")
set(_wvad_map "{\n  global:\n")
foreach(_line IN LISTS _wvad_export_lines)
  string(REGEX REPLACE "^[0-9]+ " "" _name "${_line}")
  string(APPEND _wvad_map "    ${_name};\n")
endforeach()
# No version name: the node itself would be one more exported symbol.
string(APPEND _wvad_map "  local:\n    *;\n};\n")
file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/wvad.map CONTENT "${_wvad_map}" @ONLY)
set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/exports.txt)

add_library(wvad SHARED $<TARGET_OBJECTS:wvad_api>)
add_library(wvad::wvad ALIAS wvad)
set_target_properties(
  wvad
  PROPERTIES VERSION ${PROJECT_VERSION}
             SOVERSION ${PROJECT_VERSION_MAJOR}
             LINKER_LANGUAGE CXX
             LINK_DEPENDS ${PROJECT_BINARY_DIR}/wvad.map)
target_include_directories(wvad INTERFACE $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
# The parts below are inside the library; a client links nothing of them.
target_link_libraries(wvad PRIVATE $<BUILD_INTERFACE:wvad_flags> $<BUILD_INTERFACE:wvad_api>)
target_link_options(wvad PRIVATE -Wl,--version-script=${PROJECT_BINARY_DIR}/wvad.map -Wl,--exclude-libs,ALL)
if(NOT WVAD_SANITIZE)
  target_link_options(wvad PRIVATE -Wl,-z,defs)
endif()

# The bundled models lie where the library looks for them by default: in the folder "vad" beside its own file.
file(GLOB _wvad_models CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/models/*.bin)
set(_wvad_copied_models)
foreach(_model IN LISTS _wvad_models)
  get_filename_component(_name ${_model} NAME)
  set(_copy ${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/vad/${_name})
  add_custom_command(OUTPUT ${_copy} COMMAND ${CMAKE_COMMAND} -E copy_if_different ${_model} ${_copy} DEPENDS ${_model})
  list(APPEND _wvad_copied_models ${_copy})
endforeach()
add_custom_target(wvad_models ALL DEPENDS ${_wvad_copied_models})
