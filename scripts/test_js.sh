#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Builds the package for JavaScript and tests it: installs emscripten and what else is missing (1 GB), unpacks libsoxr's sources into
# build-soxr-source, builds the module of WebAssembly with vectors and without, the package in js/dist, and the native library that it has to
# equal. Exit code 0: everything passed.
#
#   scripts/test_js.sh            all of it
#   scripts/test_js.sh --build    the package alone
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
only_build=no
case "${1:-}" in
  "") ;;
  --build) only_build=yes ;;
  *)
    echo "usage: $0 [--build]" >&2
    exit 2
    ;;
esac
ensure_packages $build_packages $js_packages
jobs=$(build_jobs)

scripts/soxr_source.sh build-soxr-source
for preset in wasm wasm-plain; do
  emcmake cmake --preset "$preset" >&2
  cmake --build --preset "$preset" -j "$jobs" >&2
done
node js/build.mjs
[ "$only_build" = yes ] && exit 0

ensure_packages ffmpeg chromium googletest node-acorn
# The tool chain's own script for Node.js looks for this package, which only Debian's Node.js finds by itself.
export NODE_PATH=/usr/share/nodejs
for preset in wasm wasm-plain; do
  cmake --build --preset "$preset" -j "$jobs" --target wvad_kernels_test >&2
  node "build-$preset/lib/wvad_kernels_test.js"
done
cmake --preset builtin-fft >&2
cmake --build --preset builtin-fft -j "$jobs" --target wvad-stream >&2
cc -O1 -Wall -Wextra -Werror -Iinclude js/test/tell.c -o build-wasm/tell -Lbuild-builtin-fft/lib -lwvad-stream \
  -Wl,-rpath,"$PWD/build-builtin-fft/lib"
WVAD_TELL="$PWD/build-wasm/tell" node --test js/test/
