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
here=$(cd "$(dirname "$0")/.." && pwd)
boost_version=$(sed -n 's/^#define BOOST_LIB_VERSION "\(.*\)_\(.*\)"/\1.\2/p' /usr/include/boost/version.hpp)
boost_source=boost$boost_version
mkdir -p "$folder/include" "$folder/lib/cmake/Boost" "$folder/lib/pkgconfig" "$folder/build" "$folder/../sources"
folder=$(cd "$folder" && pwd)
sources=$(cd "$folder/../sources" && pwd)
case $triplet in
  x86_64-*)
    toolchain=$here/cmake/windows-x86_64.cmake
    machine_flags=
    ;;
  *)
    toolchain=$here/cmake/windows-i686.cmake
    machine_flags="-msse2 -mfpmath=sse -mstackrealign"
    ;;
esac

# fetch PACKAGE...: unpacks Debian's sources, from the places that this system's own packages come from, into folders of these names.
fetch() {
  mkdir -p "$sources/apt/lists/partial"
  apt-get indextargets --format '$(SITE) $(RELEASE) $(COMPONENT) $(ORIGIN)' 'Created-By: Packages' |
    sed -n 's/^\(.*\) Debian$/deb-src \1/p' | sort -u >"$sources/apt/sources.list"
  source_apt() {
    apt-get -q -o Dir::Etc::sourcelist="$sources/apt/sources.list" -o Dir::Etc::sourceparts=- -o Dir::State::lists="$sources/apt/lists" \
      -o APT::Sandbox::User=root "$@" >&2
  }
  for package in "$@"; do
    [ -d "$sources/$package" ] && continue
    [ -e "$sources/apt/updated" ] || { source_apt update && : >"$sources/apt/updated"; }
    mkdir -p "$sources/packages/$package"
    (
      cd "$sources/packages/$package"
      source_apt source --download-only "$package"
      if [ "$package" = "$boost_source" ]; then
        # Of its hundreds of megabytes one folder is wanted.
        mkdir -p "$package"
        tar -xf "$package"_*.orig.tar.* -C "$package" --strip-components=1 boost/libs/thread/src
      else
        dpkg-source --no-check -x ./*.dsc "$package" >&2
      fi
    )
    mv "$sources/packages/$package/$package" "$sources/$package"
  done
}

# cmake_library SOURCE NAME [OPTION...]: builds and installs a library that has CMake files.
cmake_library() {
  source=$1
  name=$2
  shift 2
  cmake -G Ninja -S "$source" -B "$folder/build/$name" -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_INSTALL_PREFIX="$folder" -DBUILD_SHARED_LIBS=OFF "$@" >&2
  cmake --build "$folder/build/$name" -j "${WVAD_JOBS:-2}" --target install >&2
}

# package_file NAME LIBS [CFLAGS]: its description for pkg-config, which such libraries do not install for Windows.
package_file() {
  printf 'Name: %s\nDescription: %s\nVersion: %s\nLibs: -L%s %s\nCflags: -I%s %s\n' "$1" "$1" \
    "$(dpkg-parsechangelog -l "$sources/${4:-lib$1}/debian/changelog" -S Version | sed 's/[-+].*//; s/^[0-9]*://')" "$folder/lib" "$2" \
    "$folder/include" "${3:-}" >"$folder/lib/pkgconfig/$1.pc"
}

# Headers alone, each library's folder and nothing else of /usr/include.
for library in boost nlohmann CLI; do ln -sfn "/usr/include/$library" "$folder/include/$library"; done
for library in nlohmann_json CLI11; do cp -r "/usr/share/cmake/$library" "$folder/lib/cmake/"; done

# Boost.Thread, without the parts that wait by Boost.Chrono.
fetch "$boost_source"
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
    set_target_properties(Boost::\${library} PROPERTIES INTERFACE_INCLUDE_DIRECTORIES "$folder/include")
  endif()
  set(Boost_\${library}_FOUND 1)
endforeach()
set_target_properties(Boost::thread PROPERTIES INTERFACE_LINK_LIBRARIES "$folder/lib/libboost_thread.a"
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

fetch libsoxr
cmake_library "$sources/libsoxr" soxr -DWITH_OPENMP=OFF -DBUILD_TESTS=OFF -DBUILD_EXAMPLES=OFF -DWITH_LSR_BINDINGS=OFF
package_file soxr "-lsoxr"
cmake_library /usr/src/googletest googletest
rm -r "$folder/build"
: >"$folder/complete"
