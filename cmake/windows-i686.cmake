# SPDX-License-Identifier: Apache-2.0
# Toolchain: from Debian to 32-bit Windows.
set(CMAKE_SYSTEM_PROCESSOR i686)
set(_triplet i686-w64-mingw32)
# Float arithmetic rounds each operation to its type only in these registers. Callers built by others align the stack to 4 bytes.
set(_machine_flags "-msse2 -mfpmath=sse -mstackrealign")
# The heap of that system aligns to 8 bytes, which g++ takes for 16: what needs more has to ask for it.
set(_cxx_flags "-faligned-new=8")
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../scripts/wine_run.sh)
include(${CMAKE_CURRENT_LIST_DIR}/windows-mingw.cmake)
