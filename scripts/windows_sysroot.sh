#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Makes a folder with the headers and static libraries that a build for Windows takes, from Debian's packages and source packages; nothing is
# installed.
#
#   scripts/windows_sysroot.sh FOLDER TRIPLET    FOLDER/include, FOLDER/lib for x86_64-w64-mingw32 or i686-w64-mingw32; does nothing where it
#                                                is complete. The source packages are fetched once, into FOLDER/../sources.
#
# Needs the compilers of TRIPLET, cmake, ninja, dpkg-dev, googletest, and the headers of Boost, nlohmann json and CLI11 of this system.
set -eu
folder=$1
triplet=$2
[ -e "$folder/complete" ] && exit 0
. "$(dirname "$0")/windows_sources.sh"
boost_version=$(sed -n 's/^#define BOOST_LIB_VERSION "\(.*\)_\(.*\)"/\1.\2/p' /usr/include/boost/version.hpp)
boost_source=boost$boost_version
mkdir -p "$folder/lib/cmake/Boost"

# Headers alone, each library's folder and nothing else of /usr/include.
for library in boost nlohmann CLI; do ln -sfn "/usr/include/$library" "$folder/include/$library"; done
for library in nlohmann_json CLI11; do cp -r "/usr/share/cmake/$library" "$folder/lib/cmake/"; done

# Boost.Thread, without the parts that wait by Boost.Chrono.
fetch "$boost_source" boost/libs/thread/src
mkdir -p "$folder/build/boost"
thread_options="-DBOOST_THREAD_BUILD_LIB -DBOOST_THREAD_DONT_USE_CHRONO -D_WIN32_WINNT=0x0601 $machine_flags"
for part in win32/thread win32/thread_primitives win32/tss_pe win32/tss_dll tss_null; do
  # shellcheck disable=SC2086
  "$triplet-g++-posix" -std=c++20 -O2 -w $thread_options -I"$folder/include" -c "$sources/$boost_source/libs/thread/src/$part.cpp" \
    -o "$folder/build/boost/$(basename "$part").o"
done
"$triplet-ar" rcs "$folder/lib/libboost_thread.a" "$folder"/build/boost/*.o
cat >"$folder/lib/cmake/Boost/BoostConfig.cmake" <<EOF
foreach(library boost headers system thread)
  if(NOT TARGET Boost::\${library})
    add_library(Boost::\${library} INTERFACE IMPORTED)
    set_target_properties(Boost::\${library} PROPERTIES INTERFACE_INCLUDE_DIRECTORIES "\${CMAKE_CURRENT_LIST_DIR}/../../../include")
  endif()
  set(Boost_\${library}_FOUND 1)
endforeach()
set_target_properties(Boost::thread PROPERTIES INTERFACE_LINK_LIBRARIES "\${CMAKE_CURRENT_LIST_DIR}/../../libboost_thread.a"
                                               INTERFACE_COMPILE_DEFINITIONS "BOOST_THREAD_USE_LIB;BOOST_THREAD_DONT_USE_CHRONO")
EOF
cat >"$folder/lib/cmake/Boost/BoostConfigVersion.cmake" <<EOF
set(PACKAGE_VERSION $boost_version.0)
if(NOT PACKAGE_FIND_VERSION VERSION_GREATER PACKAGE_VERSION)
  set(PACKAGE_VERSION_COMPATIBLE TRUE)
endif()
EOF

# The logarithms and exponentials of musl, which are those of glibc without its instruction levels: results of this system's libraries, to the
# bit in single precision. The target's own ones are computed with a precision that the program's other parts may change.
fetch musl
mkdir -p "$folder/build/math/shim"
printf '#define __LITTLE_ENDIAN 1234\n#define __BIG_ENDIAN 4321\n#define __BYTE_ORDER __LITTLE_ENDIAN\n' >"$folder/build/math/shim/endian.h"
printf '#define hidden\n#define weak_alias(name, other)\n' >"$folder/build/math/shim/features.h"
for part in exp exp_data log log_data logf logf_data log10 pow pow_data cos __cos __sin __rem_pio2 __rem_pio2_large __math_divzero __math_divzerof \
  __math_invalid __math_invalidf __math_oflow __math_uflow __math_xflow; do
  # shellcheck disable=SC2086
  "$triplet-gcc-posix" -std=c99 -O2 -ffp-contract=off -w -Dhidden= $machine_flags -I"$folder/build/math/shim" -I"$sources/musl/src/internal" \
    -I"$sources/musl/arch/generic" -c "$sources/musl/src/math/$part.c" -o "$folder/build/math/$part.o"
done
"$triplet-ar" rcs "$folder/lib/libmath.a" "$folder"/build/math/*.o

cmake_library libsoxr -DWITH_OPENMP=OFF -DBUILD_TESTS=OFF -DBUILD_EXAMPLES=OFF -DWITH_LSR_BINDINGS=OFF
package_file soxr libsoxr -lsoxr
licence_of musl
cp /usr/share/doc/libboost-dev/copyright "$folder/licences/boost.txt"
cp /usr/share/doc/gcc-mingw-w64-base/copyright "$folder/licences/gcc.txt"
cp /usr/share/doc/mingw-w64-common/copyright "$folder/licences/mingw-w64.txt"
cmake_install /usr/src/googletest googletest
rm -r "$folder/build"
: >"$folder/complete"
