# SPDX-License-Identifier: Apache-2.0
# Sourced by the scripts that make libraries for Windows: Debian's sources, and what builds a library of them into $folder for $triplet.
# Expects $folder and $triplet, and gives $here, $sources, $toolchain and $machine_flags.

here=$(cd "$(dirname "$0")/.." && pwd)
mkdir -p "$folder/include" "$folder/lib/pkgconfig" "$folder/build" "$folder/licences" "$folder/../sources"
folder=$(cd "$folder" && pwd)
sources=$(cd "$folder/../sources" && pwd)
case $triplet in
  x86_64-*) machine_flags= ;;
  *) machine_flags="-msse2 -mfpmath=sse -mstackrealign" ;;
esac
# What is handed on does not tell where it was made.
machine_flags="$machine_flags -ffile-prefix-map=$sources=. -ffile-prefix-map=$folder=."
toolchain=$here/cmake/windows-${triplet%-w64-mingw32}.cmake

# fetch PACKAGE [PATH]: unpacks Debian's sources, from the places that this system's own packages come from, into a folder of this name; of those
# with hundreds of megabytes PATH alone.
fetch() {
  mkdir -p "$sources/apt/lists/partial"
  apt-get indextargets --format '$(SITE) $(RELEASE) $(COMPONENT) $(ORIGIN)' 'Created-By: Packages' |
    sed -n 's/^\(.*\) Debian$/deb-src \1/p' | sort -u >"$sources/apt/sources.list"
  source_apt() {
    apt-get -q -o Dir::Etc::sourcelist="$sources/apt/sources.list" -o Dir::Etc::sourceparts=- -o Dir::State::lists="$sources/apt/lists" \
      -o APT::Sandbox::User=root "$@" >&2
  }
  [ -d "$sources/$1" ] && return 0
  [ -e "$sources/apt/updated" ] || { source_apt update && : >"$sources/apt/updated"; }
  mkdir -p "$sources/packages/$1"
  (
    cd "$sources/packages/$1"
    # Mirrors may lack the author's signature, which is not looked at: apt has compared the sums of what it fetched.
    if ! source_apt source --download-only "$1"; then
      for signature in $(sed -n 's/^ [0-9a-f]\{32,\} [0-9]* \(.*\.asc\)$/\1/p' ./*.dsc | sort -u); do
        [ -e "$signature" ] || : >"$signature"
      done
    fi
    rm -rf "$1"
    if [ $# -gt 1 ]; then
      mkdir -p "$1"
      tar -xf "$1"_*.orig.tar.* -C "$1" --strip-components=1 "$2"
    else
      dpkg-source --no-check -x ./*.dsc "$1" >&2
    fi
  )
  mv "$sources/packages/$1/$1" "$sources/$1"
}

# licence_of PACKAGE: keeps what Debian says of its authors and licences, for those who are given the library.
licence_of() { cp "$sources/$1/debian/copyright" "$folder/licences/$1.txt"; }

# cmake_install SOURCE NAME [OPTION...]: builds and installs what has CMake files.
cmake_install() {
  source=$1
  name=$2
  shift 2
  cmake -G Ninja -S "$source" -B "$folder/build/$name" -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_INSTALL_PREFIX="$folder" -DCMAKE_INSTALL_LIBDIR=lib -DBUILD_SHARED_LIBS=OFF -DCMAKE_C_COMPILER_LAUNCHER=ccache \
    -DCMAKE_CXX_COMPILER_LAUNCHER=ccache "$@" >&2
  cmake --build "$folder/build/$name" -j "${WVAD_JOBS:-2}" --target install >&2
}

# cmake_library PACKAGE [OPTION...]: a library of Debian's sources, whose CMake files lie in its folder $cmake_below where that is set.
cmake_library() {
  package=$1
  shift
  [ -e "$folder/licences/$package.txt" ] && return 0
  fetch "$package"
  cmake_install "$sources/$package${cmake_below:+/$cmake_below}" "$package" "$@"
  licence_of "$package"
}

# configured_library PACKAGE [OPTION...]: one whose sources have a script "configure".
configured_library() {
  package=$1
  shift
  [ -e "$folder/licences/$package.txt" ] && return 0
  fetch "$package"
  mkdir -p "$folder/build/$package"
  (
    cd "$folder/build/$package"
    "$sources/$package/configure" --host="$triplet" CC="ccache $triplet-gcc-posix" CFLAGS="-O2 $machine_flags" --prefix="$folder" \
      --libdir="$folder/lib" --disable-shared "$@"
    make -j "${WVAD_JOBS:-2}" install
  ) >&2
  licence_of "$package"
}

# package_file NAME PACKAGE LIBS [CFLAGS]: its description for pkg-config, in the place of one that names shared libraries, or none. It finds its
# files from where it lies itself, so that a clone with all its builds can be moved.
package_file() {
  printf 'Name: %s\nDescription: %s\nVersion: %s\nLibs: -L${pcfiledir}/.. %s\nCflags: -I${pcfiledir}/../../include %s\n' "$1" "$1" \
    "$(dpkg-parsechangelog -l "$sources/$2/debian/changelog" -S Version | sed 's/[-+].*//; s/^[0-9]*://')" "$3" "${4:-}" \
    >"$folder/lib/pkgconfig/$1.pc"
}
