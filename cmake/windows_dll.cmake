# SPDX-License-Identifier: Apache-2.0
# What makes a DLL of a shared library: the names by a .def file with their ordinals, an import library, a version resource. And what a program
# says of itself.
enable_language(RC)

# wvad_exports_of_dll(<target> <lines>): shows the names of the lines "<ordinal> <name>" alone, under their ordinals. Makes <target>.def in the
# build folder, from which other linkers make import libraries of their own; that of GNU is lib<target>.dll.a.
function(wvad_exports_of_dll target lines)
  set(text "EXPORTS\n")
  foreach(line IN LISTS lines)
    string(REGEX REPLACE "^([0-9]+) (.*)" "  \\2 @\\1\n" row "${line}")
    string(APPEND text "${row}")
  endforeach()
  set(def ${PROJECT_BINARY_DIR}/${target}.def)
  file(CONFIGURE OUTPUT ${def} CONTENT "${text}")
  set(resource ${PROJECT_BINARY_DIR}/${target}.rc)
  set(file_name ${target}.dll)
  set(file_type VFT_DLL)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/version.rc.in ${resource} @ONLY)
  target_sources(${target} PRIVATE ${def} ${resource})
  # Named as such libraries are there, without "lib".
  set_target_properties(${target} PROPERTIES PREFIX "")
endfunction()

# wvad_resources_of_program(<target> <name>): the version resource of <name>.exe, and the manifest that has code pages, long paths and rights told.
function(wvad_resources_of_program target name)
  set(resource ${PROJECT_BINARY_DIR}/${name}_program.rc)
  set(file_name ${name}.exe)
  set(file_type VFT_APP)
  set(more_resources "1 24 \"${PROJECT_SOURCE_DIR}/cmake/windows_program.manifest\"")
  configure_file(${PROJECT_SOURCE_DIR}/cmake/version.rc.in ${resource} @ONLY)
  set_property(SOURCE ${resource} PROPERTY OBJECT_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/windows_program.manifest)
  target_sources(${target} PRIVATE ${resource})
endfunction()
