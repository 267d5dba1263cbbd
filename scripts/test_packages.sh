#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Tries what scripts/make_packages.sh has put into dist, each where it would be used. A recording of four phrases has to give four sentences, the
# same ones from every package; its licences have to be in it, and no folder of the machine that made it.
#
#   scripts/test_packages.sh [KIND...] [--write PAGE]
#
#   debian   a fresh Debian: installed, used as debian/tests says, removed without a trace
#   wheel    a fresh Debian that has Python and NumPy
#   npm      an empty folder, with this machine's Node.js
#   windows  a folder for each width: the program, and a client compiled against it, by Wine
#   arm64    the libraries of a fresh Debian for ARM64, a client compiled against it and the program, by qemu-user
#
# All of them are tried where none is named. --write puts sizes and times into the table of PAGE (docs/platforms.md).
# Needs root (a fresh system is a folder that it changes its root to) and the network, for the packages of that system.
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
root=$PWD
version=$(sed -n 's/^#define WVAD_VERSION "\(.*\)"/\1/p' include/wvad.h)
codename=$(. /etc/os-release && echo "$VERSION_CODENAME")
work=$root/build-packages/tried
fresh=$work/system
phrases=$work/jfk.raw
reading=$work/moby.raw
reading_seconds=36
page=""

say_failed() {
  echo "$*" >&2
  exit 1
}

# decode FLAC RAW: the samples of a recording, 16 bits, 16000 a second.
decode() { flac --decode --silent --force --force-raw-format --endian=little --sign=signed -o "$2" "$1"; }

# fresh_system VARIANT ARCHITECTURE PACKAGE...: the folder $fresh, from where this system's packages come from.
fresh_system() {
  variant=$1
  architecture=$2
  shift 2
  rm -rf --one-file-system "$fresh"
  apt-get indextargets --format 'deb $(SITE) $(RELEASE) $(COMPONENT) $(ORIGIN)' 'Created-By: Packages' | sed -n 's/ Debian$//p' | sort -u \
    >"$work/sources.list"
  mmdebstrap --quiet --variant="$variant" --architectures="$architecture" --include="$(echo "$*" | tr ' ' ',')" "$codename" "$fresh" \
    "$work/sources.list"
}

# inside COMMAND...: as root in that system, which has its processes, devices and network, but nothing of this system's environment. The mount
# is seen by the command alone, so that nothing stays in use behind it.
inside() {
  unshare --mount sh -c 'mount -t proc proc "$0/proc" && exec chroot "$0" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 \
    DEBIAN_FRONTEND=noninteractive "$@"' "$fresh" "$@"
}

# as_user COMMAND...: whoever uses a package is not its installer.
as_user() { inside setpriv --reuid=65534 --regid=65534 --clear-groups env HOME=/tmp "$@"; }

# What lies in that system, but for what its own tools keep about packages.
files_of_system() {
  (cd "$fresh" && find . -xdev \( -path ./proc -o -path ./dev -o -path ./tmp -o -path ./packages -o -path ./var/lib/dpkg -o -path ./var/lib/apt \
    -o -path ./var/cache -o -path ./var/log -o -path ./etc/ld.so.cache \) -prune -o -print | sort)
}

# names_no_folder FOLDER: what was unpacked there says nothing of where it was made.
names_no_folder() {
  found=$(grep -rlF -e "$root" "$1" || true)
  [ -z "$found" ] || say_failed "the folder of the build is named in: $found"
}

# is_right KIND FILE: FILE holds the sentences of the recording of four phrases, and the same as those that the first package has found.
is_right() {
  [ "$(wc -l <"$2")" -eq 4 ] || say_failed "$1: not four sentences: $(cat "$2")"
  [ -e "$work/sentences" ] || cp "$2" "$work/sentences"
  cmp "$work/sentences" "$2" || say_failed "$1: other sentences than in the package before"
}

# share COMMAND...: sets $share to the processor time that COMMAND FILE ROUNDS takes over the time of the audio, without that of its start.
# (In a shell of its own it would not see what its commands have taken.)
share() {
  heard=$1
  shift
  times >"$work/times.0"
  "$@" "$heard" 1 >/dev/null
  times >"$work/times.1"
  "$@" "$heard" 41 >/dev/null
  times >"$work/times.2"
  share=$(cat "$work"/times.[012] | awk -F '[ms ]+' -v seconds="$((reading_seconds * 40))" '
    NR % 2 == 0 { spent[NR / 2] = 60 * $1 + $2 + 60 * $3 + $4 }
    END { printf "%.4f", (spent[3] - 2 * spent[2] + spent[1]) / seconds }')
}

# row PLATFORM FILE...: what $share and the size of the packages that are needed add to the table of platforms.
row() {
  platform=$1
  shift
  set -- "$platform" --package "$@" --share "$share"
  if [ -n "$page" ]; then set -- "$@" --write "$page"; fi
  scripts/platform_row.py "$@" >&3
}

test_debian() {
  ensure_packages mmdebstrap
  fresh_system apt "$(dpkg --print-architecture)" flac gcc gstreamer1.0-plugins-base gstreamer1.0-plugins-good gstreamer1.0-tools libc6-dev \
    pkg-config python3-numpy
  mkdir "$fresh/packages"
  cp dist/*.deb tests/packages/heard.c "$phrases" "$reading" "$fresh/packages/"
  ours=$(for package in dist/*.deb; do dpkg-deb -f "$package" Package; done)
  for package in $ours; do
    dpkg-deb -x "dist/${package}_"*.deb "$work/unpacked"
    [ -s "$work/unpacked/usr/share/doc/$package/copyright" ] || say_failed "debian: $package has no copyright file"
  done
  names_no_folder "$work/unpacked"
  # What ours need of others comes first, so that what ours leave behind can be told.
  inside apt-get update -q
  recommended=$(dpkg-deb -f dist/wvad_"$version"_*.deb Recommends | sed 's/([^)]*)//g; s/,/ /g')
  others=$(inside sh -c "apt-get install -s --no-install-recommends /packages/*.deb $recommended" | sed -n 's/^Inst \([^ ]*\) .*/\1/p' | grep -vxF "$ours")
  inside apt-get install -y -q --no-install-recommends $others
  files_of_system >"$work/before"
  inside sh -c 'apt-get install -y -q --no-install-recommends /packages/*.deb'
  for test in debian/tests/*; do
    [ -x "$test" ] || continue
    cp "$test" "$fresh/packages/"
    as_user "/packages/$(basename "$test")" || say_failed "$test"
  done
  as_user sh -c 'cc -std=c11 -o /tmp/heard /packages/heard.c $(pkg-config --cflags --libs wvad-stream)'
  as_user /tmp/heard "/packages/jfk.raw" >"$work/debian.sentences"
  is_right debian "$work/debian.sentences"
  share /packages/moby.raw as_user /tmp/heard
  row "Linux on $(uname -m | tr _ -)" dist/libwvad-stream1_"$version"_*.deb dist/wvad-models_"$version"_*.deb
  inside apt-get purge -y -q $ours
  files_of_system >"$work/after"
  diff "$work/before" "$work/after" || say_failed "debian: not removed without a trace"
}

test_wheel() {
  ensure_packages mmdebstrap
  fresh_system apt "$(dpkg --print-architecture)" python3-numpy python3-venv
  mkdir "$fresh/packages"
  cp dist/*.whl tests/packages/heard.py "$phrases" "$reading" "$fresh/packages/"
  (cd "$work/unpacked" && unzip -q "$root"/dist/wvad-*.whl)
  for paper in wvad/licences/README.txt wvad-"$version".dist-info/LICENSE wvad-"$version".dist-info/NOTICE; do
    [ -s "$work/unpacked/$paper" ] || say_failed "wheel: there is no $paper"
  done
  [ -z "$(find "$work/unpacked" -name 'libfftw3*')" ] || say_failed "wheel: holds FFTW"
  names_no_folder "$work/unpacked"
  as_user sh -c 'cd /tmp && python3 -m venv --system-site-packages try && try/bin/pip install -q --no-index --no-deps /packages/*.whl'
  as_user /tmp/try/bin/python /packages/heard.py /packages/jfk.raw >"$work/wheel.sentences"
  is_right wheel "$work/wheel.sentences"
  as_user /tmp/try/bin/wvad --version
}

test_npm() {
  ensure_packages $js_packages
  command -v npm >/dev/null || ensure_packages npm
  folder=$(mktemp -d)
  outside=$folder
  cp tests/packages/heard.mjs "$folder"
  (cd "$folder" && npm install --silent --offline --no-audit --no-fund "$root"/dist/wvad-*.tgz)
  for paper in README.txt LICENSE libsoxr.COPYING.LGPL emscripten.copyright boost.copyright; do
    [ -s "$folder/node_modules/wvad/dist/licences/$paper" ] || say_failed "npm: there is no $paper"
  done
  names_no_folder "$folder/node_modules/wvad"
  node "$folder/heard.mjs" "$phrases" >"$work/npm.sentences"
  is_right npm "$work/npm.sentences"
  share "$reading" node "$folder/heard.mjs"
  row "WebAssembly, Node.js" dist/wvad-*.tgz
}

test_windows() {
  ensure_packages $windows_packages unzip zip
  for processor in i686 x86_64; do
    folder=$work/unpacked/wvad-$version-windows-$processor
    unzip -q "dist/wvad-$version-windows-$processor.zip" -d "$work/unpacked"
    for paper in README.txt LICENSE NOTICE doc/licences/libsndfile.txt doc/licences/mpg123.txt doc/licences/nettle.txt doc/licences/gcc.txt; do
      [ -s "$folder/$paper" ] || say_failed "windows: there is no $paper"
    done
    names_no_folder "$folder"
    [ $processor = x86_64 ] || scripts/wine32_root.sh build-windows-sysroot/wine32-root
    # A client for Windows lies beside its DLLs.
    "$processor-w64-mingw32-gcc-posix" -std=c11 -I"$folder/include" tests/packages/heard.c -o "$folder/bin/heard.exe" -L"$folder/lib" -lwvad-stream
    scripts/wine_run.sh "$folder/bin/heard.exe" "Z:$phrases" | tr -d '\r' >"$work/$processor.sentences"
    is_right "windows $processor" "$work/$processor.sentences"
    scripts/wine_run.sh "$folder/bin/wvad.exe" segment -q -f csv "Z:$root/examples/audio/jfk.flac" >"$work/$processor.csv"
    [ "$(grep -c '^[^#]' "$work/$processor.csv")" -eq 5 ] || say_failed "windows $processor: the program does not find four sentences: $(cat "$work/$processor.csv")"
    share "Z:$reading" scripts/wine_run.sh "$folder/bin/heard.exe"
    [ $processor = x86_64 ] && bits=64 || bits=32
    row "Windows, $bits bits, Wine" "dist/wvad-$version-windows-$processor.zip"
  done
}

test_arm64() {
  ensure_packages $arm64_packages mmdebstrap arch-test pkg-config
  folder=$work/unpacked/wvad-$version-debian12-arm64
  tar -xzf dist/wvad-*-arm64.tar.gz -C "$work/unpacked"
  for paper in README.txt LICENSE NOTICE boost.copyright CLI11.copyright nlohmann-json.copyright; do
    [ -s "$folder/licences/$paper" ] || say_failed "arm64: there is no licences/$paper"
  done
  names_no_folder "$folder"
  ! grep -rqi libfftw3 "$folder/lib" "$folder/bin" || say_failed "arm64: is linked with FFTW"
  # Of that system only what the archive asks for: the lines of its README that begin with names of packages.
  fresh_system extract arm64 $(sed -n 's/^  \(lib[^ ].*[^ ]\)   .*/\1/p' "$folder/licences/README.txt")
  aarch64-linux-gnu-gcc -std=c11 tests/packages/heard.c -o "$work/heard" \
    $(PKG_CONFIG_LIBDIR=$folder/lib/pkgconfig pkg-config --cflags --libs wvad-stream) -Wl,-rpath,"$folder/lib" \
    -Wl,-rpath-link,"$fresh/usr/lib/aarch64-linux-gnu"
  qemu-aarch64 -L "$fresh" "$work/heard" "$phrases" >"$work/arm64.sentences"
  is_right arm64 "$work/arm64.sentences"
  qemu-aarch64 -L "$fresh" "$folder/bin/wvad" segment -q -f csv "$root/examples/audio/jfk.flac" >"$work/arm64.csv"
  [ "$(wc -l <"$work/arm64.csv")" -eq 5 ] || say_failed "arm64: the program does not find four sentences: $(cat "$work/arm64.csv")"
  share "$reading" qemu-aarch64 -L "$fresh" "$work/heard"
  row "ARM64, qemu-user" dist/wvad-*-arm64.tar.gz
}

kinds=""
while [ $# -gt 0 ]; do
  case "$1" in
    debian | wheel | npm | windows | arm64) kinds="$kinds $1" ;;
    --write)
      page=$2
      shift
      ;;
    *)
      echo "usage: $0 [debian] [wheel] [npm] [windows] [arm64] [--write PAGE]" >&2
      exit 2
      ;;
  esac
  shift
done
[ -n "$kinds" ] || kinds="debian wheel npm windows arm64"
[ "$(id -u)" -eq 0 ] || say_failed "$0 has to be run as root"

ensure_packages flac unzip python3
rm -rf --one-file-system "$work"
mkdir -p "$work"
chmod 755 "$work"
decode examples/audio/jfk.flac "$phrases"
decode examples/audio/moby.flac "$reading"
# Words of the tests go to a file, which is shown where one fails. A function in a condition would go on behind what fails in it; here the
# shell ends.
exec 3>&1 4>&2
outside=""  # a folder that is not below $work
clean_up() {
  failed=$?
  [ -z "$outside" ] || rm -rf "$outside"
  [ $failed -eq 0 ] && return
  tail -n 60 "$work/$kind.log" >&4
  echo "FAILED  $kind, see $work/$kind.log" >&4
}
trap clean_up EXIT
for kind in $kinds; do
  rm -rf "$work/unpacked"
  mkdir "$work/unpacked"
  started=$(date +%s)
  exec >"$work/$kind.log" 2>&1
  "test_$kind"
  echo "ok      $kind ($(($(date +%s) - started)) s)" >&3
done
rm -rf --one-file-system "$fresh" "$work/unpacked"
