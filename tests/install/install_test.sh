#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# install_test.sh BUILD SOURCE MODEL CC: installs from BUILD into a scratch folder, builds and runs a small client of each library by CMake and by
# pkg-config, and the installed program, each from a folder of its own, and takes the installation away again.
set -eu
build=$1
source=$2
model=$3
cc=$4
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
prefix=$scratch/prefix

cmake --install "$build" --prefix "$prefix" >"$scratch/install.log"
library=$(find "$prefix" -name libwvad.so)
lib=$(dirname "$library")
for file in "$prefix/include/wvad.h" "$prefix/include/wvad_stream.h" "$lib/pkgconfig/wvad.pc" "$lib/pkgconfig/wvad-stream.pc" "$lib/cmake/wvad/wvadConfig.cmake" "$lib/cmake/wvad/wvadConfigVersion.cmake" \
  "$prefix/bin/wvad" "$prefix/share/man/man1/wvad.1" "$lib/vad/dnn_fb75.bin"; do
  [ -f "$file" ] || { echo "not installed: $file"; exit 1; }
done
# What is loaded when it is needed lies where the program looks, if it was built.
[ ! -f "$build/lib/wvad/ffmpeg.so" ] || [ -f "$lib/wvad/ffmpeg.so" ] || { echo "not installed: wvad/ffmpeg.so"; exit 1; }
if [ -f "$build/lib/gstreamer-1.0/libgstwvad.so" ]; then
  [ -f "$lib/gstreamer-1.0/libgstwvad.so" ] || { echo "not installed: gstreamer-1.0/libgstwvad.so"; exit 1; }
  # It finds the library and its models from there.
  if command -v gst-launch-1.0 >/dev/null; then
    GST_PLUGIN_PATH=$lib/gstreamer-1.0 GST_REGISTRY=$scratch/registry \
      gst-launch-1.0 audiotestsrc num-buffers=10 ! wvad ! fakesink >"$scratch/gst" 2>&1 || { cat "$scratch/gst"; exit 1; }
  fi
fi
for file in bash-completion/completions/wvad zsh/site-functions/_wvad fish/vendor_completions.d/wvad.fish; do
  [ -s "$prefix/share/$file" ] || { echo "not installed: $file"; exit 1; }
done
# Each library is reached by its soname, which carries a version: the major one, and that of the ABI.
for name in libwvad libwvad-stream; do
  soname=$(objdump -p "$lib/$name.so" | awk '/SONAME/ {print $2}')
  case "$soname" in
    "$name".so.[0-9]*) [ -e "$lib/$soname" ] ;;
    *) echo "soname without a version: $soname"; exit 1 ;;
  esac
done
# The links of the installed pages lead somewhere.
find "$prefix/share/doc/wvad" -name '*.md' | while read -r page; do
  grep -o '](\([^):#]*\)[)#]' "$page" | sed 's/^](//; s/[)#]$//' | while read -r link; do
    [ -z "$link" ] || [ -e "$(dirname "$page")/$link" ] || echo "$page: $link leads nowhere"
  done
done >"$scratch/links"
[ ! -s "$scratch/links" ] || { cat "$scratch/links"; exit 1; }

mkdir -p "$lib/vad" "$scratch/run"
cp "$model" "$lib/vad/mine.bin"
printf '[vad]\nwvad_param_model_name = mine.bin\n' >"$scratch/run/w_tseg.cfg"
runs() {
  said=$(cd "$scratch/run" && "$1") || { echo "$1: failed: $said"; exit 1; }
  case "$said" in
    "wvad "*" answers 0"*) ;;
    *) echo "$1: $said"; exit 1 ;;
  esac
}

cmake -S "$source" -B "$scratch/by-cmake" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_C_COMPILER="$cc" >"$scratch/cmake.log"
cmake --build "$scratch/by-cmake" >>"$scratch/cmake.log" || { cat "$scratch/cmake.log"; exit 1; }
runs "$scratch/by-cmake/client"
runs "$scratch/by-cmake/stream_client"

PKG_CONFIG_PATH=$lib/pkgconfig
export PKG_CONFIG_PATH
"$cc" -std=c11 -pedantic -Wall -Wextra -Werror "$source/client.c" $(pkg-config --cflags --libs wvad) -Wl,-rpath,"$lib" -o "$scratch/by-pkg-config"
runs "$scratch/by-pkg-config"
"$cc" -std=c11 -pedantic -Wall -Wextra -Werror "$source/stream_client.c" $(pkg-config --cflags --libs wvad-stream) -Wl,-rpath,"$lib" \
  -o "$scratch/stream-by-pkg-config"
runs "$scratch/stream-by-pkg-config"

# An installation that is moved elsewhere still finds itself.
mv "$prefix" "$scratch/moved"
cd /
"$scratch/moved/bin/wvad" --version
head -c 64000 /dev/zero | "$scratch/moved/bin/wvad" segment --model mine --quiet -
"$scratch/moved/bin/wvad" segment --format csv "$source/../../examples/audio/jfk.flac" >"$scratch/sentences.csv"
[ "$(wc -l <"$scratch/sentences.csv")" -ge 3 ] || { echo "the installed model finds nothing"; exit 1; }

# What was installed goes, and nothing else.
mv "$scratch/moved" "$prefix"
cmake -D MANIFEST="$build/install_manifest.txt" -P "$source/../../cmake/uninstall.cmake" >"$scratch/uninstall.log"
left=$(find "$prefix" ! -type d ! -path "*/log/*")  # the log is of those who ran it
[ "$left" = "$lib/vad/mine.bin" ] || { echo "left over: $left"; exit 1; }
left=$(find "$prefix" -type d -empty -path "*/wvad*")
[ -z "$left" ] || { echo "empty folders left over: $left"; exit 1; }
