# SPDX-License-Identifier: Apache-2.0
# What the two toolchains for Windows share: Debian's mingw-w64 compilers with POSIX threads, and the libraries of
# scripts/windows_sysroot.sh in the folder build-windows-sysroot/<triplet>. Expects _triplet, _machine_flags and, where C++ needs more, _cxx_flags.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_C_COMPILER ${_triplet}-gcc-posix)
set(CMAKE_CXX_COMPILER ${_triplet}-g++-posix)
set(CMAKE_RC_COMPILER ${_triplet}-windres)
# Windows 7 is the oldest that is served.
set(CMAKE_C_FLAGS_INIT "${_machine_flags} -D_WIN32_WINNT=0x0601 -DWIN32_LEAN_AND_MEAN -DNOMINMAX")
set(CMAKE_CXX_FLAGS_INIT "${CMAKE_C_FLAGS_INIT} ${_cxx_flags}")
# The compilers' own libraries go into each file, so that it needs nothing but what every Windows has.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")
get_filename_component(_sysroot ${CMAKE_CURRENT_LIST_DIR}/../build-windows-sysroot/${_triplet} ABSOLUTE)
# Logarithms and exponentials to the same bits as under Linux, in front of the target's own.
set(CMAKE_CXX_STANDARD_LIBRARIES "${_sysroot}/lib/libmath.a -lkernel32 -luser32 -ladvapi32" CACHE STRING "Libraries of every link")
set(CMAKE_FIND_ROOT_PATH ${_sysroot})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} ${_sysroot}/lib/pkgconfig)
# What the licences of those libraries ask to be handed on with them.
set(WVAD_TARGET_LICENCES ${_sysroot}/licences)
# By which name Wine knows the root folder of this system.
set(WVAD_TEST_ROOT Z:)
