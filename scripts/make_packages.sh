#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Makes what people pick up from the last commit, whatever else lies in the working tree: files in the folder dist, and SHA256SUMS with them.
#
#   scripts/make_packages.sh                    all of them
#   scripts/make_packages.sh KIND...            some of them:
#                                               debian   for the Debian of this machine, looked through by lintian
#                                               wheel    for Python, with the transform of this tree, so that it is not under the GPL
#                                               npm      for JavaScript
#                                               windows  a zip for 64-bit Windows and one for 32-bit Windows
#                                               arm64    a tar for Debian on ARM64, with the transform of this tree
#   scripts/make_packages.sh --twice [KIND...]  makes them a second time, in another folder and without the compiler's cache, and compares:
#                                               nothing may differ
#
# WVAD_JOBS says how many compilers run at once.
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
root=$PWD
version=$(sed -n 's/^#define WVAD_VERSION "\(.*\)"/\1/p' include/wvad.h)
jobs=$(build_jobs)
# Equal bytes from equal sources: no time but that of the commit, no order but that of the bytes of names, no rights but the usual ones.
SOURCE_DATE_EPOCH=$(git log -1 --format=%ct)
LC_ALL=C
TZ=UTC
export SOURCE_DATE_EPOCH LC_ALL TZ
umask 022

# export_sources FOLDER: the last commit in FOLDER, with what scripts unpack for a build as it lies in the working tree.
export_sources() {
  rm -rf "$1"
  mkdir -p "$1"
  git archive HEAD | tar -x -C "$1"
  for unpacked in build-soxr-source build-windows-sysroot build-arm64-sysroot; do
    [ ! -d "$unpacked" ] || ln -s "$root/$unpacked" "$1/$unpacked"
  done
}

# no_paths: what is compiled in this folder does not tell of it.
no_paths() {
  CFLAGS="-ffile-prefix-map=$PWD=."
  CXXFLAGS=$CFLAGS
  export CFLAGS CXXFLAGS
}

make_debian() {
  grep -q "^wvad ($version) " debian/changelog || {
    echo "$0: debian/changelog does not begin with version $version" >&2
    return 1
  }
  DEB_BUILD_OPTIONS="noautodbgsym parallel=$jobs" dpkg-buildpackage -us -uc -b
  # What it makes, it puts beside the sources' folder.
  (cd .. && lintian --allow-root --fail-on error,warning wvad_"$version"_*.changes && cp ./*.deb "$1")
}

make_wheel() {
  # With the flags of the distribution, as its own packages.
  eval "$(DEB_BUILD_MAINT_OPTIONS=hardening=+all dpkg-buildflags --export=sh)"
  export CFLAGS="$CFLAGS $CPPFLAGS" CXXFLAGS="$CXXFLAGS $CPPFLAGS"
  cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release -DWVAD_FFT=builtin -DWVAD_BUILD_TESTS=OFF -DWVAD_BUILD_EXAMPLES=OFF
  cmake --build build -j "$jobs"
  /usr/bin/python3 python/make_wheel.py build "$1"
}

make_npm() {
  no_paths
  scripts/test_js.sh --build
  npm pack ./js --pack-destination "$1"
}

# windows_zip OUT BITS PROCESSOR
windows_zip() {
  name=wvad-$version-windows-$3
  cmake --preset "win$2" -DWVAD_BUILD_TESTS=OFF
  cmake --build "build-win$2" -j "$jobs" --target wvad wvad-stream wvad_models wvad_program
  cmake --install "build-win$2" --strip --prefix "$PWD/stage/$name"
  find stage -exec touch -h -d "@$SOURCE_DATE_EPOCH" {} +
  (cd stage && find "$name" | sort | zip -q -9 -X -@ "$1/$name.zip")
}

make_windows() {
  windows_zip "$1" 64 x86_64
  windows_zip "$1" 32 i686
}

make_arm64() {
  no_paths
  name=wvad-$version-debian12-arm64
  # A path to the target's libraries would go with the installation, but not out of the identity that the linker has made of all bytes.
  cmake -S . -B build -G Ninja --toolchain cmake/arm64-linux.cmake -DCMAKE_BUILD_TYPE=Release -DWVAD_FFT=builtin -DWVAD_BUILD_TESTS=OFF \
    -DWVAD_BUILD_EXAMPLES=OFF -DCMAKE_INSTALL_LIBDIR=lib -DCMAKE_SKIP_BUILD_RPATH=ON
  cmake --build build -j "$jobs"
  cmake --install build --strip --prefix "$PWD/stage/$name"
  papers=stage/$name/licences
  mkdir "$papers"
  cp LICENSE NOTICE "$papers"
  cp scripts/arm64_licences.txt "$papers/README.txt"
  for library in boost=libboost-dev CLI11=libcli11-dev nlohmann-json=nlohmann-json3-dev; do
    cp "/usr/share/doc/${library#*=}/copyright" "$papers/${library%=*}.copyright"
  done
  tar -C stage --sort=name --mtime="@$SOURCE_DATE_EPOCH" --owner=0 --group=0 --numeric-owner --format=ustar -c "$name" | gzip -n -9 >"$1/$name.tar.gz"
}

# prepare KIND: what making it takes of this system.
prepare() {
  case "$1" in
    debian) ensure_packages $build_packages build-essential debhelper dh-python lintian fakeroot python3 python3-setuptools python3-wheel ;;
    wheel) ensure_packages $build_packages dpkg-dev python3 python3-pip python3-setuptools python3-wheel patchelf binutils ;;
    npm)
      ensure_packages $js_packages
      command -v npm >/dev/null || ensure_packages npm
      scripts/soxr_source.sh build-soxr-source
      ;;
    windows)
      ensure_packages $build_packages $windows_packages zip
      for triplet in x86_64-w64-mingw32 i686-w64-mingw32; do
        WVAD_JOBS=$jobs scripts/windows_sysroot.sh "build-windows-sysroot/$triplet" "$triplet"
        WVAD_JOBS=$jobs scripts/windows_decoders.sh "build-windows-sysroot/$triplet" "$triplet"
      done
      ;;
    arm64)
      ensure_packages $build_packages $arm64_packages
      scripts/arm64_sysroot.sh build-arm64-sysroot
      ;;
  esac
}

# files_of KIND: how the files of a kind are named.
files_of() {
  case "$1" in
    debian) echo '*.deb' ;;
    wheel) echo 'wvad-*.whl' ;;
    npm) echo 'wvad-*.tgz' ;;
    windows) echo 'wvad-*-windows-*.zip' ;;
    arm64) echo 'wvad-*-arm64.tar.gz' ;;
  esac
}

# make_all FOLDER OUT KIND...: builds in FOLDER, puts what is handed on into OUT, in the place of what was made before.
make_all() {
  folder=$1
  out=$2
  shift 2
  mkdir -p "$folder" "$out"
  for kind in "$@"; do
    started=$(date +%s)
    find "$out" -maxdepth 1 -name "$(files_of "$kind")" -exec rm {} +
    export_sources "$folder/$kind/wvad-$version"
    # Behind "if" or "||" a shell would go on after a command that failed; in one of its own it ends there.
    (
      cd "$folder/$kind/wvad-$version"
      "make_$kind" "$out"
    ) >"$folder/$kind.log" 2>&1 </dev/null &
    wait $! || {
      tail -n 60 "$folder/$kind.log" >&2
      echo "$0: $kind failed, see $folder/$kind.log" >&2
      exit 1
    }
    echo "made    $kind ($(($(date +%s) - started)) s)"
  done
}

twice=no
kinds=""
for argument in "$@"; do
  case "$argument" in
    --twice) twice=yes ;;
    debian | wheel | npm | windows | arm64) kinds="$kinds $argument" ;;
    *)
      echo "usage: $0 [--twice] [debian] [wheel] [npm] [windows] [arm64]" >&2
      exit 2
      ;;
  esac
done
[ -n "$kinds" ] || kinds="debian wheel npm windows arm64"

for kind in $kinds; do prepare "$kind"; done
make_all "$root/build-packages" "$root/dist" $kinds
(cd dist && find . -type f ! -name SHA256SUMS -printf '%P\n' | sort | xargs sha256sum >SHA256SUMS)
if [ "$twice" = yes ]; then
  again=$root/build-packages-again
  export CCACHE_RECACHE=1
  make_all "$again" "$again/dist" $kinds
  for kind in $kinds; do
    for file in $(cd dist && find . "$again/dist" -maxdepth 1 -name "$(files_of "$kind")" -printf '%f\n' | sort -u); do
      cmp "dist/$file" "$again/dist/$file" || exit 1
      echo "equal   $file"
    done
  done
  rm -rf "$again"
fi
cat dist/SHA256SUMS
