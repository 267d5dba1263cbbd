# SPDX-License-Identifier: Apache-2.0
# Toolchain: from Debian to 64-bit Windows. Programs that are run here are run by Wine.
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(_triplet x86_64-w64-mingw32)
# Calls of that system align the stack to 16 bytes, and g++ believes in 32 where it spills wide registers; so no move may rely on it.
set(_machine_flags "-Wa,-muse-unaligned-vector-move")
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../scripts/wine_run.sh)
include(${CMAKE_CURRENT_LIST_DIR}/windows-mingw.cmake)
