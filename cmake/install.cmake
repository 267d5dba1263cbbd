# SPDX-License-Identifier: Apache-2.0
# What an installation holds: headers, shared libraries, models beside them, CMake package, pkg-config file, program, GStreamer element, manual page, licence.
include(CMakePackageConfigHelpers)

if(WIN32)
  # A folder by itself, which may lie anywhere: DLLs, models and program in bin, what linkers take in lib, papers in doc.
  set(CMAKE_INSTALL_DOCDIR doc)
  set(_library_folder ${CMAKE_INSTALL_BINDIR})
  set(_program)
  if(WVAD_BUILD_TOOLS)
    set(_program "  bin\\wvad.exe            the program:  wvad segment talk.wav     wvad --help; doc\\docs\\cli.md tells the rest\n")
  endif()
  configure_file(cmake/windows_readme.txt.in ${PROJECT_BINARY_DIR}/README.txt @ONLY NEWLINE_STYLE WIN32)
  install(FILES LICENSE NOTICE ${PROJECT_BINARY_DIR}/README.txt DESTINATION .)
  install(FILES ${PROJECT_BINARY_DIR}/wvad.def ${PROJECT_BINARY_DIR}/wvad-stream.def DESTINATION ${CMAKE_INSTALL_LIBDIR})
  install(DIRECTORY ${WVAD_TARGET_LICENCES}/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/licences)
else()
  set(_library_folder ${CMAKE_INSTALL_LIBDIR})
endif()
install(TARGETS wvad wvad-stream EXPORT wvadTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES include/wvad.h include/wvad_stream.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
file(GLOB _models CONFIGURE_DEPENDS models/*.bin)
install(FILES ${_models} DESTINATION ${_library_folder}/vad)
# The pages lie to each other as they do here, so that their links lead somewhere.
install(FILES LICENSE NOTICE README.md CONTRIBUTING.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES include/wvad.h include/wvad_stream.h DESTINATION ${CMAKE_INSTALL_DOCDIR}/include)
install(FILES tools/modelfile/README.md DESTINATION ${CMAKE_INSTALL_DOCDIR}/tools/modelfile)
install(FILES python/README.md DESTINATION ${CMAKE_INSTALL_DOCDIR}/python)
install(FILES js/README.md js/licences.txt DESTINATION ${CMAKE_INSTALL_DOCDIR}/js)
install(DIRECTORY js/demo DESTINATION ${CMAKE_INSTALL_DOCDIR}/js)
install(DIRECTORY docs examples DESTINATION ${CMAKE_INSTALL_DOCDIR} PATTERN CMakeLists.txt EXCLUDE)
# Cards, licences and credits of the models go where the models go to people.
file(GLOB _model_papers CONFIGURE_DEPENDS models/*.md models/LICENSE.* models/*.csv models/SHA256SUMS)
install(FILES ${_model_papers} DESTINATION ${CMAKE_INSTALL_DOCDIR}/models)
if(WVAD_BUILD_TOOLS)
  install(TARGETS wvad_program RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  foreach(module wvad_media wvad_capture)
    if(TARGET ${module})
      install(TARGETS ${module} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/wvad)
    endif()
  endforeach()
  if(TARGET wvad_gstreamer)
    install(TARGETS wvad_gstreamer LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/gstreamer-1.0)
  endif()
  if(NOT CMAKE_CROSSCOMPILING)
    install(FILES ${PROJECT_BINARY_DIR}/completions/wvad DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
    install(FILES ${PROJECT_BINARY_DIR}/completions/_wvad DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
    install(FILES ${PROJECT_BINARY_DIR}/completions/wvad.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
  endif()
  if(NOT WIN32)
    install(FILES tools/wvad/wvad.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  endif()
endif()

set(_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/wvad)
install(EXPORT wvadTargets NAMESPACE wvad:: DESTINATION ${_package_dir})
configure_package_config_file(cmake/wvadConfig.cmake.in ${PROJECT_BINARY_DIR}/wvadConfig.cmake INSTALL_DESTINATION ${_package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/wvadConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/wvadConfig.cmake ${PROJECT_BINARY_DIR}/wvadConfigVersion.cmake DESTINATION ${_package_dir})

# The folders are told from the prefix, so that an installation can be moved with its pkg-config file.
file(RELATIVE_PATH WVAD_PREFIX_FROM_PC ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/wvad.pc.in ${PROJECT_BINARY_DIR}/wvad.pc @ONLY)
configure_file(cmake/wvad-stream.pc.in ${PROJECT_BINARY_DIR}/wvad-stream.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/wvad.pc ${PROJECT_BINARY_DIR}/wvad-stream.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# Takes away what the last installation from this build folder has put there.
add_custom_target(
  uninstall
  COMMAND ${CMAKE_COMMAND} -D MANIFEST=${PROJECT_BINARY_DIR}/install_manifest.txt -P ${PROJECT_SOURCE_DIR}/cmake/uninstall.cmake
  COMMENT "Removing the installed files"
  VERBATIM)
